#include "integration/media_support.h"

namespace media_tests {

RealMediaTest::RealMediaTest() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    media.SetEventCallBackFun(
        [](ymdshow::CMedia*, void* user, long code, std::int64_t, std::int64_t) {
            *static_cast<std::atomic<int>*>(user) += code == EC_COMPLETE;
            return 0;
        },
        &ends);
}

RealMediaTest::~RealMediaTest() {
    StopQuietly();
    media.Unload();
    EXPECT_FALSE(log.Has("*RefCount*")) << testing::PrintToString(log.Lines());
}

void RealMediaTest::UseScript(const std::string& renderer, const std::string& more) {
    // The window renderer connects faster than the one that rendering chooses.
    ASSERT_TRUE(player.GetCoderScheme().LoadSchemeByScript(
        R"({"Filter": [
  {"Name": "Source", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C001}",
   "Path": "filters\\testsource.ax"},
  {"Name": "Decoder", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C002}",
   "Path": "filters\\testtransform.ax"},
  {"Name": "Picture", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C004}",
   "Path": "filters\\testrenderer.ax"},
  {"Name": "Sound", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C005}",
   "Path": "filters\\testrenderer.ax"},
  {"Name": "Window", "CLSID": "{70E102B0-5556-11CE-97C0-00AA0055595A}", "IsCache": false}],
 "Schemes": [
  {"Type": "mkv;mp4;avi", "Filters": [{"Name": "Window"}]},
  {"Type": "test", "Filters": [)" +
            more + R"({"Name": "Source"}, {"Name": "Decoder"}, {"Name": ")" + renderer +
            R"("}, {"Name": "Sound"}, {"Name": "Sound"}]}]})",
        1));
}

void RealMediaTest::Load(const std::string& path, const std::string& renderer) {
    UseScript(renderer);
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
        modules::LetClockRest();
    }
}

ComPtr<ITestRecorder> RealMediaTest::Recorder(IBaseFilter* renderer) {
    ComPtr<ITestRecorder> recorder;
    EXPECT_EQ(renderer->QueryInterface(IID_PPV_ARGS(&recorder)), S_OK);
    return recorder;
}

std::vector<TestRecord> RealMediaTest::Shown() {
    std::vector<TestRecord> shown;
    for (const TestRecord& record :
         modules::Records(media.GetVideoTrackRender(0), TestRecord::KindCount)) {
        if (record.kind == TestRecord::NewSegment) {
            shown.clear();
        } else if (record.kind == TestRecord::Sample) {
            shown.push_back(record);
        }
    }
    return shown;
}

} // namespace media_tests
