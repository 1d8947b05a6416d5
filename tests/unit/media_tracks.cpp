// The scan of a rendered graph: records, order of tracks, stream lists, unused filters; and the
// track operations, once for both kinds.

#include "media_fixture.h"

#include <dvdmedia.h>

#include <future>
#include <stdexcept>

using namespace media_tests;

namespace {

class MediaScan : public MediaGraphTest {
protected:
    void Rescan(std::uint32_t videos = 0, std::uint32_t audios = 0) {
        std::vector<IBaseFilter*> none;
        media.m_videoTrackNum = videos;
        media.m_audioTrackNum = audios;
        media._ScanAllFilterAndGetAVTrackInfo(none);
    }
};

TEST_F(MediaScan, VideoRecordFollowsTheConnectionWhenClose) {
    Loaded(media);
    using Picture = std::array<std::int64_t, 3>; // width, height, frame time
    const auto correct = [&](const Picture& known, const MediaType& connected) {
        auto& record = media.m_videoInfos.front();
        record.width = static_cast<std::int32_t>(known[0]);
        record.height = static_cast<std::int32_t>(known[1]);
        record.avgFrameTime = known[2];
        Graph().Find("Source")->OutPin().connectionType = connected;
        Rescan();
        return Picture{record.width, record.height, record.avgFrameTime};
    };
    const auto video = [](auto... args) { return fakes::Video(args...); };
    EXPECT_EQ(correct({0, 0, 400000}, video(1920, 1088, 449999)), (Picture{1920, 1080, 449999}));
    EXPECT_EQ(correct({0, 0, 400000}, video(1918, 1088, 350000)), (Picture{1918, 1088, 400000}));
    EXPECT_EQ(correct({0, 0, 400000}, video(1281, 721, 450000)), (Picture{1280, 720, 400000}));
    EXPECT_EQ(correct({1280, 720, 7}, video(1276, 718, 0)), (Picture{1280, 718, 7}));
    EXPECT_EQ(correct({1281, 721, 0}, video(1284, 724, 1)), (Picture{1284, 724, 1}));
    EXPECT_EQ(correct({-1, 720, 0}, video(640, -360, 60000)), (Picture{640, 720, 60000}));
    EXPECT_EQ(correct({0, 0, 0}, video(1, -360, 0)), (Picture{0, 360, 0}));
    EXPECT_EQ(correct({1280, 720, 0}, video(1282, 0, 1)), (Picture{1280, 720, 1}));
    EXPECT_EQ(correct({1280, 720, 0}, video(0, 722, 1)), (Picture{1280, 720, 1}));
    // Frame times are compared by their low 32 bits.
    EXPECT_EQ(correct({2, 2, 400000}, video(2, 2, 0x100061A81)), (Picture{2, 2, 0x100061A81}));
    media.m_evenVideoSize = media.m_fix1088Height = false;
    EXPECT_EQ(correct({}, video(1920, 1088)), (Picture{1920, 1088, 400000}));
    EXPECT_EQ(correct({}, video(1281, 721)), (Picture{1281, 721, 400000}));
    // Other formats, and such as are too short, tell nothing.
    MediaType type = video(1276, 718, 9);
    type.formatType = FORMAT_MPEGVideo;
    EXPECT_EQ(correct({}, type), Picture());
    type.formatType = FORMAT_VideoInfo2;
    EXPECT_EQ(correct({}, type), Picture());
    type.format.resize(sizeof(VIDEOINFOHEADER2));
    EXPECT_EQ(correct({}, type), (Picture{1276, 718, 9}));
}

TEST_F(MediaScan, TracksAreNumberedFromTheLastOutput) {
    MediaType plain = fakes::Audio(22050, 1, 8); // sources leave the last field out
    plain.format.resize(sizeof(PCMWAVEFORMAT));
    MediaType cut = plain;
    cut.format.pop_back();
    sourcePins = {Out(fakes::Audio(44100, 2, 16)), Out(cut),   Out(fakes::Text()),
                  Out(fakes::Video(320, 240)),     Out(plain), Out(fakes::Video(640, 480))};
    ASSERT_EQ(media.SetMediaPath(kPath), 1);
    media.Know({}, {"aac", "d"});
    media.m_audioInfos[1].samplingRate = media.m_audioInfos[0].samplingRate = 7;
    ASSERT_EQ(media.Load(nullptr, 0), 1);
    EXPECT_EQ(Facts(media)[0], "VideoRenderer6 110; VideoRenderer4 110; AudioRenderer5 110; "
                               "AudioRenderer2 110; AudioRenderer1 110; ");
    EXPECT_EQ(Facts(media)[1], "223300");
    EXPECT_EQ(media.m_videoInfos[1].width, 320);
    const ymdshow::AudioInfo& info = media.m_audioInfos[0];
    EXPECT_TRUE(info.samplingRate == 22050 && info.channels == 1 && info.bitDepth == 8);
    EXPECT_EQ(media.m_audioInfos[1].samplingRate, 7U); // the format says nothing
    EXPECT_EQ(ledger.Alive().size(), 8U);              // what the walk visited is not held
    media.m_originalAudioTrackNum = 0;                 // no reason to cut the records
    Rescan();
    EXPECT_EQ(media.m_audioInfos.at(1).samplingRate, 7U);
}

TEST_F(MediaScan, FailingCallsEndTheirBranchOnly) {
    configure = RenderThroughDecoders;
    Loaded(media);
    FakeFilter& decoder = *Graph().Find("Dec2");
    const auto scan = [&](FakeObject& object, const char* method) {
        object.results[method] = E_FAIL;
        Rescan();
        object.results.Clear();
        EXPECT_EQ(media.m_usedFilters.size(), Graph().FilterCount());
        return std::tuple(media.m_videoTrackNum, media.m_audioTrackNum, Graph().FilterCount());
    };
    EXPECT_EQ(scan(*Graph().Find("Ren2"), "EnumPins"), std::tuple(1, 0, 5));
    EXPECT_EQ(scan(decoder.OutPin(), "ConnectionMediaType"), std::tuple(1, 0, 5));
    EXPECT_EQ(scan(decoder, "EnumPins"), std::tuple(1, 0, 4));
    EXPECT_EQ(scan(Graph().Find("Source")->OutPin(1), "QueryDirection"), std::tuple(1, 0, 3));
    EXPECT_EQ(scan(*Graph().Find("Source"), "EnumPins"), std::tuple(0, 0, 1));
}

TEST_F(MediaScan, PictureIsCompletedFromTheFirstRecord) {
    Loaded(media);
    using Range = std::array<std::int32_t, 4>;
    const auto complete = [&](std::uint32_t known, std::int32_t width, std::int32_t height,
                              const Range& range) {
        media.m_originalVideoTrackNum = known;
        media.m_videoOriginalWidth = width;
        media.m_videoOriginalHeight = height;
        std::copy(range.begin(), range.end(), media.m_videoDisplayRange);
        Rescan();
        return std::to_array(media.m_videoDisplayRange);
    };
    EXPECT_EQ(complete(1, 0, 5, {10000, 9999, 0, -3}), (Range{0, 9999, 640, 5}));
    EXPECT_EQ(complete(1, 5, 0, {0, 0, 0, 0}), (Range{0, 0, 5, 360}));
    EXPECT_EQ(complete(1, 5, 6, {10000, 0, 0, 0}), (Range{10000, 0, 0, 0}));
    EXPECT_EQ(complete(0, 5, 6, {7, -1, 10000, 99}), (Range{7, 0, 5, 99}));
}

TEST_F(MediaScan, SourcesAndSplittersListStreams) {
    sourcePins = Outs("a");
    // v for a picture, a for sound, t for text, f for one that fails.
    const auto list = [](FakeFilter& filter, const std::string& kinds) {
        std::vector<SelectableStream> streams;
        for (const char kind : kinds) {
            streams.push_back({TypeOf(kind), L"English", kind != 'v', kind == 'f' ? E_FAIL : S_OK});
        }
        filter.Select(streams).streamSelect.present = !kinds.empty();
    };
    configure = [&](FakeGraph& graph) {
        graph.onRender = [&](FakePin& out) {
            FakeFilter& decoder = graph.Add("Dec", {In(), Out()});
            FakeFilter& splitter = graph.Add("Split", {In(), Outs("a")[0], Outs("v")[0]});
            list(decoder, "a"); // neither source nor splitter: not asked
            Join(out, decoder.InPin());
            Join(decoder, splitter);
            graph.RenderPin(splitter.OutPin(0));
            return graph.RenderPin(splitter.OutPin(1));
        };
    };
    Loaded(media);
    const auto scan = [&](std::uint32_t videos, std::uint32_t audios, const std::string& ofSource,
                          const std::string& ofSplitter) {
        list(*Graph().Find("Source"), ofSource);
        list(*Graph().Find("Split"), ofSplitter);
        Adopt(std::exchange(media.m_pStreamSelect, nullptr));
        journal.Clear();
        Rescan(videos, audios);
        std::string asked;
        for (const std::string& line : journal.Matching("*.Count")) {
            asked += line.substr(0, line.find('.')) + " ";
        }
        const std::string found = Facts(media)[1].substr(4);
        EXPECT_EQ(media.m_pStreamSelect == nullptr, found == "00");
        return asked + found;
    };
    EXPECT_EQ(scan(0, 0, "", ""), "00");
    EXPECT_EQ(scan(2, 2, "a", "a"), "00"); // enough tracks
    EXPECT_EQ(scan(2, 1, "", "av"), "Split 11; 1English0; 0English1");
    EXPECT_EQ(scan(1, 2, "tafva", "a"), "Source 12; 3English0; 1English1; 4English1");
    EXPECT_EQ(scan(0, 0, "v", "aa"), "Source 10; 0English0");
    EXPECT_EQ(scan(0, 0, "tf", "a"), "Source Split 01; 0English1");
    EXPECT_EQ(scan(0, 0, "tf", ""), "Source 00");
    Graph().Find("Source")->results["QueryInterface"] = Skip(S_OK); // with null
    EXPECT_EQ(scan(0, 0, "v", ""), "00");
}

TEST_F(MediaScan, UnusedFiltersGoAndHeldOnesAreReported) {
    Describe("mkv", "S", {Out(fakes::Video())});
    Describe("mkv", "Spare", {Out(fakes::Audio())});
    auto& decoders = Describe("mkv", "Dec", {In(fakes::Text()), Out(fakes::Text())});
    Describe("mkv", "AR", {In(fakes::Audio())});
    Describe("mkv", "VR", {In(fakes::Video())});
    std::vector<ComPtr<IBaseFilter>> held;
    configure = [&](FakeGraph& graph) {
        graph.Add("Left", {In(fakes::Text())});
        graph.onRender = [&](FakePin& out) {
            held = {&decoders.Last(), graph.Find("Left")};
            return graph.RenderPin(out);
        };
    };
    ASSERT_EQ(media.SetMediaPath(kPath), 1);
    const std::string after = After(media.Load(&scheme, 0));
    const std::string warning =
        "\n8 _ScanAllFilterAndGetAVTrackInfo: Remove Unused Filter Warning! RefCount ";
    EXPECT_TRUE(Matches(after, "* <Dec !Dec <AR !AR <Spare !Spare <Left !Left\n*" + warning +
                                   "1 : " + kPath + warning + ": 1\n4*"))
        << after;
    EXPECT_EQ(media.m_usedFilters.size(), 2U);
    // A candidate on the path is kept.
    std::vector<IBaseFilter*> candidates{Graph().Find("VR")};
    candidates[0]->AddRef();
    media._ScanAllFilterAndGetAVTrackInfo(candidates);
    EXPECT_TRUE(candidates.empty());
    EXPECT_EQ(media.m_schemeFilters, media.m_renderFilters);
}

class MediaTracks : public MediaGraphTest, public testing::WithParamInterface<bool> {
protected:
    using M = Media;
    using Index = std::uint32_t;

