// Functions with each of their COM calls failing in turn, doing nothing, or throwing, and without
// arguments: nothing is lost or kept, no exception gets out, and the answers are known. Then the
// reasons that attempts give, which are not exported.
#include "toolkit_support.h"

#include "GraphToolkit/Attempts.h"

#include <cstdlib>

using namespace toolkit_test;
namespace toolkit = ymdshow::toolkit;

namespace {

/// A source, a splitter and a decoder that a renderer shows; of the splitter's outputs the
/// first and the third are free. Two renderers wait, one of them in the cache.
struct Scene {
    ComPtr<FakeGraph> graph = MakeGraph();
    FakeFilter& source = graph->Add("S", {Out(Stream())}).AcceptFiles();
    FakeFilter& splitter = graph->Add("P", {In(Stream()), Out(Audio()), Out(Audio(), Video()),
                                            Out(Major(MEDIATYPE_Midi), Video())});
    FakeFilter& decoder = graph->Add("D", {In(Video()), Out(Video())});
    ComPtr<FakeFilter> video = MakeFilter("V", {In(Video())});
    ComPtr<FakeFilter> sound = MakeFilter("A", {In(Stream()), In(Audio())});
    std::vector<IBaseFilter*> renders{video.Get(), nullptr, sound.Get()};
    unsigned int counts[3] = {};
    std::vector<IPin*> pins{nullptr}; // given to the test, which releases them

    Scene() {
        const Silence quiet;
        Join(source, splitter);
        Join(splitter, decoder);
        Join(decoder, graph->Add("W", {In(Video())}));
        graph->config.AddFilterToCache(video.Get());
    }
    ~Scene() { TakeNames(pins); }

