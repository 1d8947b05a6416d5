// The fakes' own critical behaviour: what they are trusted to notice.

#include <gtest/gtest-spi.h>

#include "fakes/FakeTest.h"
#include "fakes/TaskMemory.h"

using namespace fakes;

namespace {

class Fakes : public FakeTest {};

TEST_F(Fakes, LedgerNamesWhatIsLeft) {
    const Ledger::Mark mark = ledger.Now();
    {
        const ComPtr<FakeGraph> graph = MakeGraph();
        FakeFilter& source = graph->Add("Source", {Out(Video())});
        FakeFilter& render = graph->Add("Render", {In(Video())});
        Join(source, render);
        source.OutPin().AddRef();
        graph->video.AddRef();
    }
    EXPECT_EQ(ledger.Alive(mark),
              Lines({"graph: 0 references, video: 1 references",
                     "Source: 1 references, Source.Out1: 2 references (connected), in a graph",
                     "Render: 1 references, Render.In1: 1 references (connected), in a graph"}));
    EXPECT_EQ(ledger.Settle(mark).size(), 3U);
    EXPECT_EQ(ledger.Alive(mark), Lines());
}

TEST_F(Fakes, LedgerWantsTheExpectedLeaks) {
    for (const int leaks : {2, 1}) {
        const Ledger::Mark mark = ledger.Now();
        FakeFilter* const filter = MakeFilter("A", {Out()}).Detach();
        for (int i = 0; i < leaks; ++i) {
            filter->OutPin().AddRef();
        }
        ledger.ExpectLeak(filter->OutPin(), 2);
        filter->Release();
        EXPECT_EQ(ledger.Settle(mark),
                  leaks == 2 ? Lines() : Lines({"A.Out1: only 1 of 2 expected leaks"}));
    }
}

TEST_F(Fakes, UnfreedMediaTypesAreFound) {
    const Ledger::Mark mark = ledger.Now();
    {
        const ComPtr<FakeFilter> filter = MakeFilter("A", {Out(Video(640, 360))});
        ComPtr<IEnumMediaTypes> types;
        EXPECT_HR(S_OK, filter->OutPin().EnumMediaTypes(&types));
        AM_MEDIA_TYPE* type = nullptr;
        EXPECT_HR(S_OK, types->Next(1, &type, nullptr));
        CoTaskMemFree(type); // neither its format block nor its interface
        EXPECT_HR(S_FALSE, types->Next(1, &type, nullptr));
    }
    EXPECT_EQ(TakeUnfreedTaskMemory(), Lines({"a format block that was not freed"}));
    EXPECT_EQ(ledger.Settle(mark), Lines({"a media type that was not freed: 1 references"}));
}

/// Hands out a pin and drops it, with a leak when `ConnectedTo` fails.
void LeakyScenario(bool leak) {
    const ComPtr<FakeFilter> filter = MakeFilter("A", {Out()});
    ComPtr<IEnumPins> pins;
    ComPtr<IPin> pin;
    ComPtr<IPin> peer;
    if (FAILED(filter->EnumPins(&pins)) || pins->Next(1, &pin, nullptr) != S_OK) {
        return;
    }
    if (pin->ConnectedTo(&peer) == E_FAIL && leak) {
        pin->AddRef();
    }
}

TEST_F(Fakes, FaultPlanHitsEachCallOnce) {
    std::vector<std::string> hits;
    FaultOptions options;
    options.check = [&](std::size_t, const std::string& where) { hits.push_back(where); };
    EXPECT_EQ(RunFaultPlan([] { LeakyScenario(false); }, options), 3U);
    EXPECT_EQ(hits, Lines({"", "A.EnumPins", "A.EnumPins.Next", "A.Out1.ConnectedTo"}));
    EXPECT_NONFATAL_FAILURE(
        RunFaultPlan([] { LeakyScenario(true); }),
        "after call 3 failed: A.Out1.ConnectedTo: A: 0 references, A.Out1: 1 references");
}

TEST_F(Fakes, GraphKeepsTheRulesOfDirectShow) {
    const ComPtr<FakeGraph> graph = MakeGraph();
    FakeFilter& a = graph->Add("A", {Out(Video())});
    FakeFilter& b = graph->Add("B", {In(Video())});
    EXPECT_EQ(graph->FilterNames(), Lines({"B", "A"}));
    EXPECT_HR(S_OK, graph->Connect(&a.OutPin(), &b.InPin()));
    EXPECT_JOURNAL({"graph.Connect(A.Out1, B.In1)"});
    EXPECT_EQ(a.Refs(), 2U); // the graph's, and the peer's on the pin

    ComPtr<IEnumFilters> filters;
    ComPtr<IBaseFilter> next;
    EXPECT_HR(S_OK, graph->EnumFilters(&filters));
    EXPECT_HR(S_OK, graph->RemoveFilter(&b));
    EXPECT_FALSE(a.OutPin().IsConnected());
    EXPECT_HR(VFW_E_ENUM_OUT_OF_SYNC, filters->Next(1, &next, nullptr));
    EXPECT_HR(S_OK, filters->Reset());
    EXPECT_HR(S_OK, filters->Next(1, &next, nullptr));
    EXPECT_EQ(next.Get(), &a);
}

} // namespace