    const bool isVideo = GetParam();
    bool& linked = media.m_isAllFilterLinked;

    template <class Audio, class Video, class... Args>
    auto Do(Audio audio, Video video, Args... args) {
        return isVideo ? (media.*video)(args...) : (media.*audio)(args...);
    }
    Index Num() { return Do(&M::GetAudioTrackNum, &M::GetVideoTrackNum); }
    auto Render(Index i) { return Do(&M::GetAudioTrackRender, &M::GetVideoTrackRender, i); }
    bool IsEnabled(Index i) { return Do(&M::IsAudioTrackEnable, &M::IsVideoTrackEnable, i); }
    bool Enable(Index i) { return Do(&M::EnableAudioTrack, &M::EnableVideoTrack, i); }
    bool Disable(Index i) { return Do(&M::DisableAudioTrack, &M::DisableVideoTrack, i); }
    bool Only(Index i) { return Do(&M::EnableOnlyOneAudioTrack, &M::EnableOnlyOneVideoTrack, i); }
    bool EnableAll() { return Do(&M::EnableAllAudioTrack, &M::EnableAllVideoTrack); }
    bool DisableAll() { return Do(&M::DisableAllAudioTrack, &M::DisableAllVideoTrack); }
    bool LinkAll() { return Do(&M::LinkAllAudioTrack, &M::LinkAllVideoTrack); }
    bool UnlinkAll() { return Do(&M::UnlinkAllAudioTrack, &M::UnlinkAllVideoTrack); }

