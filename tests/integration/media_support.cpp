#include "integration/media_support.h"

namespace media_tests {

RealMediaTest::RealMediaTest() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    media.SetEventCallBackFun(
        [](ymdshow::CMedia*, void* user, long code, std::int64_t, std::int64_t) {
            *static_cast<std::atomic<int>*>(user) += code == EC_COMPLETE;
            Sleep(5); // whoever pauses or stops the item has to wait
            return 0;
        },
        &ends);
}

RealMediaTest::~RealMediaTest() {
    StopQuietly();
    media.Unload();
    EXPECT_FALSE(log.Has("*RefCount*")) << testing::PrintToString(log.Lines());
}

void RealMediaTest::UseScript(const Names& filters) {
    std::string names;
    for (const std::string& name : filters) {
        names += (names.empty() ? R"({"Name": ")" : R"(, {"Name": ")") + name + R"("})";
    }
    // The window renderer connects faster than the one that rendering chooses.
    ASSERT_TRUE(player.GetCoderScheme().LoadSchemeByScript(
        R"({"Filter": [
  {"Name": "Source", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C001}",
   "Path": "filters\\ymdpattern.ax"},
  {"Name": "Picture", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C004}",
   "Path": "filters\\testrenderer.ax"},
  {"Name": "Sound", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C005}",
   "Path": "filters\\testrenderer.ax"},
  {"Name": "Window", "CLSID": "{70E102B0-5556-11CE-97C0-00AA0055595A}", "IsCache": false}],
 "Schemes": [
  {"Type": "mkv;mp4;avi", "Filters": [{"Name": "Window"}]},
  {"Type": "test", "Filters": [)" +
            names + "]}]}",
        1));
}

void RealMediaTest::Load(const std::string& path, const Names& filters) {
    UseScript(filters);
    ASSERT_EQ(media.SetMediaPath(path), 1);
    ASSERT_EQ(media.Load(nullptr, 1), 1) << testing::PrintToString(media.GetLoadReport().failure);
}

void RealMediaTest::LoadFile(const std::string& name, unsigned tracks) {
    UseScript();
    StopQuietly();
    ASSERT_EQ(media.SetMediaPath(Sample(name)), 1);
    for (int tries = 0; tries < 5; ++tries) {
        media.Unload();
        if (media.Load(nullptr, 0) == 1 &&
            media.GetVideoTrackNum() + media.GetAudioTrackNum() >= tracks) {
            break;
        }
    }
    ASSERT_EQ(media.IsReadyForPlay(), 1) << testing::PrintToString(media.GetLoadReport().failure);
}

void RealMediaTest::StopQuietly() {
    if (media.Stop() == 1) {
        LetClockRest();
    }
}

ComPtr<ITestRecorder> RealMediaTest::Recorder(IBaseFilter* renderer) {
    ComPtr<ITestRecorder> recorder;
    EXPECT_EQ(renderer->QueryInterface(IID_PPV_ARGS(&recorder)), S_OK);
    return recorder;
}

std::vector<std::vector<LONG>> RealMediaTest::Frames() {
    std::vector<std::vector<LONG>> frames(1);
    for (const TestRecord& record : Records(media.GetVideoTrackRender(0), TestRecord::KindCount)) {
        if (record.kind == TestRecord::NewSegment) {
            frames.emplace_back();
        } else if (record.kind == TestRecord::Sample) {
            frames.back().push_back(record.frame);
        }
    }
    return frames;
}

} // namespace media_tests
