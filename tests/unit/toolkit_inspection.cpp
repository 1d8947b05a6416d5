// Inspection over fake filters: answers, what is asked in which order, and whose references
// are whose.
#include "toolkit_support.h"

#include <utility>

using namespace toolkit_test;

namespace {

class Inspection : public ToolkitTest {};

TEST_F(Inspection, RoleComesFromThePins) {
    const std::pair<PinSpecs, DSFilterType> cases[] = {{{}, DSFT_SOURCE},
                                                       {{Out(), Out()}, DSFT_SOURCE},
                                                       {{Out(), In()}, DSFT_TRANSFORM},
                                                       {{In(), In()}, DSFT_RENDER}};
    for (const auto& [pins, type] : cases) {
        EXPECT_EQ(CheckFilterType(MakeFilter("F", pins).Get()), type) << pins.size();
    }
    EXPECT_EQ(CheckFilterType(nullptr), DSFT_UNKNOWN);
    const auto odd = MakeFilter("Odd", {In(), Out()});
    odd->InPin().results["QueryDirection"] = E_FAIL;
    EXPECT_EQ(CheckFilterType(odd.Get()), DSFT_SOURCE);
}

// Next has to answer exactly S_OK, and what comes with another answer is released; so is an
// enumerator that comes with a failure.
TEST_F(Inspection, EnumeratorsThatBendTheRules) {
    const auto up = MakeFilter("Up", {Out()});
    const auto filter = MakeFilter("F", {In()});
    Join(up, filter);
    filter->enumResults["Next"] = Do(S_FALSE);
    EXPECT_EQ(CheckFilterType(filter.Get()), DSFT_SOURCE);
    EXPECT_EQ(IsFilterLinked(filter.Get()), 0);
    filter->enumResults.Clear();
    EXPECT_EQ(IsFilterLinked(filter.Get()), 1);
    for (const Answer& answer : {Skip(E_FAIL), Do(E_FAIL), Skip(S_OK)}) { // succeeds with nothing
        filter->results["EnumPins"] = answer;
        EXPECT_EQ(IsFilterLinked(filter.Get()), 0);
        EXPECT_EQ(CheckFilterType(filter.Get()), DSFT_UNKNOWN);
    }
    Part(up->OutPin());
}

/// The total, then the counts that are filled in.
std::vector<int> PinCounts(IBaseFilter* filter) {
    int counts[4] = {-1, -1, -1, -1};
    const int total = CountFilterPins(filter, counts[0], counts[1], counts[2], counts[3]);
    return {total, counts[0], counts[1], counts[2], counts[3]};
}

TEST_F(Inspection, CountingPinsLeavesTwoReferencesOnEachPeer) {
    const auto up = MakeFilter("Up", {Out()});
    const auto filter = MakeFilter("F", {In(), Out(), In()});
    Join(up, filter);
    filter->InPin(1).results["QueryDirection"] = E_FAIL;
    EXPECT_EQ(PinCounts(filter.Get()), (std::vector{2, 1, 1, 1, 0}));
    EXPECT_EQ(Calls(), (Lines{"F.EnumPins", "F.In1.QueryDirection", "F.In1.ConnectedTo",
                              "F.In1.ConnectedTo", "F.Out1.QueryDirection", "F.Out1.ConnectedTo",
                              "F.Out1.ConnectedTo", "F.In2.QueryDirection"}));
    Ledger::Get().ExpectLeak(up->OutPin(), 2);

    // A peer that comes with another success code counts as none, and the second is released.
    filter->InPin().results["ConnectedTo"] = Do(S_FALSE);
    EXPECT_EQ(PinCounts(filter.Get()), (std::vector{2, 1, 1, 2, 0}));
    Ledger::Get().ExpectLeak(up->OutPin(), 1);

    EXPECT_EQ(PinCounts(nullptr), (std::vector{0, 0, 0, 0, 0}));
    filter->results["EnumPins"] = E_FAIL;
    EXPECT_EQ(PinCounts(filter.Get()), (std::vector{0, 0, 0, 0, 0}));
    Part(up->OutPin());
}

TEST_F(Inspection, PinsOfOneDirection) {
    const auto filter = MakeFilter("F", {In(), Out(), Out(), In()});
    filter->OutPin(0).results["QueryDirection"] = E_FAIL;
    IPin* pins[4] = {Stale<IPin>(), nullptr, nullptr, nullptr};
    int count = -1;
    GetFilterPins(filter.Get(), PINDIR_INPUT, count, pins);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(TakeNames({pins[0], pins[1]}), (Lines{"F.In1", "F.In2"}));
    GetFilterPins(filter.Get(), PINDIR_OUTPUT, count, nullptr);
    EXPECT_EQ(count, 1);
    GetFilterPins(nullptr, PINDIR_OUTPUT, count, pins);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(pins[0], nullptr);
}

TEST_F(Inspection, KindOfAPin) {
    const GUID almostVideo = {
        MEDIATYPE_Video.Data1, 0x0001, 0x0010, {0x80, 0, 0, 0xaa, 0, 0x38, 0x9b, 0x71}};
    const struct {
        const char* name;
        bool connected;
        std::vector<MediaType> types; // of the connection (the first) or preferred
        DSPinMediaType kind;
        int audio;
        int video;
    } cases[] = {
        {"no types", false, {}, DSPMT_UNKNOWN, 0, 0},
        {"audio before video", false, {Audio(), Video()}, DSPMT_AUDIO, 1, 1},
        {"video before audio", false, {Stream(), Video(), Audio()}, DSPMT_VIDEO, 1, 1},
        {"text", false, {Stream(), fakes::Text()}, DSPMT_TEXT, 0, 0},
        {"others", false, {Stream(), Major(MEDIATYPE_Midi)}, DSPMT_UNKNOWN, 0, 0},
        {"almost video", false, {Major(almostVideo)}, DSPMT_UNKNOWN, 0, 0},
        {"linked video", true, {Video(640, 480), Audio()}, DSPMT_VIDEO, 0, 1},
        {"linked audio", true, {Audio(44100), Video()}, DSPMT_AUDIO, 1, 0},
        {"linked text", true, {fakes::Text(), Video()}, DSPMT_TEXT, 0, 0},
        {"linked MIDI", true, {Major(MEDIATYPE_Midi), Video(), Audio()}, DSPMT_UNKNOWN, 0, 0},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.name);
        const auto up = MakeFilter("Up", {Out()});
        const auto down = MakeFilter("Down", {In()});
        up->OutPin().types = one.types;
        if (one.connected) {
            Join(up, down);
        }
        EXPECT_EQ(GetPinMediaType(&up->OutPin()), one.kind);
        EXPECT_EQ(IsAudioPin(&up->OutPin()), one.audio);
        EXPECT_EQ(IsVideoPin(&up->OutPin()), one.video);
        Part(up->OutPin());
    }
}

