#include "integration/media_support.h"

#include <algorithm>
#include <sstream>

namespace media_tests {

namespace {

std::string Narrow(const std::wstring& text) {
    return std::string(text.begin(), text.end());
}

std::string NameOf(IPin* pin) {
    PIN_INFO info{};
    FILTER_INFO filter{};
    pin->QueryPinInfo(&info);
    info.pFilter->QueryFilterInfo(&filter);
    info.pFilter->Release();
    if (filter.pGraph != nullptr) {
        filter.pGraph->Release();
    }
    return Narrow(filter.achName) + "." + Narrow(info.achName);
}

} // namespace

Lines RealMedia::Connections() {
    Lines lines;
    EnumMediaFilter(
        [](IBaseFilter* filter, void* user) {
            IPin* pins[16]{};
            int count = 0;
            GetFilterPins(filter, PINDIR_OUTPUT, count, pins);
            for (int i = 0; i < count; ++i) {
                ComPtr<IPin> peer;
                if (IsPinLinked(pins[i]) != 0 && SUCCEEDED(pins[i]->ConnectedTo(&peer))) {
                    static_cast<Lines*>(user)->push_back(NameOf(pins[i]) + " -> " +
                                                         NameOf(peer.Get()));
                }
                pins[i]->Release();
            }
        },
        &lines, 1);
    std::sort(lines.begin(), lines.end());
    return lines;
}

Lines RealMedia::Facts() {
    Lines facts = Connections();
    std::ostringstream text;
    text << GetVideoTrackNum() << " of " << GetOriginalVideoTrackNum() << " pictures, "
         << GetAudioTrackNum() << " of " << GetOriginalAudioTrackNum() << " sounds, "
         << GetVideoOriginalWidth() << "x" << GetVideoOriginalHeight() << " "
         << GetVideoOiginalAvgFrameTime() << ", " << GetOriginalDuration() << ", "
         << m_usedFilters.size() << " filters";
    for (const auto& info : m_videoInfos) {
        text << ", " << info.format << info.width << "x" << info.height << " " << info.avgFrameTime;
    }
    for (const auto& info : m_audioInfos) {
        text << ", " << info.format << info.samplingRate << "/" << info.channels << "/"
             << info.bitDepth;
    }
    facts.push_back(text.str());
    return facts;
}

RealMediaTest::RealMediaTest() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
}

RealMediaTest::~RealMediaTest() {
    StopQuietly();
    media.Unload();
}

void RealMediaTest::StopQuietly() {
    if (media.IsLoaded() != 0 && media.IsStopped() == 0) {
        media.Stop();
        modules::LetClockRest();
    }
}

void RealMediaTest::UseModules(const std::string& more) {
    ASSERT_TRUE(player.GetCoderScheme().LoadSchemeByScript(
        R"({"Filter": [
  {"Name": "Source", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C001}",
   "Path": "filters\\testsource.ax"},
  {"Name": "Decoder", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C002}",
   "Path": "filters\\testtransform.ax"},
  {"Name": "Picture", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C004}",
   "Path": "filters\\testrenderer.ax"},
  {"Name": "Sound", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C005}",
   "Path": "filters\\testrenderer.ax"}],
 "Schemes": [{"Type": "test", "Filters": [)" +
            more + R"({"Name": "Source"}, {"Name": "Decoder"}, {"Name": "Picture"},
  {"Name": "Sound"}, {"Name": "Sound"}]}]})",
        1));
}

Lines RealMediaTest::Attempts(const RealMedia& media) {
    Lines lines;
    for (const auto& attempt : media.GetLoadReport().attempts) {
        std::ostringstream text;
        text << attempt.way << " " << Narrow(attempt.step) << " " << Narrow(attempt.filter)
             << (attempt.filter.empty() ? "" : " ") << std::hex
             << static_cast<unsigned>(attempt.result);
        EXPECT_FALSE(attempt.text.empty()) << text.str();
        lines.push_back(text.str());
    }
    return lines;
}

bool GoesOn(IBaseFilter* renderer) {
    const std::size_t before = modules::Records(renderer, TestRecord::Sample).size();
    return Within(
        3000, [&] { return modules::Records(renderer, TestRecord::Sample).size() > before + 3; });
}

} // namespace media_tests
