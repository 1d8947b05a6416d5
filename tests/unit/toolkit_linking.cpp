// Linking and unlinking over a fake graph.
#include "toolkit_support.h"

using namespace toolkit_test;

namespace {

class Linking : public ToolkitTest {
protected:
    Linking() {
        graph->canConnect = [](FakePin& out, FakePin& in) {
            MediaType type;
            return &out.Filter() != &in.Filter() && FakePin::Agree(out, in, type);
        };
    }
    ComPtr<FakeGraph> graph = MakeGraph();
};

TEST_F(Linking, PinIsConnectedUnlessItIsAlready) {
    const auto a = AddTo(graph, "A", {Out()});
    const auto b = AddTo(graph, "B", {In(), In()});
    IPin* const out = &a->OutPin();
    EXPECT_EQ(LinkPin(graph.Get(), out, &b->InPin(0)), 1);
    EXPECT_EQ(Calls(), (Lines{"A.Out1.ConnectedTo", "graph.Connect(A.Out1, B.In1)"}));
    EXPECT_EQ(LinkPin(graph.Get(), out, &b->InPin(0)), 1);
    EXPECT_EQ(Calls(), (Lines{"A.Out1.ConnectedTo"}));
    // Elsewhere connected: tried, and refused by the graph.
    EXPECT_EQ(LinkPin(graph.Get(), out, &b->InPin(1)), 0);
    EXPECT_EQ(Calls(), (Lines{"A.Out1.ConnectedTo", "graph.Connect(A.Out1, B.In2)"}));
    // Success without a peer is no connection.
    a->OutPin().results["ConnectedTo"] = Skip(S_OK);
    EXPECT_EQ(LinkPin(graph.Get(), out, &b->InPin(0)), 0);
}

TEST_F(Linking, OnlyTwoSuccessCodesLinkAPin) {
    const auto a = AddTo(graph, "A", {Out()});
    const auto b = AddTo(graph, "B", {In()});
    const std::pair<HRESULT, int> cases[] = {
        {S_OK, 1}, {VFW_S_PARTIAL_RENDER, 1}, {S_FALSE, 0}, {VFW_S_DUPLICATE_NAME, 0}, {E_FAIL, 0}};
    for (const auto& [result, linked] : cases) {
        graph->results["Connect"] = Do(result);
        EXPECT_EQ(LinkPin(graph.Get(), &a->OutPin(), &b->InPin()), linked) << std::hex << result;
        Part(a->OutPin());
    }
}

TEST_F(Linking, FiltersByEveryPair) {
    const auto up = AddTo(graph, "U", {Out(Video()), Out(Stream()), Out(Audio()), Out(Video())});
    const auto down = AddTo(graph, "D", {In(Audio()), In(Video()), In(Video())});
    EXPECT_EQ(LinkFilter(graph.Get(), up.Get(), down.Get()), 1);
    EXPECT_EQ(CallsOf("graph.*"),
              (Lines{"graph.Connect(U.Out1, D.In1)", "graph.Connect(U.Out1, D.In2)",
                     "graph.Connect(U.Out2, D.In1)", "graph.Connect(U.Out2, D.In3)",
                     "graph.Connect(U.Out3, D.In1)", "graph.Connect(U.Out4, D.In3)"}));
    EXPECT_EQ(graph->Connections(),
              (Lines{"U.Out1 -> D.In2", "U.Out3 -> D.In1", "U.Out4 -> D.In3"}));
    // No input is free, so nothing is tried.
    EXPECT_EQ(LinkFilter(graph.Get(), up.Get(), down.Get()), 0);
    EXPECT_TRUE(CallsOf("graph.*").empty());
    EXPECT_EQ(LinkFilter(graph.Get(), down.Get(), up.Get()), 0);
}

TEST_F(Linking, PinToTheFirstInputThatTakesIt) {
    const auto up = AddTo(graph, "U", {Out(Video())});
    const auto down = AddTo(graph, "D", {In(Audio()), In(Video()), In(Video())});
    EXPECT_EQ(LinkFilter(graph.Get(), &up->OutPin(), down.Get()), 1);
    EXPECT_EQ(CallsOf("graph.*"),
              (Lines{"graph.Connect(U.Out1, D.In1)", "graph.Connect(U.Out1, D.In2)"}));
    // Another success code counts here, unlike in LinkPin.
    const auto other = AddTo(graph, "O", {Out(Video())});
    graph->results["Connect"] = {E_FAIL, S_FALSE};
    EXPECT_EQ(LinkFilter(graph.Get(), &other->OutPin(), down.Get()), 1);
    graph->results["Connect"] = E_FAIL;
    EXPECT_EQ(LinkFilter(graph.Get(), &other->OutPin(), down.Get()), 0);
}

TEST_F(Linking, FilterIntoItsGraph) {
    // Enumerated last first: R, F, S.
    const auto source = AddTo(graph, "S", {Out(Video())});
    const auto filter = AddTo(graph, "F", {In(Video()), Out(Video())});
    const auto render = AddTo(graph, "R", {In(Video())});
    EXPECT_EQ(LinkFilter(graph.Get(), filter.Get()), 1);
    // The input was linked to the last enumerated; as none is free, the outputs stay.
    EXPECT_EQ(graph->Connections(), (Lines{"S.Out1 -> F.In1"}));
    for (const auto& fetched : {source, filter, render}) {
        // Once in the first pass; the second ends at the first filter that it fetches.
        Ledger::Get().ExpectLeak(*fetched.Get(), fetched.Get() == render.Get() ? 2 : 1);
    }
}

TEST_F(Linking, FilterOutputsAreLinkedOnlyWhileAnInputIsFree) {
    const auto source = AddTo(graph, "S", {Out(Video())});
    const auto filter = AddTo(graph, "F", {In(Video()), In(Audio()), Out(Video())});
    const auto render = AddTo(graph, "R", {In(Video())});
    Journal::Get().SetKinds(kCall | kEnumCall);
    EXPECT_EQ(LinkFilter(graph.Get(), filter.Get()), 1);
    EXPECT_EQ(graph->Connections(), (Lines{"F.Out1 -> R.In1", "S.Out1 -> F.In1"}));
    EXPECT_TRUE(Journal::Get().InOrder({"graph.Connect(S.Out1, F.In1)", "graph.EnumFilters.Reset",
                                        "graph.Connect(F.Out1, R.In1)"}));
    // Nothing feeds this one, so it is not linked onwards either.
    const auto lonely = AddTo(graph, "L", {In(fakes::Text()), Out(Video())});
    const auto free = AddTo(graph, "V", {In(Video())});
    EXPECT_EQ(LinkFilter(graph.Get(), lonely.Get()), 0);
    EXPECT_FALSE(lonely->OutPin().IsConnected());
    for (const auto& fetched : {source, filter, render}) {
        Ledger::Get().ExpectLeak(*fetched.Get(), 3); // two passes fetch all, and one
    }
    Ledger::Get().ExpectLeak(*lonely.Get(), 1);
    Ledger::Get().ExpectLeak(*free.Get(), 1);
}

TEST_F(Linking, UnlinkPinTakesThePeerFirst) {
    const auto a = AddTo(graph, "A", {Out()});
    const auto b = AddTo(graph, "B", {In()});
    EXPECT_EQ(UnlinkPin(graph.Get(), &b->InPin()), 1);
    EXPECT_EQ(Calls(), (Lines{"B.In1.ConnectedTo"}));
    Join(a, b);
    EXPECT_EQ(UnlinkPin(graph.Get(), &b->InPin()), 1);
    EXPECT_EQ(Calls(),
              (Lines{"B.In1.ConnectedTo", "graph.Disconnect(A.Out1)", "graph.Disconnect(B.In1)"}));
    EXPECT_FALSE(a->OutPin().IsConnected());
    EXPECT_FALSE(b->InPin().IsConnected());

    // Both ends are told, whichever refuses.
    for (const auto& results : {std::initializer_list<HRESULT>{E_FAIL}, {S_OK, E_FAIL}}) {
        Join(a, b);
        Calls();
        graph->results["Disconnect"] = results;
        EXPECT_EQ(UnlinkPin(graph.Get(), &a->OutPin()), 0);
        EXPECT_EQ(CallsOf("graph.*"),
                  (Lines{"graph.Disconnect(B.In1)", "graph.Disconnect(A.Out1)"}));
        Part(a->OutPin());
        Part(b->InPin());
    }
    a->OutPin().results["ConnectedTo"] = Skip(S_OK); // no peer
    EXPECT_EQ(UnlinkPin(graph.Get(), &a->OutPin()), 1);
    EXPECT_TRUE(CallsOf("graph.*").empty());
}

TEST_F(Linking, UnlinkFilterStopsAtTheFirstFailure) {
    const auto filter = AddTo(graph, "F", {In(), In(), Out()});
    const auto up = AddTo(graph, "U", {Out(), Out()});
    EXPECT_EQ(UnlinkFilter(graph.Get(), filter.Get()), 1);
    EXPECT_EQ(UnlinkFilter(graph.Get(), AddTo(graph, "E", {}).Get()), 1);
    Join(up, filter);
    Join(up, filter);
    graph->results["Disconnect"] = {E_FAIL};
    EXPECT_EQ(UnlinkFilter(graph.Get(), filter.Get()), 0);
    EXPECT_TRUE(up->OutPin(0).IsConnected() && !filter->InPin(0).IsConnected());
    EXPECT_TRUE(filter->InPin(1).IsConnected());
    EXPECT_EQ(UnlinkFilter(graph.Get(), filter.Get()), 1);
    EXPECT_FALSE(filter->InPin(1).IsConnected());
    filter->results["EnumPins"] = E_FAIL;
    EXPECT_EQ(UnlinkFilter(graph.Get(), filter.Get()), 0);
}

TEST_F(Linking, UnlinkGraphGoesInputByInputTheLastFirst) {
    const auto source = AddTo(graph, "S", {Out(), Out()});
    const auto a = AddTo(graph, "A", {In(), Out()});
    const auto b = AddTo(graph, "B", {In()});
    const auto mixer = AddTo(graph, "M", {In(), In()});
    Join(source->OutPin(0), a->InPin());
    Join(source->OutPin(1), mixer->InPin(1));
    Join(a->OutPin(), mixer->InPin(0));
    graph->results["Disconnect"] = {E_FAIL, E_FAIL}; // does not stop it
    EXPECT_EQ(UnlinkGraphBuilder(graph.Get()), 1);
    EXPECT_EQ(
        CallsOf("graph.Disconnect*"),
        (Lines{"graph.Disconnect(S.Out1)", "graph.Disconnect(A.In1)", "graph.Disconnect(S.Out2)",
               "graph.Disconnect(M.In2)", "graph.Disconnect(A.Out1)", "graph.Disconnect(M.In1)"}));
    EXPECT_TRUE(b->InPin().Peer() == nullptr);
    EXPECT_FALSE(mixer->InPin(0).IsConnected());
    graph->results["EnumFilters"] = E_FAIL;
    EXPECT_EQ(UnlinkGraphBuilder(graph.Get()), 1);
    Part(source->OutPin(0));
    Part(a->InPin());
}

} // namespace