TEST_F(Inspection, PreferredTypesAreReadToTheFirstHit) {
    const auto filter = MakeFilter("F", {Out(Stream(), Audio(48000), Video(16, 16))});
    FakePin& pin = filter->OutPin();
    Journal::Get().SetKinds(kCall | kEnumCall);
    EXPECT_EQ(GetPinMediaType(&pin), DSPMT_AUDIO);
    EXPECT_EQ(Calls(), (Lines{"F.Out1.ConnectionMediaType", "F.Out1.EnumMediaTypes",
                              "F.Out1.EnumMediaTypes.Next", "F.Out1.EnumMediaTypes.Next"}));
    EXPECT_EQ(IsVideoPin(&pin), 1);
    EXPECT_EQ(Calls().size(), 5u);

    // Only exactly S_OK is a connection; what comes along with another code is freed.
    const auto down = MakeFilter("Down", {In()});
    Join(filter, down);
    pin.results["ConnectionMediaType"] = Do(S_FALSE);
    EXPECT_EQ(GetPinMediaType(&pin), DSPMT_AUDIO);
    pin.results["EnumMediaTypes"] = E_FAIL;
    EXPECT_EQ(GetPinMediaType(&pin), DSPMT_UNKNOWN);
    EXPECT_EQ(IsAudioPin(&pin), 0);
    pin.results["EnumMediaTypes"] = Skip(S_OK); // succeeds without an enumerator
    EXPECT_EQ(GetPinMediaType(&pin), DSPMT_UNKNOWN);
    Part(pin);
}