    /// As many outputs of the kind, each behind a decoder, then one of the other kind; the
    /// source lists streams of the kind behind one of text. Track 0 is that of the last output.
    void LoadTracks(std::size_t renderers, const std::vector<DWORD>& streams = {}) {
        sourcePins = Outs(std::string(renderers, isVideo ? 'v' : 'a') + (isVideo ? 'a' : 'v'));
        sourceStreams = {{fakes::Text(), L"", 0, S_OK}};
        for (const DWORD flags : streams) {
            sourceStreams.push_back({TypeOf(isVideo ? 'v' : 'a'), L"", flags, S_OK});
        }
        configure = RenderThroughDecoders;
        Loaded(media);
    }

    /// Which tracks are enabled, whether the graph counts as linked, the result and the calls.
    std::string After(bool result) {
        std::string states;
        for (Index i = 0; i < Num(); ++i) {
            states += IsEnabled(i) ? '1' : '0';
        }
        EXPECT_EQ(Do(&M::GetFirstEnabledAudioTrackIndex, &M::GetFirstEnabledVideoTrackIndex),
                  static_cast<int>(states.find('1')));
        return states + (linked ? " linked " : " ") + MediaGraphTest::After(result);
    }

    void ExpectOutOfRange(Index index) {
        for (const auto operation : {&MediaTracks::Enable, &MediaTracks::Disable,
                                     &MediaTracks::Only, &MediaTracks::IsEnabled}) {
            EXPECT_THROW((this->*operation)(index), std::runtime_error);
        }
        try {
            Render(index);
            ADD_FAILURE() << "no exception";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "index out of range");
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Kinds, MediaTracks, testing::Bool());

TEST_P(MediaTracks, RendererTracksAreCutOffAndJoinedAgain) {
    EXPECT_TRUE(media.IsDecodeAudio() == 1 && media.IsDecodeVideo() == 1);
    media.SetIsDecodeAudio(0);
    media.SetIsDecodeVideo(7);
    EXPECT_TRUE(media.IsDecodeAudio() == 0 && media.IsDecodeVideo() == 7);
    // Before it is loaded the tracks are those of the records.
    media.Know(Lines(isVideo ? 3 : 0), Lines(isVideo ? 0 : 3));
    EXPECT_EQ(Num(), 3U);
    ExpectOutOfRange(0);
    EXPECT_TRUE(LinkAll() && linked && UnlinkAll() && !linked); // of no tracks
    EXPECT_TRUE(DisableAll() && !EnableAll());
    EXPECT_EQ(std::async(std::launch::async, [&] { return media.IsLoaded(); }).get(), 0);

    LoadTracks(2, {1});
    FakeGraph& graph = Graph();
    EXPECT_EQ(Do(&M::GetOriginalAudioTrackNum, &M::GetOriginalVideoTrackNum), 2U);
    EXPECT_EQ(Render(1), static_cast<IBaseFilter*>(graph.Find("Ren1")));
    ExpectOutOfRange(2);
    const std::string cut0 = " -Dec2.Out1 -Ren2.In1 -Source.Out2 -Dec2.In1";
    const std::string cut1 = " -Dec1.Out1 -Ren1.In1 -Source.Out1 -Dec1.In1";
    const std::string join0 = " +Dec2.Out1, Ren2.In1 +Source.Out2, Dec2.In1";
    const std::string join1 = " +Dec1.Out1, Ren1.In1 +Source.Out1, Dec1.In1";
    EXPECT_EQ(After(Disable(0)), "01 linked 1" + cut0);
    EXPECT_EQ(After(Disable(0)), "01 linked 1");
    EXPECT_EQ(After(Disable(1)), "00 linked 1" + cut1); // the other kind is enabled
    Do(&M::DisableVideoTrack, &M::DisableAudioTrack, 0);
    EXPECT_EQ(After(true), "00 1 -Dec3.Out1 -Ren3.In1 -Source.Out3 -Dec3.In1");
    EXPECT_EQ(After(Enable(0)), "10 linked 1" + join0);
    linked = false;
    EXPECT_EQ(After(Disable(1)), "10 1"); // is not recomputed from there
    EXPECT_EQ(After(EnableAll()), "11 linked 1" + join1);
    EXPECT_EQ(After(Disable(0)), "01 linked 1" + cut0);
    EXPECT_EQ(After(UnlinkAll()), "00 1" + cut1); // only the other kind counts
    EXPECT_EQ(After(LinkAll()), "11 linked 1" + join0 + join1);
    Do(&M::EnableVideoTrack, &M::EnableAudioTrack, 0);
    After(true);
    EXPECT_EQ(After(DisableAll()), "00 linked 1" + cut0 + cut1);
    EXPECT_EQ(After(Only(1)), "01 linked 1" + join0 + join1 + cut0);
    linked = false;
    EXPECT_EQ(After(Only(1)), "01 linked 1");
    // A connection that cannot be restored does not fail the track.
    graph.results["Connect"] = VFW_E_CANNOT_CONNECT;
    EXPECT_EQ(After(Enable(0)), "11 linked 1" + join0);
    // The walk ends at a filter that feeds something else; a free input is no way on.
    FakeFilter& tee = *graph.Find("Dec2");
    Join(graph.Find("Source")->Pin("Out2"), tee.InPin());
    Join(tee.AddPin(Out()), graph.Add("More", {In()}).InPin());
    Join(tee.Pin("Out1"), graph.Find("Ren2")->InPin());
    graph.Find("Ren2")->AddPin(In());
    EXPECT_EQ(After(Disable(0)), "01 linked 1 -Dec2.Out1 -Ren2.In1");
}

TEST_P(MediaTracks, StreamsAreSwitchedAtTheirFilter) {
    LoadTracks(1, {1, 0, 0});
    EXPECT_EQ(Render(2), static_cast<IBaseFilter*>(Graph().Find("Ren1")));
    ExpectOutOfRange(3);
    linked = false;
    EXPECT_EQ(After(Enable(2)), "101 linked 1 =3, 2 =2, 0");
    EXPECT_EQ(After(Enable(0)), "101 linked 1 =1, 2 =2, 0");
    EXPECT_EQ(After(Disable(0)), "001 linked 1 =1, 0");
    linked = false;
    EXPECT_EQ(After(Only(1)), "010 linked 1 =2, 1");
    linked = false;
    EXPECT_EQ(After(EnableAll()), "111 linked 1 =1, 2");
    EXPECT_EQ(After(DisableAll()), "000 linked 1 =1, 0 =2, 0 =3, 0");
    // Of a filter that refuses, it counts whether the stream is in the wanted state.
    ResultTable& results = Graph().Find("Source")->streamSelect.results;
    results["Enable"] = E_FAIL;
    linked = false;
    EXPECT_EQ(After(Enable(1)), "000 0 =2, 2");
    EXPECT_EQ(After(Only(1)), "000 0 =2, 1");
    EXPECT_EQ(After(EnableAll()), "000 0 =1, 2");
    EXPECT_EQ(After(Disable(1)), "000 1 =2, 0");
    results["Enable"] = {S_OK, E_FAIL, E_FAIL, E_FAIL};
    EXPECT_EQ(After(Only(0)), "100 linked 1 =1, 1");
    EXPECT_EQ(After(EnableAll()), "111 linked 1 =1, 2");
    EXPECT_EQ(After(Disable(1)), "111 linked 0 =2, 0");
    EXPECT_EQ(After(DisableAll()), "111 linked 0 =1, 0");
    results["Enable"] = {S_OK, E_FAIL};
    EXPECT_EQ(After(DisableAll()), "011 linked 0 =1, 0 =2, 0");
    // The renderer's own link is not the streams' affair, and comes back with a stream.
    EXPECT_TRUE(UnlinkAll() && Enable(0));
    EXPECT_EQ(Graph().Connections().size(), 4U);

    // As many renderers as streams: not by renderers.
    LoadTracks(2, {1, 0});
    EXPECT_EQ(After(Disable(0)), "00 linked 1 =1, 0");
    // Without a renderer nothing is switched, which fails all but one.
    LoadTracks(0, {1, 0});
    linked = false;
    EXPECT_EQ(Render(1), nullptr);
    EXPECT_FALSE(Enable(1) || EnableAll());
    EXPECT_EQ(After(Only(1)), "10 1");
    EXPECT_EQ(media.Unload(), 1);
    EXPECT_EQ(media.m_streamSelectVideoNum + media.m_streamSelectAudioNum, 0U);
}

} // namespace