    /// What became of it: the counters, the numbers of the pins, 5 for each connection made or
    /// undone, and whether the cached filter left the cache and entered the graph.
    int Sum() const {
        const int connections = static_cast<int>(graph->Connections().size());
        int sum = static_cast<int>(counts[0] + counts[1] + counts[2]) +
                  5 * std::abs(connections - 3) + !graph->config.IsCached(video.Get()) +
                  graph->Contains(video.Get());
        for (IPin* pin : pins) {
            sum += pin != nullptr ? AsFake(pin)->Name().back() - '0' : 0;
        }
        return sum;
    }
};

struct Function {
    const char* name;
    // The answer and what became of the scene, in one character from 0 to z: without a fault,
    // then with the first, the second and so on call failing.
    std::string failing;
    int (*run)(Scene&);
};

const Function kFunctions[] = {
    {"CheckFilterType", "2011442", [](Scene& s) -> int { return CheckFilterType(&s.decoder); }},
    {"GetPinMediaType", "11000",
     [](Scene& s) -> int { return GetPinMediaType(&s.splitter.OutPin(2)); }},
    {"GetUnlinkedPins", "4005043161414",
     [](Scene& s) { return GetUnlinkedPins(&s.splitter, &s.pins, &s.pins), 0; }},
    {"GetUnlinkedOutputPinsFromFilter", "400014000040341461144444444454444444",
     [](Scene& s) { return GetUnlinkedOutputPinsFromFilter(&s.source, &s.pins), 0; }},
    {"GetFirstUnlinkedOutputPinFromFilter", "10001100001031",
     [](Scene& s) { return GetFirstUnlinkedOutputPinFromFilter(&s.source, &s.pins[0]), 0; }},
    {"LinkFilter", "600606066666600660606606",
     [](Scene& s) { return LinkFilter(s.graph.Get(), &s.splitter, s.sound.Get()); }},
    {"LinkFilter pin", "60066060660",
     [](Scene& s) { return LinkFilter(s.graph.Get(), &s.splitter.OutPin(), s.sound.Get()); }},
    {"UnlinkFilter", "b016056b66a5bbb",
     [](Scene& s) { return UnlinkFilter(s.graph.Get(), &s.splitter); }},
    {"UnlinkGraphBuilder", "g11bbbbg6bbbbgggbbbbbgggggggggggggbbgbbgbbg",
     [](Scene& s) { return UnlinkGraphBuilder(s.graph.Get()); }},
    {"RenderFilter", "bbbb00b06b66bbbb666b6b",
     [](Scene& s) { return RenderFilter(s.graph.Get(), &s.splitter); }},
    {"RenderFilter cached, without an output", "211112222",
     [](Scene& s) { return RenderFilter(s.graph.Get(), s.video.Get()); }},
    {"TryLinkRenderToFilter",
     "80088080888888888888888888888888888888888888888800008000080088888888888888888888"
     "8888058",
     [](Scene& s) {
         return TryLinkRenderToFilter(s.graph.Get(), s.sound.Get(), &s.source, &s.counts[0],
                                      nullptr, &s.counts[1], nullptr);
     }},
    {"TryRenderSource",
     "ffffeeee99f9fffff99ff9f9f3333f3333f3ffffffffef9999f9999f9ff9ff99ff9effffffffffff"
     "ffffffffffffffffffffffffffffffffffffff",
     [](Scene& s) {
         return TryRenderSource(s.graph.Get(), &s.source, s.renders, &s.counts[0], &s.counts[1],
                                nullptr);
     }},
    {"GetLinkedTrackNum", "2111211112121122221112222211122212",
     [](Scene& s) {
         return GetLinkedTrackNum(s.graph.Get(), &s.source, &s.counts[0], nullptr, &s.counts[2]);
     }},
    {"TrySourceFilter", "100",
     [](Scene& s) { return TrySourceFilter(std::string("a.avi"), &s.source); }},
    {"Filters of the graph and the cache", "53443",
     [](Scene& s) {
         return AddFilterToGraphBuilder(s.graph.Get(), s.sound.Get(), L"sound") +
                RemoveFilterFromGraphBuilder(s.graph.Get(), s.sound.Get()) +
                AddFilterToGraphBuilderCache(&s.graph->config, s.sound.Get()) +
                RemoveFilterFromGraphBuilderCache(&s.graph->config, s.video.Get());
     }},
};

class Faults : public ToolkitTest {};

TEST_F(Faults, EachCallFailsOrDoesNothing) {
    for (const Function& function : kFunctions) {
        int answer = 0;
        std::string answers;
        std::string calls;
        const auto note = [&](std::size_t, const std::string& where) {
            answers += "0123456789abcdefghijklmnopqrstuvwxyz"[answer];
            calls += std::string("\n") + answers.back() + ' ' + where;
        };
        const auto run = [&] {
            Scene scene;
            answer = function.run(scene) + scene.Sum();
        };
        RunFaultPlan(run, E_FAIL, note);
        RunFaultPlan(run, S_FALSE); // without having done anything
        EXPECT_EQ(answers, function.failing) << function.name << calls;
    }
}

// The other exported functions, on a filter with free pins and a graph without filters where
// they keep references.
int CallOthers(Scene& s) {
    int count = 0;
    int n[4] = {};
    void* found = nullptr;
    s.video->propertyPages.present = true;
    s.video->results["QueryFilterInfo"] = E_FAIL;
    GetFilterPins(&s.decoder, PINDIR_OUTPUT, count, s.pins.data());
    return count + CountFilterPins(s.video.Get(), n[0], n[1], n[2], n[3]) +
           IsAudioPin(&s.splitter.OutPin(1)) + IsFilterLinked(&s.decoder) +
           IsPinLinked(&s.decoder.InPin()) + GetUnlinkedInputPinNum(s.sound.Get()) +
           FindPinInterface(&s.decoder.InPin(), IID_IBaseFilter, &found) + IsVideoPin(s.pins[0]) +
           static_cast<int>(FindInterfaceInGraphFilters(s.graph.Get(), IID_IFileSourceFilter,
                                                        nullptr, 0, 1, 0)) +
           LinkPin(s.graph.Get(), &s.splitter.OutPin(), &s.sound->InPin(1)) +
           LinkFilter(MakeGraph().Get(), &s.splitter) +
           UnlinkPin(s.graph.Get(), &s.decoder.InPin()) + IsSupportsPropertyPage(s.video.Get()) +
           ShowPropertyPage(s.video.Get(), nullptr);
}

TEST_F(Faults, EachCallThrows) {
    std::vector<Function> functions(std::begin(kFunctions), std::end(kFunctions));
    functions.push_back({"others", "", &CallOthers});
    for (const Function& function : functions) {
        int answer = 0;
        int whole = 0;
        const auto run = [&] {
            Scene scene;
            answer = function.run(scene);
        };
        const auto note = [&](std::size_t n, const std::string& where) {
            whole = n == 0 ? answer : whole;
            EXPECT_LE(answer, whole) << function.name << ' ' << where;
        };
        EXPECT_NO_THROW(RunFaultPlan(run, kThrows, note)) << function.name;
    }
}

TEST_F(Faults, AbsentArgumentsTouchNothing) {
    Scene scene;
    journal.SetKinds(kCall | kQueryCall);
    journal.Clear();
    IGraphBuilder* const g = scene.graph.Get();
    IGraphConfig* const c = &scene.graph->config;
    IBaseFilter* const f = &scene.splitter;
    IPin* const p = &scene.splitter.OutPin();
    IBaseFilter* const noFilter = nullptr;
    IPin* const noPin = nullptr;
    std::vector<IBaseFilter*> r{f};
    unsigned int* const n = scene.counts;
    const int answers =
        CheckFilterType(nullptr) | IsAudioPin(nullptr) | GetPinMediaType(nullptr) |
        IsVideoPin(nullptr) | IsPinLinked(nullptr) | IsFilterLinked(nullptr) |
        GetUnlinkedInputPinNum(nullptr) | GetUnlinkedOutputPinNum(nullptr) |
        GetIUnknownRef(nullptr) | IsSupportsPropertyPage(nullptr) |
        ShowPropertyPage(nullptr, nullptr) | FindPinInterface(p, IID_IPin, nullptr) |
        FindFilterInterface(f, IID_IPin, nullptr, 1, 1) | LinkPin(nullptr, p, p) |
        LinkPin(g, nullptr, p) | LinkPin(g, p, nullptr) | LinkFilter(nullptr, f, f) |
        LinkFilter(g, noFilter, f) | LinkFilter(g, f, nullptr) | LinkFilter(nullptr, p, f) |
        LinkFilter(g, noPin, f) | LinkFilter(g, p, nullptr) | LinkFilter(nullptr, f) |
        LinkFilter(g, nullptr) | UnlinkPin(nullptr, p) | UnlinkPin(g, nullptr) |
        UnlinkFilter(nullptr, f) | UnlinkFilter(g, nullptr) | UnlinkGraphBuilder(nullptr) |
        RenderFilter(nullptr, f) | RenderFilter(g, nullptr) |
        TryLinkRenderToFilter(nullptr, f, f, n, n, n, n) |
        TryLinkRenderToFilter(g, nullptr, f, n, n, n, n) |
        TryLinkRenderToFilter(g, f, nullptr, n, n, n, n) | TryRenderSource(nullptr, f, r, n, n, n) |
        TryRenderSource(g, nullptr, r, n, n, n) | GetLinkedTrackNum(nullptr, f, n, n, n) |
        GetLinkedTrackNum(g, nullptr, n, n, n) | TrySourceFilter(std::string("a"), nullptr) |
        TrySourceFilter(std::wstring(L"a"), nullptr) | AddFilterToGraphBuilder(nullptr, f, L"a") |
        AddFilterToGraphBuilder(g, nullptr, L"a") | RemoveFilterFromGraphBuilder(nullptr, f) |
        RemoveFilterFromGraphBuilder(g, nullptr) | AddFilterToGraphBuilderCache(nullptr, f) |
        AddFilterToGraphBuilderCache(c, nullptr) | RemoveFilterFromGraphBuilderCache(nullptr, f) |
        RemoveFilterFromGraphBuilderCache(c, nullptr);
    EXPECT_EQ(answers, 0);

    GetUnlinkedPins(nullptr, &scene.pins, &scene.pins);
    GetUnlinkedPins(f, nullptr, nullptr);
    GetUnlinkedOutputPinsFromFilter(nullptr, &scene.pins);
    GetUnlinkedOutputPinsFromFilter(f, nullptr);
    GetFirstUnlinkedOutputPinFromFilter(f, nullptr);
    EXPECT_EQ(scene.Sum(), 0);
    IPin* pin = Stale<IPin>();
    GetFirstUnlinkedOutputPinFromFilter(nullptr, &pin);
    EXPECT_EQ(pin, nullptr);
    void* found[] = {Stale<void>(), Stale<void>()};
    EXPECT_EQ(FindPinInterface(nullptr, IID_IPin, &found[0]), 0);
    EXPECT_EQ(FindFilterInterface(nullptr, IID_IPin, &found[1], 1, 1), 0);
    EXPECT_TRUE(found[0] == nullptr && found[1] == nullptr);
    EXPECT_JOURNAL({});
}

TEST_F(Faults, RenderFilterTellsTheLastFailure) {
    FakeFilter& filter = Add("F", {Out(Video()), Out(Audio()), Out(Stream())});
    const auto reason = [&](IBaseFilter* rendered) {
        HRESULT result = 1;
        const int answer = toolkit::RenderFilter(graph.Get(), rendered, &result);
        EXPECT_EQ(answer == 1, result == S_OK);
        return result;
    };
    graph->results["Render"] = {VFW_E_CANNOT_RENDER, VFW_S_PARTIAL_RENDER, E_FAIL};
    EXPECT_HR(reason(&filter), S_OK);
    graph->results["Render"] = {E_FAIL, E_ABORT, VFW_E_CANNOT_RENDER};
    EXPECT_HR(reason(&filter), VFW_E_CANNOT_RENDER);
    filter.results["EnumPins"] = E_ACCESSDENIED;
    EXPECT_HR(reason(&filter), E_ACCESSDENIED);
    EXPECT_HR(reason(&Add("R", {In()})), E_FAIL);
    filter.results["EnumPins"] = kThrows;
    EXPECT_HR(reason(&filter), E_UNEXPECTED);
    EXPECT_HR(reason(nullptr), E_POINTER);
}

TEST_F(Faults, LoadSourceFileTellsWhatRefusedThePath) {
    FakeFilter& source = Add("S", {});
    EXPECT_HR(toolkit::LoadSourceFile(L"a.avi", &source), E_NOINTERFACE);
    source.AcceptFiles(VFW_E_UNSUPPORTED_STREAM);
    EXPECT_HR(toolkit::LoadSourceFile(L"a.avi", &source), VFW_E_UNSUPPORTED_STREAM);
    source.AcceptFiles(kThrows);
    EXPECT_HR(toolkit::LoadSourceFile(L"a.avi", &source), E_UNEXPECTED);
    EXPECT_HR(toolkit::LoadSourceFile(L"", &source), E_INVALIDARG);
    EXPECT_HR(toolkit::LoadSourceFile(L"a.avi", nullptr), E_POINTER);
}

TEST_F(Faults, ObjectsComeFromAModule) {
    const HMODULE system = LoadLibraryA("quartz.dll");
    const auto make = [](HMODULE module, const CLSID& clsid, const IID& iid) {
        void* made = Stale<void>();
        const HRESULT result = toolkit::CreateInstanceFromModule(module, clsid, iid, &made);
        EXPECT_EQ(made != nullptr, result == S_OK);
        EXPECT_EQ(made != nullptr ? static_cast<IUnknown*>(made)->Release() : 0u, 0u);
        return result;
    };
    EXPECT_HR(make(system, CLSID_VideoRenderer, IID_IBaseFilter), S_OK);
    EXPECT_HR(make(system, CLSID_VideoRenderer, IID_IGraphBuilder), E_NOINTERFACE);
    EXPECT_HR(make(system, IID_IUnknown, IID_IBaseFilter), CLASS_E_CLASSNOTAVAILABLE);
    const HMODULE plain = GetModuleHandleA("kernel32.dll");
    EXPECT_HR(make(plain, CLSID_VideoRenderer, IID_IBaseFilter), E_FAIL);
    EXPECT_HR(make(nullptr, CLSID_VideoRenderer, IID_IBaseFilter), E_FAIL);
    EXPECT_HR(toolkit::CreateInstanceFromModule(system, CLSID_VideoRenderer, IID_IUnknown, nullptr),
              E_FAIL);
    FreeLibrary(system);
}

} // namespace
