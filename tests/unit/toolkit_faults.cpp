// What absent arguments give, and every COM call of every function failing once in turn:
// nothing is kept or lost beyond the documented leaks, and every answer is one of "no".
#include "toolkit_support.h"

#include "GraphToolkit/Attempts.h"

#include <algorithm>
#include <functional>
#include <map>

using namespace toolkit_test;

namespace {

class Faults : public ToolkitTest {};

struct Function {
    const char* name;
    std::function<int(Scene&)> run;
    int whole;              // the answer without a fault
    std::vector<int> other; // the answers that a fault may give besides it
};

int Free(std::vector<IPin*> pins) {
    return static_cast<int>(TakeNames(std::move(pins)).size());
}

std::vector<Function> Functions() {
    namespace toolkit = ymdshow::toolkit;
    std::vector<Function> all;
    const auto add = [&all](const char* name, int whole, std::vector<int> other,
                            std::function<int(Scene&)> run) {
        all.push_back({name, std::move(run), whole, std::move(other)});
    };
    add("CheckFilterType", DSFT_TRANSFORM, {DSFT_UNKNOWN, DSFT_SOURCE, DSFT_RENDER},
        [](Scene& s) { return CheckFilterType(s.decoder); });
    add("GetFilterPins", 3, {0, 1, 2}, [](Scene& s) {
        IPin* pins[4] = {};
        int count = 0;
        GetFilterPins(s.splitter, PINDIR_OUTPUT, count, pins);
        EXPECT_EQ(Free({pins, pins + count}), count);
        return count;
    });
    add("GetPinMediaType linked", DSPMT_VIDEO, {},
        [](Scene& s) { return GetPinMediaType(&s.decoder->OutPin()); });
    add("GetPinMediaType free", DSPMT_AUDIO, {DSPMT_UNKNOWN},
        [](Scene& s) { return GetPinMediaType(&s.splitter->OutPin()); });
    add("IsVideoPin", 1, {0}, [](Scene& s) { return IsVideoPin(&s.splitter->OutPin(2)); });
    add("IsAudioPin", 0, {}, [](Scene& s) { return IsAudioPin(&s.splitter->OutPin(2)); });
    add("IsFilterLinked", 1, {0}, [](Scene& s) { return IsFilterLinked(s.splitter); });
    // A pin that does not say that it is linked counts as free.
    add("GetUnlinkedInputPinNum", 0, {1},
        [](Scene& s) { return GetUnlinkedInputPinNum(s.splitter); });
    add("GetUnlinkedPins", 2, {0, 1, 3}, [](Scene& s) {
        std::vector<IPin*> in, out;
        GetUnlinkedPins(s.splitter, &in, &out);
        return Free(in) + Free(out);
    });
    add("GetUnlinkedOutputPinsFromFilter", 2, {0, 1, 3}, [](Scene& s) {
        std::vector<IPin*> pins;
        GetUnlinkedOutputPinsFromFilter(s.source, &pins);
        return Free(pins);
    });
    add("GetFirstUnlinkedOutputPinFromFilter", 1, {0}, [](Scene& s) {
        IPin* pin = Stale<IPin>();
        GetFirstUnlinkedOutputPinFromFilter(s.source, &pin);
        return pin ? Free({pin}) : 0;
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
    add("LinkFilter", 1, {0},
        [](Scene& s) { return LinkFilter(s.graph.Get(), s.splitter, s.sound.Get()); });
    add("LinkFilter pin", 1, {0},
        [](Scene& s) { return LinkFilter(s.graph.Get(), &s.splitter->OutPin(), s.sound.Get()); });
    add("UnlinkPin", 1, {0},
        [](Scene& s) { return UnlinkPin(s.graph.Get(), &s.decoder->OutPin()); });
    add("UnlinkFilter", 1, {0}, [](Scene& s) { return UnlinkFilter(s.graph.Get(), s.splitter); });
    add("UnlinkGraphBuilder", 1, {}, [](Scene& s) { return UnlinkGraphBuilder(s.graph.Get()); });
    add("RenderFilter", 1, {0}, [](Scene& s) {
        HRESULT why = 1;
        const int answer = toolkit::RenderFilter(s.graph.Get(), s.splitter, &why);
        EXPECT_EQ(answer == 1, why == S_OK);
        return answer;
    });
    add("RenderFilter cached", 0, {}, [](Scene& s) {
        return RenderFilter(s.graph.Get(), s.video.Get()); // has no output
    });
    add("TryLinkRenderToFilter", 1, {0}, [](Scene& s) {
        return TryLinkRenderToFilter(s.graph.Get(), s.sound.Get(), s.source, &s.counters.linked,
                                     &s.counters.video, &s.counters.audio, &s.counters.text);
    });
    add("TryRenderSource", 1, {}, [](Scene& s) {
        std::vector<IBaseFilter*> renders{s.video.Get(), s.sound.Get()};
        const int answer = TryRenderSource(s.graph.Get(), s.source, renders, &s.counters.video,
                                           &s.counters.audio, &s.counters.text);
        EXPECT_LE(s.counters.video + s.counters.audio + s.counters.text, 2u);
        return answer;
    });
    add("GetLinkedTrackNum", 1, {}, [](Scene& s) {
        const int answer = GetLinkedTrackNum(s.graph.Get(), s.source, &s.counters.video,
                                             &s.counters.audio, &s.counters.text);
        EXPECT_LE(s.counters.video, 1u);
        EXPECT_EQ(s.counters.audio + s.counters.text, 0u);
        return answer;
    });
    add("TrySourceFilter", 1, {0},
        [](Scene& s) { return TrySourceFilter(std::wstring(L"a.avi"), s.source); });
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

TEST_F(Faults, EachCallFailsOnce) {
    for (const Function& function : Functions()) {
        SCOPED_TRACE(function.name);
        int answer = 0;
        FaultOptions options;
        options.check = [&](std::size_t n, const std::string& where) {
            const auto& other = function.other;
            const bool known =
                answer == function.whole ||
                (n > 0 && std::find(other.begin(), other.end(), answer) != other.end());
            EXPECT_TRUE(known) << "answers " << answer << " when " << where << " fails";
        };
        const std::size_t calls = RunFaultPlan(
            [&] {
                Scene scene;
                answer = function.run(scene);
            },
            options);
        EXPECT_GT(calls, 0u);
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

// ---- absent arguments -------------------------------------------------------------------------

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
    Counters c;

    EXPECT_EQ(GetPinMediaType(noPin), DSPMT_UNKNOWN);
    const int zeros[] = {
        IsAudioPin(noPin),
        IsVideoPin(noPin),
        IsPinLinked(noPin),
        IsFilterLinked(noFilter),
        GetUnlinkedInputPinNum(noFilter),
        GetUnlinkedOutputPinNum(noFilter),
        GetIUnknownRef(nullptr),
        IsSupportsPropertyPage(noFilter),
        FindPinInterface(pin, IID_IPin, nullptr),
        FindFilterInterface(filter, IID_IPin, nullptr, 1, 1),
        LinkPin(noGraph, pin, pin),
        LinkPin(graph, noPin, pin),
        LinkPin(graph, pin, noPin),
        LinkFilter(noGraph, filter, filter),
        LinkFilter(graph, noFilter, filter),
        LinkFilter(graph, filter, noFilter),
        LinkFilter(noGraph, pin, filter),
        LinkFilter(graph, noPin, filter),
        LinkFilter(graph, pin, noFilter),
        LinkFilter(noGraph, filter),
        LinkFilter(graph, noFilter),
        UnlinkPin(noGraph, pin),
        UnlinkPin(graph, noPin),
        UnlinkFilter(noGraph, filter),
        UnlinkFilter(graph, noFilter),
        UnlinkGraphBuilder(noGraph),
        RenderFilter(noGraph, filter),
        RenderFilter(graph, noFilter),
        TryLinkRenderToFilter(noGraph, filter, filter, &c.linked, &c.video, &c.audio, &c.text),
        TryLinkRenderToFilter(graph, noFilter, filter, &c.linked, &c.video, &c.audio, &c.text),
        TryLinkRenderToFilter(graph, filter, noFilter, &c.linked, &c.video, &c.audio, &c.text),
        TryRenderSource(noGraph, filter, renders, &c.video, &c.audio, &c.text),
        TryRenderSource(graph, noFilter, renders, &c.video, &c.audio, &c.text),
        GetLinkedTrackNum(noGraph, filter, &c.video, &c.audio, &c.text),
        GetLinkedTrackNum(graph, noFilter, &c.video, &c.audio, &c.text),
        TrySourceFilter(std::string("a"), noFilter),
        TrySourceFilter(std::wstring(L"a"), noFilter),
        AddFilterToGraphBuilder(noGraph, filter, L"a"),
        AddFilterToGraphBuilder(graph, noFilter, L"a"),
        RemoveFilterFromGraphBuilder(noGraph, filter),
        RemoveFilterFromGraphBuilder(graph, noFilter),
        AddFilterToGraphBuilderCache(nullptr, filter),
        AddFilterToGraphBuilderCache(&scene.graph->config, noFilter),
        RemoveFilterFromGraphBuilderCache(nullptr, filter),
        RemoveFilterFromGraphBuilderCache(&scene.graph->config, noFilter),
        ShowPropertyPage(noFilter, nullptr),
    };
    for (std::size_t i = 0; i < std::size(zeros); ++i) {
        EXPECT_EQ(zeros[i], 0) << "number " << i;
    }
    EXPECT_EQ(c.Kinds(), (Kinds{77, 77, 77}));

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