TEST_F(Inspection, LinkedPinsAndFilters) {
    const auto up = MakeFilter("Up", {Out()});
    const auto filter = MakeFilter("F", {In(), In(), Out(), Out()});
    EXPECT_EQ(IsFilterLinked(filter.Get()), 0);
    EXPECT_EQ(GetUnlinkedInputPinNum(filter.Get()), 2);
    EXPECT_EQ(GetUnlinkedOutputPinNum(filter.Get()), 2);
    Join(up->OutPin(), filter->InPin(1));
    EXPECT_EQ(IsPinLinked(&filter->InPin(0)), 0);
    EXPECT_EQ(IsPinLinked(&filter->InPin(1)), 1);
    Calls();
    EXPECT_EQ(IsFilterLinked(filter.Get()), 1);
    EXPECT_EQ(Calls(), (Lines{"F.EnumPins", "F.In1.ConnectedTo", "F.In2.ConnectedTo"}));

    EXPECT_EQ(GetUnlinkedInputPinNum(filter.Get()), 1);
    const Lines inputs = Calls();
    EXPECT_EQ(inputs, (Lines{"F.EnumPins", "F.In1.QueryDirection", "F.In1.ConnectedTo",
                             "F.In2.QueryDirection", "F.In2.ConnectedTo", "F.Out1.QueryDirection",
                             "F.Out2.QueryDirection"}));
    EXPECT_EQ(GetUnlinkedOutputPinNum(filter.Get()), 1);
    EXPECT_EQ(Calls(), inputs);

    filter->InPin(1).results["ConnectedTo"] = Do(S_FALSE); // a peer, but not exactly S_OK
    EXPECT_EQ(GetUnlinkedInputPinNum(filter.Get()), 2);
    EXPECT_EQ(IsPinLinked(&filter->InPin(1)), 1);
    filter->InPin(1).results["ConnectedTo"] = Skip(S_OK); // no peer
    EXPECT_EQ(GetUnlinkedInputPinNum(filter.Get()), 2);
    Part(up->OutPin());
}

TEST_F(Inspection, UnlinkedPinsAreAppended) {
    const auto up = MakeFilter("Up", {Out()});
    const auto filter = MakeFilter("F", {Out(), In(), In(), Out(), Out()});
    Join(up->OutPin(), filter->InPin(0));
    filter->OutPin(1).results["QueryDirection"] = E_FAIL;
    IPin* const before = &up->OutPin();
    before->AddRef();
    std::vector<IPin*> inputs{before};
    std::vector<IPin*> outputs;
    GetUnlinkedPins(filter.Get(), &inputs, &outputs);
    EXPECT_EQ(Calls(), (Lines{"F.EnumPins", "F.Out1.ConnectedTo", "F.Out1.QueryDirection",
                              "F.In1.ConnectedTo", "F.In2.ConnectedTo", "F.In2.QueryDirection",
                              "F.Out2.ConnectedTo", "F.Out2.QueryDirection", "F.Out3.ConnectedTo",
                              "F.Out3.QueryDirection"}));
    EXPECT_EQ(TakeNames(inputs), (Lines{"Up.Out1", "F.In2"}));
    EXPECT_EQ(TakeNames(outputs), (Lines{"F.Out1", "F.Out3"}));

    std::vector<IPin*> only;
    GetUnlinkedPins(filter.Get(), nullptr, &only);
    EXPECT_EQ(TakeNames(only), (Lines{"F.Out1", "F.Out3"}));
    Part(up->OutPin());
}

// A source whose outputs A and B lead to a decoder each; both decoders have a free output
// behind a linked one, and the source has one between A and B.
class Downstream : public Inspection {
protected:
    void SetUp() override {
        source = MakeFilter("S", {Named("A", Out()), Named("Free", Out()), Named("B", Out())});
        for (const char* name : {"DA", "DB"}) {
            auto& decoder = decoders.emplace_back(MakeFilter(name, {In(), Out(), Out()}));
            auto& render = renders.emplace_back(MakeFilter(std::string("R") + name, {In()}));
            Join(decoder->OutPin(0), render->InPin());
        }
        Join(source->Pin("A"), decoders[0]->InPin());
        Join(source->Pin("B"), decoders[1]->InPin());
    }
    void TearDown() override {
        for (FakePin* pin : {&source->Pin("A"), &source->Pin("B"), &decoders[0]->OutPin(),
                             &decoders[1]->OutPin()}) {
            Part(*pin);
        }
    }
    Lines FreePins() {
        std::vector<IPin*> pins;
        GetUnlinkedOutputPinsFromFilter(source.Get(), &pins);
        return TakeNames(pins);
    }
    std::string FirstFreePin() {
        IPin* pin = Stale<IPin>();
        GetFirstUnlinkedOutputPinFromFilter(source.Get(), &pin);
        return pin ? TakeNames({pin}).front() : "none";
    }

