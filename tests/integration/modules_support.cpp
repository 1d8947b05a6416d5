#include "integration/modules_support.h"

#include "unit/media_resources.h"

#include <cstdlib>

namespace modules {

std::vector<TestRecord> Records(IBaseFilter* renderer, LONG kind) {
    ComPtr<ITestRecorder> recorder;
    ULONG count = 0;
    if (FAILED(renderer->QueryInterface(IID_PPV_ARGS(&recorder))) ||
        FAILED(recorder->GetCount(&count)) || count == 0) {
        return {};
    }
    std::vector<TestRecord> records(count);
    recorder->GetRecords(0, count, records.data(), nullptr);
    std::erase_if(records, [&](const TestRecord& record) {
        return kind != TestRecord::KindCount && record.kind != kind;
    });
    return records;
}

std::string Story(IBaseFilter* renderer) {
    constexpr const char* kNames[] = {"Samples",  "Segment", "BeginFlush", "EndFlush", "EOS",
                                      "Complete", "Stopped", "Paused",     "Running"};
    std::string story;
    LONG last = -1;
    for (const TestRecord& record : Records(renderer, TestRecord::KindCount)) {
        if (record.kind != TestRecord::Sample || last != TestRecord::Sample) {
            story += story.empty() ? "" : " ";
            story += kNames[record.kind];
        }
        last = record.kind;
    }
    return story;
}

void ModulesTest::SetUp() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    ASSERT_EQ(
        CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&m_graph)),
        S_OK);
    ASSERT_EQ(m_graph.As(&m_control), S_OK);
    ASSERT_EQ(m_graph.As(&m_seeking), S_OK);
    ASSERT_EQ(m_graph.As(&m_events), S_OK);
}

void ModulesTest::TearDown() {
    if (m_control) {
        m_control->Stop();
        LetClockRest();
    }
    m_control.Reset();
    m_seeking.Reset();
    m_events.Reset();
    m_graph.Reset();
    for (ComPtr<IBaseFilter>& filter : m_filters) {
        EXPECT_EQ(filter.Reset(), 0U) << "references left on a filter";
    }
    m_filters.clear();
    m_modules.RemoveAllModule();
    CoUninitialize();
}

ComPtr<IBaseFilter> ModulesTest::Make(const wchar_t* module, const CLSID& clsid) {
    ymlib::CModule* const loaded =
        m_modules.LoadModule(L"filters\\" + std::wstring(module) + L".ax", 0, 0);
    ComPtr<IBaseFilter> filter;
    if (loaded == nullptr) {
        ADD_FAILURE() << "module not loaded, error " << m_modules.GetLastLoadError();
        return filter;
    }
    EXPECT_EQ(loaded->GetClassObject(clsid, IID_IBaseFilter,
                                     reinterpret_cast<void**>(filter.GetAddressOf())),
              S_OK);
    return filter;
}

ComPtr<IBaseFilter> ModulesTest::Add(const wchar_t* module, const CLSID& clsid) {
    ComPtr<IBaseFilter> filter = Make(module, clsid);
    const std::wstring name = module + std::to_wstring(m_filters.size());
    EXPECT_EQ(m_graph->AddFilter(filter.Get(), name.c_str()), S_OK);
    m_filters.push_back(filter);
    return filter;
}

ComPtr<IBaseFilter> ModulesTest::AddSource(const std::wstring& name) {
    ComPtr<IBaseFilter> source = Add(L"testsource", ymfilters::CLSID_TestSource);
    ComPtr<IFileSourceFilter> file;
    EXPECT_EQ(source.As(&file), S_OK);
    EXPECT_EQ(file->Load(name.c_str(), nullptr), S_OK);
    return source;
}

ComPtr<IBaseFilter> ModulesTest::AddSystem(const CLSID& clsid) {
    ComPtr<IBaseFilter> filter;
    EXPECT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&filter)), S_OK);
    EXPECT_EQ(m_graph->AddFilter(filter.Get(), L"System"), S_OK);
    return filter;
}

ComPtr<IBaseFilter> ModulesTest::AddVideoRenderer() {
    return Add(L"testrenderer", ymfilters::CLSID_TestVideoRenderer);
}

ComPtr<IBaseFilter> ModulesTest::AddAudioRenderer() {
    return Add(L"testrenderer", ymfilters::CLSID_TestAudioRenderer);
}

ComPtr<IBaseFilter> ModulesTest::AddTransform() {
    return Add(L"testtransform", ymfilters::CLSID_TestTransform);
}

ComPtr<IPin> ModulesTest::FindPin(IBaseFilter* filter, const wchar_t* id) {
    ComPtr<IPin> pin;
    EXPECT_EQ(filter->FindPin(id, &pin), S_OK);
    return pin;
}

void ModulesTest::Connect(IBaseFilter* up, const wchar_t* out, IBaseFilter* down,
                          const wchar_t* in) {
    ASSERT_EQ(m_graph->ConnectDirect(FindPin(up, out).Get(), FindPin(down, in).Get(), nullptr),
              S_OK);
}

void ModulesTest::Run() {
    ASSERT_GE(m_control->Run(), 0);
    OAFilterState state = 0;
    ASSERT_EQ(m_control->GetState(5000, &state), S_OK);
    ASSERT_EQ(state, State_Running);
}

void ModulesTest::Pause() {
    ASSERT_GE(m_control->Pause(), 0);
    OAFilterState state = 0;
    ASSERT_EQ(m_control->GetState(5000, &state), S_OK);
    ASSERT_EQ(state, State_Paused);
}

void ModulesTest::Stop() {
    const auto begin = Clock::now();
    ASSERT_GE(m_control->Stop(), 0);
    ASSERT_LT(Milliseconds(begin), 1000);
}

void ModulesTest::Seek(LONGLONG start, LONGLONG stop) {
    const DWORD stopFlags = stop < 0 ? AM_SEEKING_NoPositioning : AM_SEEKING_AbsolutePositioning;
    ASSERT_GE(m_seeking->SetPositions(&start, AM_SEEKING_AbsolutePositioning, &stop, stopFlags), 0);
}

// Not by WaitForCompletion: a graph that was complete once stays so for it.
bool ModulesTest::WaitForEvent(long wanted, long milliseconds) {
    const auto begin = Clock::now();
    for (long left = milliseconds; left > 0; left = milliseconds - Milliseconds(begin)) {
        long code = 0;
        LONG_PTR first = 0;
        LONG_PTR second = 0;
        if (m_events->GetEvent(&code, &first, &second, left) == S_OK) {
            m_events->FreeEventParams(code, first, second);
            if (code == wanted) {
                return true;
            }
        }
    }
    return false;
}

void ModulesTest::SetFreeRunning() {
    ComPtr<IMediaFilter> filter;
    ASSERT_EQ(m_graph.As(&filter), S_OK);
    ASSERT_EQ(filter->SetSyncSource(nullptr), S_OK);
}

std::string Sample(const std::string& name) {
    const char* const directory = std::getenv("YMD_MEDIA_DIR");
    return (directory != nullptr ? std::string(directory) + "\\" : std::string()) + name;
}

unsigned HandlesKeptByGraphs(int count) {
    const auto make = [](int graphs) {
        for (int i = 0; i < graphs; ++i) {
            ComPtr<IGraphBuilder> graph;
            CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER,
                             IID_PPV_ARGS(&graph));
        }
    };
    make(2);
    const unsigned before = media_tests::Resources::Now().handles;
    make(10);
    return (media_tests::Resources::Now().handles - before) * static_cast<unsigned>(count) / 10;
}

} // namespace modules
