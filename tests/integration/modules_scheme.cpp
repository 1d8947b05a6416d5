// Scheme filters from real modules, a real DMO and the system, into a real graph.
#include <dmodshow.h>

#include <ymdshow/ymdshow.h>

#include <map>

#include "integration/modules_support.h"

namespace modules {

namespace {

using ymdshow::CCoderScheme;
using ymdshow::LoadReport;

constexpr DWORD kAll = 0xffffffff;

constexpr const char* kScript = R"({
  "Filter": [
    {"Name": "Source", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C001}",
     "Path": "filters\\testsource.ax"},
    {"Name": "Decoder", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C002}",
     "Path": "filters\\testtransform.ax"},
    {"Name": "Picture", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C004}",
     "Path": "filters\\testrenderer.ax"},
    {"Name": "Sound", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C005}",
     "Path": "FILTERS/testrenderer.ax"}
  ],
  "Schemes": [
    {"Type": "test", "Filters": [{"Name": "Source"}, {"Name": "Decoder"}, {"Name": "Picture"},
                                 {"Name": "Sound"}]},
    {"Type": "system", "Filters": [
      {"Name": "Null", "CLSID": "{C1F400A4-3F08-11D3-9F0B-006008039E37}"},
      {"Name": "Moved", "CLSID": "{C1F400A4-3F08-11D3-9F0B-006008039E37}",
       "Path": "filters\\moved.ax"},
      {"Name": "Member", "CLSID": "{70E102B0-5556-11CE-97C0-00AA0055595A}",
       "CategoryCLSID": "{083863F1-70DE-11D0-BD40-00A0C911CE86}"},
      {"Name": "No member", "CLSID": "{C1F400A4-3F08-11D3-9F0B-006008039E37}",
       "CategoryCLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C0FF}"},
      {"Name": "MP3", "CLSID": "{BBEEA841-0A63-4F52-A7AB-A9B3A84ED38A}",
       "DMOCategoryClsid": "DMOCATEGORY_AUDIO_DECODER"},
      {"Name": "No DMO", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C0FF}",
       "DMOCategoryClsid": "DMOCATEGORY_AUDIO_DECODER"},
      {"Name": "Wrong class", "CLSID": "{C1F400A4-3F08-11D3-9F0B-006008039E37}",
       "Path": "filters\\testsource.ax"}]}
  ]
})";

/// A media item on the fixture's graph.
class Media : public ymdshow::CMedia {
public:
    explicit Media(IGraphBuilder* graph) : CMedia(nullptr) { graph->AddRef(), m_pGB = graph; }
    ~Media() override {
        m_pGB->Release();
        m_pGB = nullptr;
    }
    const std::vector<LoadReport::Filter>& Reports() const { return m_loadReport.filters; }
};

/// The one reference on each that the caller has.
std::vector<ComPtr<IBaseFilter>> Own(std::vector<IBaseFilter*> filters) {
    std::vector<ComPtr<IBaseFilter>> owned(filters.size());
    for (std::size_t i = 0; i < filters.size(); ++i) {
        *owned[i].GetAddressOf() = filters[i];
    }
    return owned;
}

} // namespace

class SchemeModules : public ModulesTest {
protected:
    void SetUp() override {
        ModulesTest::SetUp();
        ASSERT_TRUE(m_set.LoadSchemeByScript(kScript, 0));
    }
    CCoderScheme m_set;
};

TEST_F(SchemeModules, MakeAGraphThatPlays) {
    Media media(m_graph.Get());
    std::vector<IBaseFilter*> sources;
    std::vector<IBaseFilter*> transforms;
    std::vector<IBaseFilter*> renders;
    ASSERT_TRUE(m_set.LoadSchemeFilters(&media, std::string("test"), &sources, &transforms,
                                        &renders, kAll));
    // None of the entries says what it is: the filters were asked.
    ASSERT_EQ(sources.size(), 1U);
    ASSERT_EQ(transforms.size(), 1U);
    ASSERT_EQ(renders.size(), 2U);
    for (const LoadReport::Filter& report : media.Reports()) {
        EXPECT_TRUE(report.created && report.added);
        EXPECT_EQ(report.result, S_OK);
        EXPECT_NE(report.module.find(L"filters\\test"), std::wstring::npos);
    }
    EXPECT_EQ(media.Reports()[2].module, media.Reports()[3].module) << "loaded once";
    {
        const auto source = Own(std::move(sources));
        const auto decoder = Own(std::move(transforms));
        const auto renderers = Own(std::move(renders));
        ASSERT_EQ(
            TrySourceFilter(std::wstring(L"test://320x180@25/400ms?coded=1"), source[0].Get()), 1);
        for (const auto& [out, renderer] : std::map<const wchar_t*, IBaseFilter*>{
                 {L"Video", renderers[0].Get()}, {L"Audio", renderers[1].Get()}}) {
            ASSERT_EQ(m_graph->Connect(FindPin(source[0].Get(), out).Get(),
                                       FindPin(renderer, L"In").Get()),
                      S_OK);
        }
        Run();
        EXPECT_TRUE(WaitForComplete(5000));
        EXPECT_EQ(Records(renderers[0].Get(), TestRecord::Sample).size(), 10U);
        Stop();
        for (const auto& filters : {source, decoder, renderers}) {
            for (const auto& filter : filters) {
                ASSERT_EQ(m_graph->RemoveFilter(filter.Get()), S_OK);
                EXPECT_EQ(ReferencesOf(filter.Get()), 2U) << "two lists of this test";
            }
        }
    }
    EXPECT_NE(GetModuleHandleW(L"testrenderer.ax"), nullptr);
    m_set.UnloadScheme();
    EXPECT_NE(GetModuleHandleW(L"testrenderer.ax"), nullptr) << "modules outlive the scheme";
    m_set.UnloadModules();
    EXPECT_EQ(GetModuleHandleW(L"testrenderer.ax"), nullptr);
}

