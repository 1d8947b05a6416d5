// What absent arguments give, and every COM call and every allocation of every function
// failing once in turn: no exception gets out, nothing is kept or lost beyond the documented
// leaks, and every answer is one of "no".
#include "toolkit_shortage.h"
#include "toolkit_support.h"

#include "GraphToolkit/Attempts.h"

#include <algorithm>
#include <map>

using namespace toolkit_test;

namespace {

class Faults : public ToolkitTest {};

/// What a failing allocation makes of the answer.
enum class Memory { Unused, MakesItZero, ShortensIt };

struct Function {
    const char* name;
    Memory memory;
    int whole;              // the answer without a fault
    std::vector<int> other; // the answers that a failing call may give besides it
    int (*run)(Scene&);     // allocates nothing of its own where the function does
};

const std::string kPath = "a path that does not fit into a string object.avi";
const std::string kClass = "{B5F0C1A2-6D0E-4C3B-9E43-5F1D2A7C90FE}";

std::vector<Function> Functions() {
    std::vector<Function> all;
    const auto allocating = [&all](const char* name, Memory memory, int whole,
                                   std::vector<int> other, int (*run)(Scene&)) {
        all.push_back({name, memory, whole, std::move(other), run});
    };
    const auto add = [&](const char* name, int whole, std::vector<int> other, int (*run)(Scene&)) {
        allocating(name, Memory::Unused, whole, std::move(other), run);
    };
    add("CheckFilterType", DSFT_TRANSFORM, {DSFT_UNKNOWN, DSFT_SOURCE, DSFT_RENDER},
        [](Scene& s) -> int { return CheckFilterType(s.decoder); });
    add("GetFilterPins", 3, {0, 1, 2}, [](Scene& s) {
        s.pins.resize(4);
        int count = 0;
        GetFilterPins(s.splitter, PINDIR_OUTPUT, count, s.pins.data());
        s.pins.resize(static_cast<std::size_t>(count));
        return count;
    });
    add("GetPinMediaType linked", DSPMT_VIDEO, {},
        [](Scene& s) -> int { return GetPinMediaType(&s.decoder->OutPin()); });
    add("GetPinMediaType free", DSPMT_AUDIO, {DSPMT_UNKNOWN},
        [](Scene& s) -> int { return GetPinMediaType(&s.splitter->OutPin()); });
    add("IsVideoPin", 1, {0}, [](Scene& s) { return IsVideoPin(&s.splitter->OutPin(2)); });
    add("IsAudioPin", 0, {}, [](Scene& s) { return IsAudioPin(&s.splitter->OutPin(2)); });
    add("IsFilterLinked", 1, {0}, [](Scene& s) { return IsFilterLinked(s.splitter); });
    // A pin that does not say that it is linked counts as free.
    add("GetUnlinkedInputPinNum", 0, {1},
        [](Scene& s) { return GetUnlinkedInputPinNum(s.splitter); });
    allocating("GetUnlinkedPins", Memory::ShortensIt, 2, {0, 1, 3}, [](Scene& s) {
        GetUnlinkedPins(s.splitter, &s.pins, &s.pins);
        return static_cast<int>(s.pins.size());
    });
    allocating("GetUnlinkedOutputPinsFromFilter", Memory::ShortensIt, 2, {0, 1, 3}, [](Scene& s) {
        GetUnlinkedOutputPinsFromFilter(s.source, &s.pins);
        return static_cast<int>(s.pins.size());
    });
    allocating("GetFirstUnlinkedOutputPinFromFilter", Memory::MakesItZero, 1, {0}, [](Scene& s) {
        IPin* pin = Stale<IPin>();
        GetFirstUnlinkedOutputPinFromFilter(s.source, &pin);
        if (pin) {
            pin->Release();
        }
        return pin ? 1 : 0;
    });
    add("FindFilterInterface", 1, {0}, [](Scene& s) {
        void* found = Stale<void>();
        const int answer = FindFilterInterface(s.splitter, IID_IKsPropertySet, &found, 1, 0);
        TakeName(found);
        return answer;
    });
    add("FindInterfaceInGraphFilters", 4, {0, 1, 2, 3}, [](Scene& s) {
        void* found[4] = {};
        const unsigned int count =
            FindInterfaceInGraphFilters(s.graph.Get(), IID_IKsPropertySet, found, 4, 1, 0);
        for (void* one : found) {
            TakeName(one);
        }
        return static_cast<int>(count);
    });
    add("IsSupportsPropertyPage", 1, {0},
        [](Scene& s) { return IsSupportsPropertyPage(s.sound.Get()); });
    add("LinkPin", 1, {0},
        [](Scene& s) { return LinkPin(s.graph.Get(), &s.splitter->OutPin(), &s.sound->InPin()); });
    allocating("LinkFilter", Memory::ShortensIt, 1, {0},
               [](Scene& s) { return LinkFilter(s.graph.Get(), s.splitter, s.sound.Get()); });
    allocating("LinkFilter pin", Memory::MakesItZero, 1, {0}, [](Scene& s) {
        return LinkFilter(s.graph.Get(), &s.splitter->OutPin(), s.sound.Get());
    });
    add("UnlinkPin", 1, {0},
        [](Scene& s) { return UnlinkPin(s.graph.Get(), &s.decoder->OutPin()); });
    add("UnlinkFilter", 1, {0}, [](Scene& s) { return UnlinkFilter(s.graph.Get(), s.splitter); });
    allocating("UnlinkGraphBuilder", Memory::MakesItZero, 1, {},
               [](Scene& s) { return UnlinkGraphBuilder(s.graph.Get()); });
    add("RenderFilter", 1, {0}, [](Scene& s) {
        HRESULT why = 1;
        const int answer = ymdshow::toolkit::RenderFilter(s.graph.Get(), s.splitter, &why);
        EXPECT_EQ(answer == 1, why == S_OK);
        return answer;
    });
    add("RenderFilter cached, without an output", 0, {},
        [](Scene& s) { return RenderFilter(s.graph.Get(), s.video.Get()); });
    allocating("TryLinkRenderToFilter", Memory::ShortensIt, 1, {0}, [](Scene& s) {
        return TryLinkRenderToFilter(s.graph.Get(), s.sound.Get(), s.source, &s.counters.linked,
                                     &s.counters.video, &s.counters.audio, &s.counters.text);
    });
    // Without memory its lists are short, so that it may still answer that it started.
    allocating("TryRenderSource", Memory::ShortensIt, 1, {0}, [](Scene& s) {
        const int answer = TryRenderSource(s.graph.Get(), s.source, s.renders, &s.counters.video,
                                           &s.counters.audio, &s.counters.text);
        const unsigned int counted = s.counters.video + s.counters.audio + s.counters.text;
        const unsigned int linked =
            (s.video->InPin().IsConnected() ? 1u : 0u) + (s.sound->InPin().IsConnected() ? 1u : 0u);
        EXPECT_TRUE(answer ? counted <= linked : counted == 3 * 77);
        return answer;
    });
    allocating("GetLinkedTrackNum", Memory::MakesItZero, 1, {}, [](Scene& s) {
        const int answer = GetLinkedTrackNum(s.graph.Get(), s.source, &s.counters.video,
                                             &s.counters.audio, &s.counters.text);
        EXPECT_TRUE(!answer || (s.counters.video <= 1 && s.counters.audio + s.counters.text == 0));
        return answer;
    });
    allocating("TrySourceFilter", Memory::MakesItZero, 1, {0},
               [](Scene& s) { return TrySourceFilter(kPath, s.source); });
    allocating("FindFileNameFromCLSID", Memory::MakesItZero, 0, {}, [](Scene&) {
        std::string text;
        return FindFileNameFromCLSID(kClass, text) ? 1 : 0;
    });
    allocating("FindFileNameFromCLSID by GUID", Memory::MakesItZero, 0, {}, [](Scene& s) {
        std::string text;
        return FindFileNameFromCLSID(s.source->clsid, text) ? 1 : 0;
    });
    add("AddFilterToGraphBuilder", 1, {0},
        [](Scene& s) { return AddFilterToGraphBuilder(s.graph.Get(), s.sound.Get(), L"sound"); });
    add("AddFilterToGraphBuilderCache", 1, {0},
        [](Scene& s) { return AddFilterToGraphBuilderCache(&s.graph->config, s.sound.Get()); });
    add("RemoveFilterFromGraphBuilder", 1, {0},
        [](Scene& s) { return RemoveFilterFromGraphBuilder(s.graph.Get(), s.shown); });
    add("RemoveFilterFromGraphBuilderCache", 1, {0}, [](Scene& s) {
        return RemoveFilterFromGraphBuilderCache(&s.graph->config, s.video.Get());
    });
    return all;
}

bool IsOneOf(int answer, const Function& function) {
    const auto& other = function.other;
    return answer == function.whole || std::find(other.begin(), other.end(), answer) != other.end();
}

TEST_F(Faults, EachCallFailsOnce) {
    for (const Function& function : Functions()) {
        SCOPED_TRACE(function.name);
        int answer = 0;
        FaultOptions options;
        options.check = [&](std::size_t n, const std::string& where) {
            EXPECT_TRUE(n == 0 ? answer == function.whole : IsOneOf(answer, function))
                << "answers " << answer << " when " << where << " fails";
        };
        const auto scenario = [&] {
            Scene scene;
            answer = function.run(scene);
        };
        const std::size_t calls = RunFaultPlan(scenario, options);
        EXPECT_TRUE(calls > 0 || function.memory != Memory::Unused);
    }
}

TEST_F(Faults, EachAllocationFailsOnce) {
    for (const Function& function : Functions()) {
        SCOPED_TRACE(function.name);
        std::size_t n = 0;
        for (bool hit = function.memory != Memory::Unused; hit && n < 100;) {
            Scene scene;
            int answer = 0;
            {
                const Shortage shortage(++n);
                answer = function.run(scene);
                hit = shortage.Hit();
            }
            EXPECT_TRUE(hit ? answer == 0 || (function.memory == Memory::ShortensIt &&
                                              IsOneOf(answer, function))
                            : answer == function.whole)
                << "answers " << answer << " at allocation " << n;
        }
        EXPECT_TRUE(function.memory == Memory::Unused || (n > 1 && n < 100)) << n;
    }
}

// Two references for each linked pin, one for each answer that was not made to fail.
TEST_F(Faults, CountingPinsLeaksWhatItAsked) {
    RunFaultPlan([&] {
        Scene scene;
        FakePin& peer = scene.source->OutPin();
        FakePin& other = scene.decoder->InPin();
        const ULONG before = peer.Refs();
        const ULONG otherBefore = other.Refs();
        journal.Clear();
        int counts[4];
        const int total =
            CountFilterPins(scene.splitter, counts[0], counts[1], counts[2], counts[3]);
        EXPECT_EQ(total, counts[0] + counts[1]);
        const auto answered = [this](const char* asked) {
            return static_cast<ULONG>(journal.Count(asked) -
                                      (FaultPlan::Current()->Where() == asked ? 1 : 0));
        };
        EXPECT_EQ(peer.Refs() - before, answered("P.In1.ConnectedTo"));
        EXPECT_EQ(other.Refs() - otherBefore, answered("P.Out2.ConnectedTo"));
        ledger.ExpectLeak(peer, peer.Refs() - before);
        ledger.ExpectLeak(other, other.Refs() - otherBefore);
    });
}

// One reference on each filter that the graph's enumerator hands out, in one pass or two.
TEST_F(Faults, LinkingIntoTheGraphLeaksWhatItFetched) {
    RunFaultPlan([&] {
        Scene scene;
        FakeFilter& mixer = scene.graph->Add("M", {In(Audio()), In(Video()), In(Stream())});
        std::map<FakeFilter*, ULONG> before;
        for (const std::string& name : scene.graph->FilterNames()) {
            FakeFilter* const filter = scene.graph->Find(name);
            before[filter] = filter->OwnRefs();
        }
        const int answer = LinkFilter(scene.graph.Get(), &mixer);
        EXPECT_EQ(answer == 1, mixer.InPin(0).IsConnected() || mixer.InPin(1).IsConnected());
        for (const auto& [filter, references] : before) {
            const ULONG leaked = filter->OwnRefs() - references;
            EXPECT_LE(leaked, 2u) << filter->Name();
            ledger.ExpectLeak(*filter, leaked);
        }
    });
}

template <class... T> std::vector<int> Answers(T... answers) {
    return {answers...};
}

TEST_F(Faults, AbsentArgumentsTouchNothing) {
    Scene scene;
    Journal::Get().SetKinds(kCall | kEnumCall | kQueryCall | kRefCall);
    Journal::Get().Clear();
    IGraphBuilder* const graph = scene.graph.Get();
    IBaseFilter* const filter = scene.splitter;
    IPin* const pin = &scene.splitter->OutPin();
    IGraphBuilder* const noGraph = nullptr;
    IBaseFilter* const noFilter = nullptr;
    IPin* const noPin = nullptr;
    std::vector<IBaseFilter*> renders{filter};
    std::vector<IPin*> pins;
    unsigned int count = 77;
    unsigned int* const n = &count;

    EXPECT_EQ(GetPinMediaType(noPin), DSPMT_UNKNOWN);
    const std::vector<int> answers = Answers(
        IsAudioPin(noPin), IsVideoPin(noPin), IsPinLinked(noPin), IsFilterLinked(noFilter),
        GetUnlinkedInputPinNum(noFilter), GetUnlinkedOutputPinNum(noFilter),
        GetIUnknownRef(nullptr), IsSupportsPropertyPage(noFilter),
        ShowPropertyPage(noFilter, nullptr), FindPinInterface(pin, IID_IPin, nullptr),
        FindFilterInterface(filter, IID_IPin, nullptr, 1, 1), LinkPin(noGraph, pin, pin),
        LinkPin(graph, noPin, pin), LinkPin(graph, pin, noPin), LinkFilter(noGraph, filter, filter),
        LinkFilter(graph, noFilter, filter), LinkFilter(graph, filter, noFilter),
        LinkFilter(noGraph, pin, filter), LinkFilter(graph, noPin, filter),
        LinkFilter(graph, pin, noFilter), LinkFilter(noGraph, filter), LinkFilter(graph, noFilter),
        UnlinkPin(noGraph, pin), UnlinkPin(graph, noPin), UnlinkFilter(noGraph, filter),
        UnlinkFilter(graph, noFilter), UnlinkGraphBuilder(noGraph), RenderFilter(noGraph, filter),
        RenderFilter(graph, noFilter), TryLinkRenderToFilter(noGraph, filter, filter, n, n, n, n),
        TryLinkRenderToFilter(graph, noFilter, filter, n, n, n, n),
        TryLinkRenderToFilter(graph, filter, noFilter, n, n, n, n),
        TryRenderSource(noGraph, filter, renders, n, n, n),
        TryRenderSource(graph, noFilter, renders, n, n, n),
        GetLinkedTrackNum(noGraph, filter, n, n, n), GetLinkedTrackNum(graph, noFilter, n, n, n),
        TrySourceFilter(std::string("a"), noFilter), TrySourceFilter(std::wstring(L"a"), noFilter),
        AddFilterToGraphBuilder(noGraph, filter, L"a"),
        AddFilterToGraphBuilder(graph, noFilter, L"a"),
        RemoveFilterFromGraphBuilder(noGraph, filter),
        RemoveFilterFromGraphBuilder(graph, noFilter),
        AddFilterToGraphBuilderCache(nullptr, filter),
        AddFilterToGraphBuilderCache(&scene.graph->config, noFilter),
        RemoveFilterFromGraphBuilderCache(nullptr, filter),
        RemoveFilterFromGraphBuilderCache(&scene.graph->config, noFilter));
    EXPECT_EQ(answers, std::vector<int>(answers.size()));
    EXPECT_EQ(count, 77u);

    GetUnlinkedPins(noFilter, &pins, &pins);
    GetUnlinkedPins(filter, nullptr, nullptr);
    GetUnlinkedOutputPinsFromFilter(noFilter, &pins);
    GetUnlinkedOutputPinsFromFilter(filter, nullptr);
    GetFirstUnlinkedOutputPinFromFilter(filter, nullptr);
    EXPECT_TRUE(pins.empty());
    IPin* stale = Stale<IPin>();
    GetFirstUnlinkedOutputPinFromFilter(noFilter, &stale);
    EXPECT_EQ(stale, nullptr);
    void* found = Stale<void>();
    EXPECT_EQ(FindPinInterface(noPin, IID_IPin, &found), 0);
    EXPECT_EQ(found, nullptr);
    found = Stale<void>();
    EXPECT_EQ(FindFilterInterface(noFilter, IID_IPin, &found, 1, 1), 0);
    EXPECT_EQ(found, nullptr);
    EXPECT_TRUE(Calls().empty());
}

} // namespace