    ComPtr<FakeFilter> source;
    std::vector<ComPtr<FakeFilter>> decoders;
    std::vector<ComPtr<FakeFilter>> renders;
};

TEST_F(Downstream, TheLastOutputIsExploredFirst) {
    EXPECT_EQ(FreePins(), (Lines{"S.Free", "DB.Out2", "DA.Out2"}));
    EXPECT_EQ(Calls(),
              (Lines{"S.EnumPins", "S.A.QueryDirection", "S.A.ConnectedTo", "S.Free.QueryDirection",
                     "S.Free.ConnectedTo", "S.B.QueryDirection", "S.B.ConnectedTo",
                     // behind B
                     "S.B.ConnectedTo", "DB.In1.QueryPinInfo", "DB.EnumPins",
                     "DB.In1.QueryDirection", "DB.Out1.QueryDirection", "DB.Out1.ConnectedTo",
                     "DB.Out2.QueryDirection", "DB.Out2.ConnectedTo", "DB.Out1.ConnectedTo",
                     "RDB.In1.QueryPinInfo", "RDB.EnumPins", "RDB.In1.QueryDirection",
                     // behind A
                     "S.A.ConnectedTo", "DA.In1.QueryPinInfo", "DA.EnumPins",
                     "DA.In1.QueryDirection", "DA.Out1.QueryDirection", "DA.Out1.ConnectedTo",
                     "DA.Out2.QueryDirection", "DA.Out2.ConnectedTo", "DA.Out1.ConnectedTo",
                     "RDA.In1.QueryPinInfo", "RDA.EnumPins", "RDA.In1.QueryDirection"}));
}

TEST_F(Downstream, TheFirstFreePinEndsTheSearchAtOnce) {
    EXPECT_EQ(FirstFreePin(), "S.Free");
    EXPECT_EQ(Calls(), (Lines{"S.EnumPins", "S.A.QueryDirection", "S.A.ConnectedTo",
                              "S.Free.QueryDirection", "S.Free.ConnectedTo"}));
    source->Pin("Free").results["QueryDirection"] = E_FAIL;
    EXPECT_EQ(FirstFreePin(), "DB.Out2");
    decoders[1]->OutPin(1).results["QueryDirection"] = E_FAIL;
    EXPECT_EQ(FirstFreePin(), "DA.Out2");
    decoders[0]->OutPin(1).results["QueryDirection"] = E_FAIL;
    EXPECT_EQ(FirstFreePin(), "none");
}

TEST_F(Downstream, BranchesThatCannotBeFollowedAreSkipped) {
    decoders[1]->InPin().results["QueryPinInfo"] = E_FAIL;
    EXPECT_EQ(FreePins(), (Lines{"S.Free", "DA.Out2"}));
    decoders[1]->InPin().results.Clear();
    decoders[1]->results["EnumPins"] = E_FAIL;
    EXPECT_EQ(FreePins(), (Lines{"S.Free", "DA.Out2"}));
    // Linked while it is scanned, parted when it is followed.
    source->Pin("A").results["ConnectedTo"] = {S_OK, E_FAIL};
    EXPECT_EQ(FreePins(), (Lines{"S.Free"}));
}

TEST_F(Downstream, AFilterOnTwoPathsIsMetTwice) {
    const auto mixer = MakeFilter("M", {In(), In(), Out()});
    Join(decoders[0]->OutPin(1), mixer->InPin(0));
    Join(decoders[1]->OutPin(1), mixer->InPin(1));
    EXPECT_EQ(FreePins(), (Lines{"S.Free", "M.Out1", "M.Out1"}));
    Part(mixer->InPin(0));
    Part(mixer->InPin(1));
}

