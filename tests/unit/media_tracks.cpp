// The track operations, once for both kinds.

#include "media_graph.h"

#include <future>
#include <stdexcept>

using namespace media_tests;
using ymdshow::CMedia;

namespace {

// The one difference between the families' signatures, kept.
static_assert(
    std::is_same_v<decltype(&CMedia::IsVideoTrackEnable), bool (CMedia::*)(std::uint32_t) const>);
static_assert(
    std::is_same_v<decltype(&CMedia::IsAudioTrackEnable), bool (CMedia::*)(std::uint32_t)>);

class MediaTracks : public MediaGraphTest, public testing::WithParamInterface<bool> {
protected:
    using M = Media;
    using Index = std::uint32_t;

    const bool isVideo = GetParam();
    const MediaType type = isVideo ? fakes::Video(640, 360) : fakes::Audio(44100);
    const MediaType otherType = isVideo ? fakes::Audio(44100) : fakes::Video(640, 360);
    Media media{nullptr};

    template <class Audio, class Video, class... Args>
    auto Do(Audio audio, Video video, Args... args) {
        return isVideo ? (media.*video)(args...) : (media.*audio)(args...);
    }
    Index Num() { return Do(&M::GetAudioTrackNum, &M::GetVideoTrackNum); }
    Index Original() { return Do(&M::GetOriginalAudioTrackNum, &M::GetOriginalVideoTrackNum); }
    auto Render(Index i) { return Do(&M::GetAudioTrackRender, &M::GetVideoTrackRender, i); }
    bool IsEnabled(Index i) { return Do(&M::IsAudioTrackEnable, &M::IsVideoTrackEnable, i); }
    bool Enable(Index i) { return Do(&M::EnableAudioTrack, &M::EnableVideoTrack, i); }
    bool Disable(Index i) { return Do(&M::DisableAudioTrack, &M::DisableVideoTrack, i); }
    bool OnlyOne(Index i) {
        return Do(&M::EnableOnlyOneAudioTrack, &M::EnableOnlyOneVideoTrack, i);
    }
    bool EnableAll() { return Do(&M::EnableAllAudioTrack, &M::EnableAllVideoTrack); }
    bool DisableAll() { return Do(&M::DisableAllAudioTrack, &M::DisableAllVideoTrack); }
    bool LinkAll() { return Do(&M::LinkAllAudioTrack, &M::LinkAllVideoTrack); }
    bool UnlinkAll() { return Do(&M::UnlinkAllAudioTrack, &M::UnlinkAllVideoTrack); }
    int First() {
        return Do(&M::GetFirstEnabledAudioTrackIndex, &M::GetFirstEnabledVideoTrackIndex);
    }
    const M::FilterTrackInfo& Track(std::size_t i) {
        if (isVideo) {
            return *media.m_videoTracks.at(i);
        }
        return *media.m_audioTracks.at(i);
    }

    /// Two tracks of the kind, each behind a decoder: number 0 is that of Out2; and one of the
    /// other kind at Out3.
    void LoadTracks() {
        sourcePins = {Out(type), Out(type), Out(otherType)};
        configure = RenderThroughDecoders;
        Loaded(media);
    }

    /// Streams of the kind at the source, and `renderers` outputs of the kind.
    void LoadStreams(const std::vector<DWORD>& flags, std::size_t renderers) {
        sourcePins = PinSpecs(renderers, Out(type));
        sourcePins.push_back(Out(otherType));
        configure = [this, flags](FakeGraph& graph) {
            graph.makeSource = [this, flags](const std::wstring&) {
                std::vector<SelectableStream> streams{{fakes::Text(), L"", 0, 0, S_OK}};
                for (const DWORD flag : flags) {
                    streams.push_back({type, L"", flag, 0, S_OK});
                }
                ComPtr<FakeFilter> source = MakeFilter("Source", sourcePins);
                source->Select(streams);
                return source;
            };
        };
        Loaded(media);
    }

    /// "10": the first track is enabled, the second is not.
    std::string States() {
        std::string states;
        for (Index i = 0; i < Num(); ++i) {
            states += IsEnabled(i) ? '1' : '0';
        }
        return states;
    }
    bool& Linked() { return media.m_isAllFilterLinked; }

