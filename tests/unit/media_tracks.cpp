// The track operations, once for both kinds.

#include "media_graph.h"

#include <future>
#include <stdexcept>

using namespace media_tests;

namespace {

struct AudioOps {
    static constexpr auto num = &GraphMedia::GetAudioTrackNum;
    static constexpr auto original = &GraphMedia::GetOriginalAudioTrackNum;
    static constexpr auto render = &GraphMedia::GetAudioTrackRender;
    static constexpr auto enable = &GraphMedia::EnableAudioTrack;
    static constexpr auto disable = &GraphMedia::DisableAudioTrack;
    static constexpr auto enableAll = &GraphMedia::EnableAllAudioTrack;
    static constexpr auto disableAll = &GraphMedia::DisableAllAudioTrack;
    static constexpr auto onlyOne = &GraphMedia::EnableOnlyOneAudioTrack;
    static constexpr auto isEnabled = &GraphMedia::IsAudioTrackEnable;
    static constexpr auto first = &GraphMedia::GetFirstEnabledAudioTrackIndex;
    static constexpr auto linkAll = &GraphMedia::LinkAllAudioTrack;
    static constexpr auto unlinkAll = &GraphMedia::UnlinkAllAudioTrack;
    static auto& Tracks(GraphMedia& media) { return media.m_audioTracks; }
    static auto& Records(GraphMedia& media) { return media.m_audioInfos; }
    static MediaType Type() { return fakes::Audio(44100); }
    static MediaType OtherType() { return fakes::Video(640, 360); }
    static constexpr auto disableOther = &GraphMedia::DisableVideoTrack;
    static constexpr auto unlinkOthers = &GraphMedia::UnlinkAllVideoTrack;
};

struct VideoOps {
    static constexpr auto num = &GraphMedia::GetVideoTrackNum;
    static constexpr auto original = &GraphMedia::GetOriginalVideoTrackNum;
    static constexpr auto render = &GraphMedia::GetVideoTrackRender;
    static constexpr auto enable = &GraphMedia::EnableVideoTrack;
    static constexpr auto disable = &GraphMedia::DisableVideoTrack;
    static constexpr auto enableAll = &GraphMedia::EnableAllVideoTrack;
    static constexpr auto disableAll = &GraphMedia::DisableAllVideoTrack;
    static constexpr auto onlyOne = &GraphMedia::EnableOnlyOneVideoTrack;
    static constexpr auto isEnabled = &GraphMedia::IsVideoTrackEnable;
    static constexpr auto first = &GraphMedia::GetFirstEnabledVideoTrackIndex;
    static constexpr auto linkAll = &GraphMedia::LinkAllVideoTrack;
    static constexpr auto unlinkAll = &GraphMedia::UnlinkAllVideoTrack;
    static auto& Tracks(GraphMedia& media) { return media.m_videoTracks; }
    static auto& Records(GraphMedia& media) { return media.m_videoInfos; }
    static MediaType Type() { return fakes::Video(640, 360); }
    static MediaType OtherType() { return fakes::Audio(44100); }
    static constexpr auto disableOther = &GraphMedia::DisableAudioTrack;
    static constexpr auto unlinkOthers = &GraphMedia::UnlinkAllAudioTrack;
};

// The one difference between the families' signatures, kept.
static_assert(std::is_same_v<decltype(VideoOps::isEnabled),
                             bool (ymdshow::CMedia::*const)(std::uint32_t) const>);
static_assert(
    std::is_same_v<decltype(AudioOps::isEnabled), bool (ymdshow::CMedia::*const)(std::uint32_t)>);

template <class Ops> class MediaTracks : public MediaGraphTest {
protected:
    GraphMedia media{nullptr};

    /// Two tracks of the kind, each behind a decoder: number 0 is that of Out2; and with
    /// `other` one of the other kind at Out3.
    void LoadTracks(bool other = true) {
        sourcePins = {Out(Ops::Type()), Out(Ops::Type())};
        if (other) {
            sourcePins.push_back(Out(Ops::OtherType()));
        }
        configure = RenderThroughDecoders;
        this->Loaded(media);
    }

    /// Streams of the kind at the source, and `renderers` outputs of the kind.
    void LoadStreams(std::vector<DWORD> flags, std::size_t renderers) {
        sourcePins = PinSpecs(renderers, Out(Ops::Type()));
        sourcePins.push_back(Out(Ops::OtherType()));
        configure = [this, flags](FakeGraph& graph) {
            graph.makeSource = [this, flags](const std::wstring&) {
                std::vector<SelectableStream> streams{{fakes::Text(), L"", 0, 0, S_OK}};
                for (const DWORD flag : flags) {
                    streams.push_back({Ops::Type(), L"", flag, 0, S_OK});
                }
                ComPtr<FakeFilter> source = MakeFilter("Source", sourcePins);
                source->Select(streams);
                return source;
            };
        };
        this->Loaded(media);
    }

    template <class Result, class Base, class... Args>
    Result Do(Result (Base::*operation)(Args...), std::type_identity_t<Args>... args) {
        return (media.*operation)(args...);
    }
    template <class Result, class Base, class... Args>
    Result Do(Result (Base::*operation)(Args...) const, std::type_identity_t<Args>... args) {
        return (media.*operation)(args...);
    }

    /// "10": the first track is enabled, the second is not.
    std::string States(std::uint32_t count) {
        std::string states;
        for (std::uint32_t i = 0; i < count; ++i) {
            states += Do(Ops::isEnabled, i) ? '1' : '0';
        }
        return states;
    }
    bool& Linked() { return media.m_isAllFilterLinked; }
    StreamSelectFacet& Select() { return this->Graph().Find("Source")->streamSelect; }

    void ExpectOutOfRange(std::uint32_t index) {
        const auto expect = [&](auto operation) {
            try {
                Do(operation, index);
                ADD_FAILURE() << "no exception for " << index;
            } catch (const std::runtime_error& error) {
                EXPECT_STREQ(error.what(), "index out of range");
            }
        };
        expect(Ops::render);
        expect(Ops::enable);
        expect(Ops::disable);
        expect(Ops::onlyOne);
        expect(Ops::isEnabled);
        // The lock is free again.
        EXPECT_EQ(std::async(std::launch::async, [&] { return media.IsLoaded(); })
                      .wait_for(std::chrono::seconds(5)),
                  std::future_status::ready);
    }
};

using Kinds = testing::Types<AudioOps, VideoOps>;
TYPED_TEST_SUITE(MediaTracks, Kinds);

TYPED_TEST(MediaTracks, CountsComeFromRecordsUntilLoaded) {
    using Ops = TypeParam;
    auto& media = this->media;
    Ops::Records(media).resize(3);
    EXPECT_EQ(this->Do(Ops::num), 3U);
    EXPECT_EQ(this->Do(Ops::original), 0U);
    EXPECT_EQ(this->Do(Ops::first), -1);
    this->ExpectOutOfRange(0);
    EXPECT_TRUE(this->Do(Ops::linkAll)); // of no tracks
    EXPECT_TRUE(this->Linked());
    EXPECT_TRUE(this->Do(Ops::unlinkAll));
    EXPECT_FALSE(this->Linked());
    EXPECT_FALSE(this->Do(Ops::enableAll));
    EXPECT_TRUE(this->Do(Ops::disableAll));

    this->LoadTracks();
    EXPECT_EQ(this->Do(Ops::num), 2U);
    EXPECT_EQ(this->Do(Ops::original), 2U);
    EXPECT_EQ(Ops::Records(media).size(), 2U);
    media.SetIsDecodeAudio(0);
    media.SetIsDecodeVideo(7);
    EXPECT_EQ(media.IsDecodeAudio(), 0);
    EXPECT_EQ(media.IsDecodeVideo(), 7);
}

TYPED_TEST(MediaTracks, RendererTrackIsCutOffAndJoinedAgain) {
    using Ops = TypeParam;
    this->LoadTracks();
    FakeGraph& graph = this->Graph();
    const Lines before = graph.Connections();
    EXPECT_EQ(this->Do(Ops::render, 0), static_cast<IBaseFilter*>(graph.Find("Ren2")));
    EXPECT_EQ(this->Do(Ops::render, 1), static_cast<IBaseFilter*>(graph.Find("Ren1")));
    this->ExpectOutOfRange(2);
    EXPECT_EQ(this->journal.Lines(), Lines());

    ASSERT_TRUE(this->Do(Ops::disable, 0));
    const Lines cut{"graph.Disconnect(Dec2.Out1)", "graph.Disconnect(Ren2.In1)",
                    "graph.Disconnect(Source.Out2)", "graph.Disconnect(Dec2.In1)"};
    EXPECT_EQ(this->Changes(), cut);
    EXPECT_EQ(this->States(2), "01");
    EXPECT_EQ(this->Do(Ops::first), 1);
    const auto& track = *Ops::Tracks(this->media)[0];
    EXPECT_FALSE(track.linked);
    ASSERT_EQ(track.brokenLinks.size(), 2U);
    EXPECT_EQ(AsFake(track.brokenLinks.front().first)->Name(), "Dec2.Out1");
    EXPECT_EQ(AsFake(track.brokenLinks.back().second)->Name(), "Dec2");
    EXPECT_TRUE(this->Do(Ops::disable, 0)); // it is cut off already
    EXPECT_EQ(this->journal.Lines(), Lines());

    ASSERT_TRUE(this->Do(Ops::enable, 0));
    EXPECT_EQ(this->Changes(), Lines({"graph.Connect(Dec2.Out1, Ren2.In1)",
                                      "graph.Connect(Source.Out2, Dec2.In1)"}));
    EXPECT_EQ(graph.Connections(), before);
    EXPECT_TRUE(track.linked && track.enabled && track.brokenLinks.empty());
    EXPECT_TRUE(this->Do(Ops::enable, 0));
    EXPECT_EQ(this->journal.Lines(), Lines());

    // A connection that cannot be restored does not fail the track.
    ASSERT_TRUE(this->Do(Ops::disable, 0));
    graph.results["Connect"] = VFW_E_CANNOT_CONNECT;
    EXPECT_TRUE(this->Do(Ops::enable, 0));
    EXPECT_EQ(this->States(2), "11");

    // The walk ends at a filter that feeds something else; a free input is no way on.
    graph.results.Clear();
    Join(graph.Find("Source")->Pin("Out2"), graph.Find("Dec2")->InPin());
    FakeFilter& tee = *graph.Find("Dec2");
    FakeFilter& more = graph.Add("More", {In(Ops::Type())});
    Join(tee.AddPin(Out(Ops::Type())), more.InPin());
    Join(tee.Pin("Out1"), graph.Find("Ren2")->InPin());
    graph.Find("Ren2")->AddPin(In(Ops::Type()));
    this->journal.Clear();
    ASSERT_TRUE(this->Do(Ops::disable, 0));
    EXPECT_EQ(this->Changes(),
              Lines({"graph.Disconnect(Dec2.Out1)", "graph.Disconnect(Ren2.In1)"}));
}

TYPED_TEST(MediaTracks, LinkedStateFollowsWhatIsEnabled) {
    using Ops = TypeParam;
    this->LoadTracks();
    ASSERT_TRUE(this->Linked());
    EXPECT_TRUE(this->Do(Ops::disable, 0) && this->Linked());
    EXPECT_TRUE(this->Do(Ops::disable, 1) && this->Linked()); // the other kind is enabled
    EXPECT_EQ(this->Do(Ops::first), -1);
    EXPECT_TRUE(this->Do(Ops::disableOther, 0));
    EXPECT_FALSE(this->Linked()); // and now nothing is
    EXPECT_TRUE(this->Do(Ops::disable, 0));
    EXPECT_FALSE(this->Linked()); // is not recomputed from there
    EXPECT_TRUE(this->Do(Ops::enable, 1) && this->Linked());
    EXPECT_EQ(this->States(2), "01");

    // Without all of the kind only the other kind counts.
    EXPECT_TRUE(this->Do(Ops::unlinkAll));
    EXPECT_FALSE(this->Linked());
    EXPECT_TRUE(this->Do(Ops::enableAll) && this->Linked());
    EXPECT_EQ(this->States(2), "11");
    EXPECT_TRUE(this->Do(Ops::unlinkOthers) && this->Linked());
    EXPECT_TRUE(this->Do(Ops::disableAll));
    EXPECT_FALSE(this->Linked());
    EXPECT_EQ(this->States(2), "00");
    EXPECT_TRUE(this->Do(Ops::linkAll) && this->Linked());
    EXPECT_EQ(this->Graph().Connections().size(), 4U);

    // One track alone: a disabled one brings all back first.
    this->journal.Clear();
    EXPECT_TRUE(this->Do(Ops::onlyOne, 1));
    EXPECT_EQ(this->States(2), "01");
    EXPECT_EQ(this->journal.Count("graph.Connect*"), 0U);
    EXPECT_TRUE(this->Do(Ops::onlyOne, 0));
    EXPECT_EQ(this->States(2), "10");
    EXPECT_EQ(
        this->journal.Matching("graph.Connect*"),
        Lines({"graph.Connect(Dec2.Out1, Ren2.In1)", "graph.Connect(Source.Out2, Dec2.In1)"}));
    this->Linked() = false;
    EXPECT_TRUE(this->Do(Ops::onlyOne, 0) && this->Linked());
}

TYPED_TEST(MediaTracks, StreamsAreSwitchedAtTheirFilter) {
    using Ops = TypeParam;
    this->LoadStreams({1, 0, 0}, 1);
    EXPECT_EQ(this->Do(Ops::num), 3U);
    EXPECT_EQ(this->Do(Ops::original), 1U);
    EXPECT_EQ(this->States(3), "100");
    EXPECT_EQ(this->Do(Ops::render, 2), Ops::Tracks(this->media)[0]->renderer);
    this->ExpectOutOfRange(3);

    const auto enable = [](int index, int flag) {
        return "Source.Enable(" + std::to_string(index) + ", " + std::to_string(flag) + ")";
    };
    const struct {
        const char* what;
        bool linkedBefore;
        std::function<bool()> operation;
        std::string states;
        Lines calls;
    } steps[] = {
        {"enable",
         false,
         [&] { return this->Do(Ops::enable, 2); },
         "101",
         {enable(3, 2), enable(2, 0)}},
        {"enable again",
         false,
         [&] { return this->Do(Ops::enable, 0); },
         "101",
         {enable(1, 2), enable(2, 0)}},
        {"disable", true, [&] { return this->Do(Ops::disable, 0); }, "001", {enable(1, 0)}},
        {"only one", false, [&] { return this->Do(Ops::onlyOne, 1); }, "010", {enable(2, 1)}},
        {"all", false, [&] { return this->Do(Ops::enableAll); }, "111", {enable(1, 2)}},
        {"none",
         true,
         [&] { return this->Do(Ops::disableAll); },
         "000",
         {enable(1, 0), enable(2, 0), enable(3, 0)}},
    };
    for (const auto& step : steps) {
        this->Linked() = step.linkedBefore;
        EXPECT_TRUE(step.operation()) << step.what;
        EXPECT_TRUE(this->Linked()) << step.what;
        EXPECT_EQ(this->States(3), step.states) << step.what;
        EXPECT_EQ(this->Changes(), step.calls) << step.what;
    }
    EXPECT_EQ(this->Do(Ops::first), -1);

    // The renderer's own link is not the streams' affair, and comes back with a stream.
    EXPECT_TRUE(this->Do(Ops::unlinkAll));
    EXPECT_TRUE(this->Do(Ops::enable, 0));
    EXPECT_EQ(this->Graph().Connections().size(), 2U);
    EXPECT_TRUE(Ops::Tracks(this->media)[0]->enabled);
}

TYPED_TEST(MediaTracks, RefusedStreamsCountByTheirState) {
    using Ops = TypeParam;
    this->LoadStreams({1, 0, 1}, 1);
    this->Select().results["Enable"] = E_FAIL;
    this->Linked() = false;
    EXPECT_TRUE(this->Do(Ops::disable, 1)); // in the wanted state already
    EXPECT_FALSE(this->Do(Ops::disable, 0));
    EXPECT_TRUE(this->Do(Ops::enable, 0));
    EXPECT_TRUE(this->Linked());
    this->Linked() = false;
    EXPECT_FALSE(this->Do(Ops::enable, 1));
    EXPECT_FALSE(this->Do(Ops::onlyOne, 1));
    EXPECT_FALSE(this->Linked());
    this->journal.Clear();
    EXPECT_FALSE(this->Do(Ops::disableAll)); // ends at the first
    EXPECT_EQ(this->Changes(), Lines({"Source.Enable(1, 0)"}));
    EXPECT_TRUE(this->Do(Ops::enableAll)); // asks for the first alone
    EXPECT_EQ(this->States(3), "111");
    this->Select().results["Enable"] = {S_OK, E_FAIL};
    EXPECT_FALSE(this->Do(Ops::disableAll)); // what was done stays
    EXPECT_EQ(this->States(3), "011");
}

TYPED_TEST(MediaTracks, StreamsWithoutRendererAreNotSwitched) {
    using Ops = TypeParam;
    this->LoadStreams({1, 0}, 0);
    this->Linked() = false;
    EXPECT_EQ(this->Do(Ops::num), 2U);
    EXPECT_EQ(this->Do(Ops::render, 1), nullptr);
    EXPECT_FALSE(this->Do(Ops::enable, 1));
    EXPECT_FALSE(this->Do(Ops::enableAll));
    EXPECT_TRUE(this->Do(Ops::onlyOne, 1)); // nothing to switch is no failure
    EXPECT_EQ(this->journal.Lines(), Lines());
    EXPECT_FALSE(this->Linked());
    EXPECT_EQ(this->States(2), "10");
    this->ExpectOutOfRange(2);
}

TYPED_TEST(MediaTracks, MoreRenderersThanStreamsIsRendererMode) {
    using Ops = TypeParam;
    const struct {
        std::size_t streams, renderers;
        bool byRenderer;
    } cases[] = {{1, 2, true}, {2, 2, false}, {0, 1, true}, {3, 2, false}};
    for (const auto& test : cases) {
        this->LoadStreams(std::vector<DWORD>(test.streams, 1), test.renderers);
        EXPECT_EQ(this->Do(Ops::num), std::max(test.streams, test.renderers));
        EXPECT_TRUE(this->Do(Ops::disable, 0));
        EXPECT_EQ(this->journal.Count("Source.Enable*"), test.byRenderer ? 0U : 1U);
        EXPECT_EQ(Ops::Tracks(this->media)[0]->enabled, !test.byRenderer);
        this->ExpectOutOfRange(
            static_cast<std::uint32_t>(test.byRenderer ? test.renderers : test.streams));
    }
}

} // namespace