TEST_F(SchemeModules, MasksChooseRoles) {
    std::vector<IBaseFilter*> sources;
    std::vector<IBaseFilter*> transforms;
    std::vector<IBaseFilter*> renders;
    ASSERT_TRUE(m_set.LoadSchemeFilters(nullptr, std::string("test"), &sources, &transforms,
                                        &renders, DSFT_SOURCE | DSFT_RENDER));
    EXPECT_TRUE(transforms.empty());
    EXPECT_EQ(Own(std::move(sources)).size(), 1U);
    EXPECT_EQ(Own(std::move(renders)).size(), 2U);
}

TEST_F(SchemeModules, SystemFiltersAndDmos) {
    Media media(m_graph.Get());
    std::vector<IBaseFilter*> transforms;
    std::vector<IBaseFilter*> renders;
    ASSERT_TRUE(m_set.LoadSchemeFilters(&media, std::wstring(L"system"), nullptr, &transforms,
                                        &renders, kAll));
    struct Expected {
        const wchar_t* name;
        HRESULT result;
        int role;
    };
    const Expected expected[] = {
        {L"Null", S_OK, 4},
        {L"Moved", S_OK, 4}, // its module is missing, the system has the class
        {L"Member", S_OK, 4},
        {L"No member", REGDB_E_CLASSNOTREG, 0},
        {L"MP3", S_OK, 2},
        {L"No DMO", REGDB_E_CLASSNOTREG, 0},
        {L"Wrong class", CLASS_E_CLASSNOTAVAILABLE, 0},
    };
    ASSERT_EQ(media.Reports().size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        const LoadReport::Filter& report = media.Reports()[i];
        SCOPED_TRACE(testing::Message() << "entry " << i);
        EXPECT_EQ(report.name, expected[i].name);
        EXPECT_EQ(report.result, expected[i].result);
        EXPECT_EQ(report.role, expected[i].role);
        EXPECT_EQ(report.added, expected[i].result == S_OK);
        EXPECT_EQ(report.module.empty(), i + 1 != std::size(expected));
        ComPtr<IBaseFilter> inGraph;
        EXPECT_EQ(SUCCEEDED(m_graph->FindFilterByName(expected[i].name, &inGraph)),
                  expected[i].result == S_OK);
    }
    EXPECT_EQ(Own(std::move(transforms)).size(), 1U);
    EXPECT_EQ(Own(std::move(renders)).size(), 3U);
}

TEST_F(SchemeModules, AMediaItemPlaysThem) {
    ymdshow::CMedia media(nullptr);
    ASSERT_EQ(media.SetMediaPath(std::string("test://320x180@25/600ms?coded=1")), 1);
    ASSERT_EQ(media.Load(&m_set, 1), 1);
    EXPECT_EQ(media.GetVideoTrackNum(), 1U);
    EXPECT_EQ(media.GetAudioTrackNum(), 1U);
    {
        ComPtr<ITestRecorder> recorder;
        ASSERT_EQ(media.GetVideoTrackRender(0)->QueryInterface(IID_PPV_ARGS(&recorder)), S_OK);
        ASSERT_EQ(media.Play(), 1);
        EXPECT_EQ(recorder->WaitFor(TestRecord::Complete, 1, 5000), S_OK);
        EXPECT_EQ(Records(media.GetVideoTrackRender(0), TestRecord::Sample).size(), 15U);
    }
    media.Stop();
    LetClockRest();
    media.Unload();
}

} // namespace modules