    void ExpectOutOfRange(Index index) {
        const auto expect = [](auto operation) {
            try {
                operation();
                ADD_FAILURE() << "no exception";
            } catch (const std::runtime_error& error) {
                EXPECT_STREQ(error.what(), "index out of range");
            }
        };
        expect([&] { Render(index); });
        expect([&] { Enable(index); });
        expect([&] { Disable(index); });
        expect([&] { OnlyOne(index); });
        expect([&] { IsEnabled(index); });
        // The lock is free again.
        EXPECT_EQ(std::async(std::launch::async, [&] { return media.IsLoaded(); })
                      .wait_for(std::chrono::seconds(5)),
                  std::future_status::ready);
    }
};

INSTANTIATE_TEST_SUITE_P(Kinds, MediaTracks, testing::Bool(),
                         [](const auto& info) { return info.param ? "Video" : "Audio"; });

TEST_P(MediaTracks, CountsComeFromRecordsUntilLoaded) {
    media.m_videoInfos.resize(isVideo ? 3 : 0);
    media.m_audioInfos.resize(isVideo ? 0 : 3);
    EXPECT_EQ(Num(), 3U);
    EXPECT_EQ(Original(), 0U);
    EXPECT_EQ(First(), -1);
    ExpectOutOfRange(0);
    EXPECT_TRUE(LinkAll() && Linked()); // of no tracks
    EXPECT_TRUE(UnlinkAll() && !Linked());
    EXPECT_FALSE(EnableAll());
    EXPECT_TRUE(DisableAll());

    LoadTracks();
    EXPECT_EQ(Num(), 2U);
    EXPECT_EQ(Original(), 2U);
    EXPECT_EQ(isVideo ? media.m_videoInfos.size() : media.m_audioInfos.size(), 2U);
    media.SetIsDecodeAudio(0);
    media.SetIsDecodeVideo(7);
    EXPECT_EQ(media.IsDecodeAudio(), 0);
    EXPECT_EQ(media.IsDecodeVideo(), 7);
}

TEST_P(MediaTracks, RendererTrackIsCutOffAndJoinedAgain) {
    LoadTracks();
    FakeGraph& graph = Graph();
    const Lines before = graph.Connections();
    EXPECT_EQ(Render(0), static_cast<IBaseFilter*>(graph.Find("Ren2")));
    EXPECT_EQ(Render(1), static_cast<IBaseFilter*>(graph.Find("Ren1")));
    ExpectOutOfRange(2);
    EXPECT_EQ(journal.Lines(), Lines());

    ASSERT_TRUE(Disable(0));
    const Lines cut{"graph.Disconnect(Dec2.Out1)", "graph.Disconnect(Ren2.In1)",
                    "graph.Disconnect(Source.Out2)", "graph.Disconnect(Dec2.In1)"};
    EXPECT_EQ(Changes(), cut);
    EXPECT_EQ(States(), "01");
    EXPECT_EQ(First(), 1);
    const auto& track = Track(0);
    EXPECT_FALSE(track.linked);
    ASSERT_EQ(track.brokenLinks.size(), 2U);
    EXPECT_TRUE(Disable(0)); // it is cut off already
    EXPECT_EQ(journal.Lines(), Lines());

    ASSERT_TRUE(Enable(0));
    EXPECT_EQ(Changes(), Lines({"graph.Connect(Dec2.Out1, Ren2.In1)",
                                "graph.Connect(Source.Out2, Dec2.In1)"}));
    EXPECT_EQ(graph.Connections(), before);
    EXPECT_TRUE(track.linked && track.enabled && track.brokenLinks.empty());
    EXPECT_TRUE(Enable(0));
    EXPECT_EQ(journal.Lines(), Lines());

    // A connection that cannot be restored does not fail the track.
    ASSERT_TRUE(Disable(0));
    graph.results["Connect"] = VFW_E_CANNOT_CONNECT;
    EXPECT_TRUE(Enable(0));
    EXPECT_EQ(States(), "11");

    // The walk ends at a filter that feeds something else; a free input is no way on.
    graph.results.Clear();
    FakeFilter& tee = *graph.Find("Dec2");
    FakeFilter& renderer = *graph.Find("Ren2");
    Join(graph.Find("Source")->Pin("Out2"), tee.InPin());
    Join(tee.AddPin(Out(type)), graph.Add("More", {In(type)}).InPin());
    Join(tee.Pin("Out1"), renderer.InPin());
    renderer.AddPin(In(type));
    journal.Clear();
    ASSERT_TRUE(Disable(0));
    EXPECT_EQ(Changes(), Lines({cut[0], cut[1]}));
}

TEST_P(MediaTracks, LinkedStateFollowsWhatIsEnabled) {
    LoadTracks();
    ASSERT_TRUE(Linked());
    EXPECT_TRUE(Disable(0) && Linked());
    EXPECT_TRUE(Disable(1) && Linked()); // the other kind is enabled
    EXPECT_EQ(First(), -1);
    EXPECT_TRUE(Do(&M::DisableVideoTrack, &M::DisableAudioTrack, 0));
    EXPECT_FALSE(Linked()); // and now nothing is
    EXPECT_TRUE(Disable(0));
    EXPECT_FALSE(Linked()); // is not recomputed from there
    EXPECT_TRUE(Enable(1) && Linked());
    EXPECT_EQ(States(), "01");

    // Without all of the kind only the other kind counts.
    EXPECT_TRUE(UnlinkAll());
    EXPECT_FALSE(Linked());
    EXPECT_TRUE(EnableAll() && Linked());
    EXPECT_EQ(States(), "11");
    EXPECT_TRUE(Do(&M::UnlinkAllVideoTrack, &M::UnlinkAllAudioTrack) && Linked());
    EXPECT_TRUE(DisableAll());
    EXPECT_FALSE(Linked());
    EXPECT_EQ(States(), "00");
    EXPECT_TRUE(LinkAll() && Linked());
    EXPECT_EQ(Graph().Connections().size(), 4U);

    // One track alone: a disabled one brings all back first.
    journal.Clear();
    EXPECT_TRUE(OnlyOne(1));
    EXPECT_EQ(States(), "01");
    EXPECT_EQ(journal.Count("graph.Connect*"), 0U);
    EXPECT_TRUE(OnlyOne(0));
    EXPECT_EQ(States(), "10");
    EXPECT_EQ(journal.Matching("graph.Connect*"), Lines({"graph.Connect(Dec2.Out1, Ren2.In1)",
                                                         "graph.Connect(Source.Out2, Dec2.In1)"}));
    Linked() = false;
    EXPECT_TRUE(OnlyOne(0) && Linked());
}

TEST_P(MediaTracks, StreamsAreSwitchedAtTheirFilter) {
    LoadStreams({1, 0, 0}, 1);
    EXPECT_EQ(Num(), 3U);
    EXPECT_EQ(Original(), 1U);
    EXPECT_EQ(States(), "100");
    EXPECT_EQ(Render(2), Track(0).renderer);
    ExpectOutOfRange(3);

    const struct {
        const char* what;
        bool linkedBefore;
        std::function<bool()> operation;
        std::string states;
        std::string calls; ///< of Enable, "stream flag"
    } steps[] = {
        {"enable", false, [&] { return Enable(2); }, "101", "3, 2; 2, 0; "},
        {"enable again", false, [&] { return Enable(0); }, "101", "1, 2; 2, 0; "},
        {"disable", true, [&] { return Disable(0); }, "001", "1, 0; "},
        {"only one", false, [&] { return OnlyOne(1); }, "010", "2, 1; "},
        {"all", false, [&] { return EnableAll(); }, "111", "1, 2; "},
        {"none", true, [&] { return DisableAll(); }, "000", "1, 0; 2, 0; 3, 0; "},
    };
    for (const auto& step : steps) {
        Linked() = step.linkedBefore;
        EXPECT_TRUE(step.operation()) << step.what;
        EXPECT_TRUE(Linked()) << step.what;
        EXPECT_EQ(States(), step.states) << step.what;
        std::string calls;
        for (const std::string& line : Changes()) {
            EXPECT_TRUE(line.starts_with("Source.Enable(")) << line;
            calls += line.substr(14, line.size() - 15) + "; ";
        }
        EXPECT_EQ(calls, step.calls) << step.what;
    }
    EXPECT_EQ(First(), -1);

    // The renderer's own link is not the streams' affair, and comes back with a stream.
    EXPECT_TRUE(UnlinkAll());
    EXPECT_TRUE(Enable(0));
    EXPECT_EQ(Graph().Connections().size(), 2U);
    EXPECT_TRUE(Track(0).enabled);
}

TEST_P(MediaTracks, RefusedStreamsCountByTheirState) {
    LoadStreams({1, 0, 1}, 1);
    ResultTable& results = Graph().Find("Source")->streamSelect.results;
    results["Enable"] = E_FAIL;
    Linked() = false;
    EXPECT_TRUE(Disable(1)); // in the wanted state already
    EXPECT_FALSE(Disable(0));
    EXPECT_TRUE(Enable(0) && Linked());
    Linked() = false;
    EXPECT_FALSE(Enable(1));
    EXPECT_FALSE(OnlyOne(1));
    EXPECT_FALSE(Linked());
    journal.Clear();
    EXPECT_FALSE(DisableAll()); // ends at the first
    EXPECT_EQ(Changes(), Lines({"Source.Enable(1, 0)"}));
    EXPECT_TRUE(EnableAll()); // asks for the first alone
    EXPECT_EQ(States(), "111");
    results["Enable"] = {S_OK, E_FAIL};
    EXPECT_FALSE(DisableAll()); // what was done stays
    EXPECT_EQ(States(), "011");

    // Without a renderer nothing is switched, which fails all but one.
    LoadStreams({1, 0}, 0);
    Linked() = false;
    EXPECT_EQ(Render(1), nullptr);
    EXPECT_FALSE(Enable(1) || EnableAll());
    EXPECT_TRUE(OnlyOne(1));
    EXPECT_EQ(journal.Lines(), Lines());
    EXPECT_FALSE(Linked());
    EXPECT_EQ(States(), "10");
}

TEST_P(MediaTracks, MoreRenderersThanStreamsIsRendererMode) {
    const struct {
        std::size_t streams, renderers;
        bool byRenderer;
    } cases[] = {{1, 2, true}, {2, 2, false}, {0, 1, true}, {3, 2, false}, {2, 0, false}};
    for (const auto& test : cases) {
        LoadStreams(std::vector<DWORD>(test.streams, 1), test.renderers);
        const auto count = static_cast<Index>(std::max(test.streams, test.renderers));
        EXPECT_EQ(Num(), count);
        ExpectOutOfRange(count);
        EXPECT_TRUE(Disable(0));
        EXPECT_EQ(journal.Count("Source.Enable*"), test.byRenderer ? 0U : 1U);
        EXPECT_TRUE(test.renderers == 0 || Track(0).enabled != test.byRenderer);
    }
}

} // namespace