TEST_F(Inspection, InterfaceOfAFilterOrItsFirstEligiblePin) {
    const auto up = MakeFilter("Up", {Out()});
    const auto filter = MakeFilter("F", {In(), In(), Out()});
    filter->InPin(1).Expose(IID_IKsPropertySet);
    filter->OutPin(0).Expose(IID_IAMStreamConfig);
    const auto find = [&](const GUID& iid, int searchPins, int includeUnlinked) {
        void* found = Stale<void>();
        const int answer =
            FindFilterInterface(filter.Get(), iid, &found, searchPins, includeUnlinked);
        return std::pair(answer, TakeName(found));
    };
    using Found = std::pair<int, std::string>;
    // Nobody is asked but the filter.
    EXPECT_EQ(find(IID_IKsPropertySet, 0, 1), Found(0, "none"));
    EXPECT_TRUE(Calls().empty());
    // Every pin is unlinked, so none is asked, and the answer is yes all the same.
    EXPECT_EQ(find(IID_IKsPropertySet, 1, 0), Found(1, "none"));
    // The first pin is the only one asked.
    EXPECT_EQ(find(IID_IKsPropertySet, 1, 1), Found(1, "none"));
    EXPECT_EQ(find(IID_IPin, 1, 1), Found(1, "F.In1"));
    Join(up->OutPin(), filter->InPin(1));
    EXPECT_EQ(find(IID_IAMStreamConfig, 1, 0), Found(1, "none"));
    EXPECT_EQ(find(IID_IKsPropertySet, 1, 0), Found(1, "F.In2"));
    EXPECT_EQ(find(IID_IBaseFilter, 1, 0), Found(1, "F"));
    filter->results["EnumPins"] = E_FAIL;
    EXPECT_EQ(find(IID_IKsPropertySet, 1, 0), Found(0, "none"));

    void* found = Stale<void>();
    EXPECT_EQ(FindPinInterface(&filter->OutPin(), IID_IAMStreamConfig, &found), 1);
    EXPECT_EQ(TakeName(found), "F.Out1");
    EXPECT_EQ(FindPinInterface(&filter->OutPin(), IID_IKsPropertySet, &found), 0);
    EXPECT_EQ(found, nullptr);
    Part(up->OutPin());
}

TEST_F(Inspection, InterfacesOfTheFiltersOfAGraph) {
    const auto graph = MakeGraph();
    const auto a = AddTo(graph, "A", {Out()});
    const auto b = AddTo(graph, "B", {In()});
    const auto c = AddTo(graph, "C", {In()});
    Join(a, b);
    b->Expose(IID_IBasicAudio);
    c->Expose(IID_IBasicAudio);
    b->InPin().Expose(IID_IKsPropertySet);

    void* found[4] = {Stale<void>(), Stale<void>(), Stale<void>(), Stale<void>()};
    // The capacity bounds the clearing alone.
    EXPECT_EQ(FindInterfaceInGraphFilters(graph.Get(), IID_IBasicAudio, found, 1, 0, 1), 2u);
    EXPECT_EQ(TakeName(found[0]), "C"); // the graph lists the last first
    EXPECT_EQ(TakeName(found[1]), "B");
    EXPECT_EQ(found[2], Stale<void>());
    EXPECT_EQ(FindInterfaceInGraphFilters(graph.Get(), IID_IBasicAudio, found, 4, 0, 0), 1u);
    EXPECT_EQ(TakeName(found[0]), "B");
    EXPECT_EQ(found[3], nullptr);
    // With pins, every filter counts, and entries may be null.
    EXPECT_EQ(FindInterfaceInGraphFilters(graph.Get(), IID_IKsPropertySet, found, 4, 1, 1), 3u);
    EXPECT_EQ(found[0], nullptr);
    EXPECT_EQ(TakeName(found[1]), "B.In1");
    EXPECT_EQ(found[2], nullptr);
    EXPECT_EQ(FindInterfaceInGraphFilters(graph.Get(), IID_IBasicAudio, nullptr, 0, 0, 1), 2u);
    found[0] = Stale<void>();
    EXPECT_EQ(FindInterfaceInGraphFilters(nullptr, IID_IBasicAudio, found, 1, 0, 1), 0u);
    EXPECT_EQ(found[0], nullptr);
    Part(a->OutPin());
}

} // namespace
