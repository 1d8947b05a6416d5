// The scan of a rendered graph: records, order of tracks, stream lists, unused filters.

#include "media_graph.h"

#include <dvdmedia.h>

#include <algorithm>

using namespace media_tests;

namespace {

class MediaScan : public MediaGraphTest {};

constexpr std::int64_t kFar = 0x100000000;

TEST_F(MediaScan, VideoRecordFollowsTheConnectionWhenClose) {
    struct Picture {
        long width, height;
        std::int64_t frameTime;
        bool operator==(const Picture&) const = default;
    };
    const struct {
        Picture known, connected, expected;
        bool fix1088 = true, even = true;
    } cases[] = {
        {{0, 0, 0}, {640, 360, 400000}, {640, 360, 400000}},
        {{0, 0, 0}, {1920, 1088, 0}, {1920, 1080, 0}},
        {{0, 0, 0}, {1920, 1088, 0}, {1920, 1088, 0}, false},
        {{0, 0, 0}, {1918, 1088, 0}, {1918, 1088, 0}},
        {{0, 0, 0}, {1281, 721, 0}, {1280, 720, 0}},
        {{0, 0, 0}, {1281, 721, 0}, {1281, 721, 0}, true, false},
        {{0, 0, 0}, {640, -360, 0}, {640, 360, 0}},
        {{0, 0, 0}, {1, 360, 0}, {0, 360, 0}},
        {{1280, 720, 0}, {1282, 720, 0}, {1282, 720, 0}},
        {{1280, 720, 0}, {1920, 1080, 0}, {1280, 720, 0}},
        {{1280, 720, 0}, {1284, 716, 0}, {1280, 720, 0}},
        {{1280, 720, 0}, {1276, 718, 0}, {1280, 718, 0}},
        {{1281, 721, 0}, {1284, 724, 0}, {1284, 724, 0}},
        {{-1, 720, 0}, {640, 360, 0}, {640, 720, 0}},
        {{1280, 720, 0}, {0, 720, 333333}, {1280, 720, 333333}},
        {{8, 8, 400000}, {8, 8, 449999}, {8, 8, 449999}},
        {{8, 8, 400000}, {8, 8, 450000}, {8, 8, 400000}},
        {{8, 8, 400000}, {8, 8, 350001}, {8, 8, 350001}},
        {{8, 8, 400000}, {8, 8, 350000}, {8, 8, 400000}},
        {{8, 8, 400000}, {8, 8, 0}, {8, 8, 400000}},
        {{8, 8, -5}, {8, 8, 1}, {8, 8, 1}},
        {{8, 8, 400000}, {8, 8, 400001 + kFar}, {8, 8, 400001 + kFar}},
    };
    for (const auto& test : cases) {
        for (const bool header2 : {false, true}) {
            sourcePins = {Out(fakes::Video(test.connected.width, test.connected.height,
                                           test.connected.frameTime, header2))};
            Media media(kPath, nullptr);
            media.Know({"h264"}, {});
            auto& record = media.m_videoInfos.front();
            record.width = test.known.width;
            record.height = test.known.height;
            record.avgFrameTime = test.known.frameTime;
            media.m_fix1088Height = test.fix1088;
            media.m_evenVideoSize = test.even;
            ASSERT_EQ(media.Load(nullptr, 0), 1);
            EXPECT_EQ(media.m_videoInfos.size(), 1U);
            const auto& found = media.m_videoInfos.front();
            EXPECT_TRUE(Picture({found.width, found.height, found.avgFrameTime}) == test.expected)
                << &test - cases << ": " << found.width << "x" << found.height << " "
                << found.avgFrameTime;
        }
    }
}

TEST_F(MediaScan, FormatsThatTellNothingLeaveTheRecord) {
    MediaType cut = fakes::Video(320, 240);
    cut.format.resize(sizeof(VIDEOINFOHEADER) - 1);
    MediaType cutWave = fakes::Audio(8000);
    cutWave.format.resize(sizeof(PCMWAVEFORMAT) - 1);
    MediaType other = fakes::Video(320, 240);
    other.formatType = FORMAT_MPEGVideo;
    sourcePins = {Out(cutWave), Out(fakes::Audio()), Out(fakes::Video()), Out(other), Out(cut)};
    Media media(kPath, nullptr);
    media.Know({"a", "b", "c"}, {"d", "e"});
    for (auto& info : media.m_videoInfos) {
        info.width = 77;
    }
    for (auto& info : media.m_audioInfos) {
        info.samplingRate = 77;
    }
    ASSERT_EQ(media.Load(nullptr, 0), 1);
    const Lines facts = Facts(media);
    for (const char* record :
         {"video record a 77 0 0", "video record b 77 0 0", "video record c 77 0 0",
          "audio record d 77 0 0", "audio record e 77 0 0"}) {
        EXPECT_EQ(std::count(facts.begin(), facts.end(), record), 1) << record;
    }
    EXPECT_EQ(facts[0], "known 3 2 found 3 2 streams 0 0");
}

TEST_F(MediaScan, TracksAreNumberedFromTheLastOutput) {
    MediaType plain = fakes::Audio(22050, 1, 8); // sources leave the last field out
    plain.format.resize(sizeof(PCMWAVEFORMAT));
    sourcePins = {Out(fakes::Audio(44100, 2, 16)), Out(fakes::Text()), Out(fakes::Video(320, 240)),
                  Out(plain), Out(fakes::Video(640, 480))};
    Media media(kPath, nullptr);
    media.Know({}, {"aac"});
    media.m_audioInfos.front().samplingRate = 1;
    ASSERT_EQ(media.Load(nullptr, 0), 1);
    EXPECT_EQ(Facts(media),
              Lines({"known 2 2 found 2 2 streams 0 0", "video VideoRenderer5 1 1 0",
                     "video VideoRenderer3 1 1 0", "audio AudioRenderer4 1 1 0",
                     "audio AudioRenderer1 1 1 0", "video record  640 480 400000",
                     "video record  320 240 400000", "audio record aac 22050 1 8",
                     "audio record  44100 2 16", "picture 640 480", "display 0", "display 0",
                     "display 640", "display 480", "filters ", "filters ",
                     "filters VideoRenderer5 AudioRenderer4 VideoRenderer3 TextRenderer2 "
                     "AudioRenderer1 Source "}));
    EXPECT_EQ(ledger.Alive().size(), 7U); // what the walk visited is not held
}

TEST_F(MediaScan, PictureIsCompletedFromTheFirstRecord) {
    using Range = std::array<std::int32_t, 4>;
    const struct {
        bool known;
        std::int32_t width, height;
        Range range, expected;
    } cases[] = {
        {false, 0, 0, {0, 0, 0, 0}, {0, 0, 640, 360}},
        {false, 0, 0, {7, -1, 10000, 99}, {7, 0, 640, 99}},
        {true, 0, 5, {10000, 10000, 0, -3}, {0, 0, 640, 5}},
        {true, 5, 6, {10000, 0, 0, 0}, {10000, 0, 0, 0}},
        {false, 5, 6, {0, 0, 0, 0}, {0, 0, 5, 6}},
    };
    for (const auto& test : cases) {
        Media media(nullptr);
        Loaded(media);
        media.m_originalVideoTrackNum = test.known ? 1 : 0;
        media.m_videoTrackNum = 0;
        media.m_videoOriginalWidth = test.width;
        media.m_videoOriginalHeight = test.height;
        std::copy(test.range.begin(), test.range.end(), media.m_videoDisplayRange);
        std::vector<IBaseFilter*> none;
        media._ScanAllFilterAndGetAVTrackInfo(none);
        EXPECT_EQ(std::to_array(media.m_videoDisplayRange), test.expected) << &test - cases;
    }
}

/// Streams by letters: s for sound, p for a picture, t for text, f for one that fails.
std::vector<SelectableStream> Streams(const std::string& kinds) {
    std::vector<SelectableStream> streams;
    for (const char kind : kinds) {
        streams.push_back(kind == 'p'   ? SelectableStream{fakes::Video(), L"", 0, 0, S_OK}
                          : kind == 't' ? SelectableStream{fakes::Text(), L"Subtitles", 1, 0, S_OK}
                                        : SelectableStream{fakes::Audio(), L"English", 1, 0,
                                                           kind == 'f' ? E_FAIL : S_OK});
    }
    return streams;
}

/// Which filters of a graph are asked for their streams.
TEST_F(MediaScan, SourcesAndSplittersListStreams) {
    const struct {
        const char* what;
        std::string source, ofSource;     ///< output pins and streams; "-": no stream list
        std::string splitter, ofSplitter; ///< behind the source's first output
        std::string asked;
        std::string audios; ///< "index name enabled"
        std::string videos;
    } cases[] = {
        {"source", "a", "tsfps", "", "-", "Source ", "1English1 4English1 ", "30 "},
        {"one list is enough", "a", "p", "av", "ss", "Source ", "", "00 "},
        {"an empty list", "a", "tf", "av", "s", "Source Split ", "0English1 ", ""},
        {"no transform", "a", "-", "a", "s", "", "", ""},
        {"splitter", "a", "-", "aa", "sp", "Split ", "0English1 ", "10 "},
        {"enough tracks before it", "aaavv", "-", "av", "s", "", "", ""},
        {"one sound before it", "aavv", "-", "av", "s", "Split ", "0English1 ", ""},
        {"one picture before it", "aaav", "-", "av", "s", "Split ", "0English1 ", ""},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        configure = [&](FakeGraph& graph) {
            const auto list = [](FakeFilter& filter, const std::string& streams) {
                if (streams != "-") {
                    filter.Select(Streams(streams));
                }
            };
            graph.makeSource = [&, list](const std::wstring&) {
                ComPtr<FakeFilter> source = MakeFilter("Source", Outs(test.source));
                list(*source.Get(), test.ofSource);
                return source;
            };
            graph.onRender = [&, list](FakePin& out) {
                if (out.Name() != "Source.Out1" || test.splitter.empty()) {
                    return graph.RenderPin(out);
                }
                PinSpecs pins = Outs(test.splitter);
                pins.insert(pins.begin(), In());
                FakeFilter& splitter = graph.Add("Split", pins);
                list(splitter, test.ofSplitter);
                Join(out, splitter.InPin());
                for (std::size_t i = 1; i < pins.size(); ++i) {
                    graph.RenderPin(splitter.Pin(i));
                }
                return S_OK;
            };
        };
        Media media(kPath, nullptr);
        journal.Clear();
        ASSERT_EQ(media.Load(nullptr, 0), 1);
        std::string asked;
        for (const std::string& line : journal.Matching("*.Count")) {
            asked += line.substr(0, line.find('.')) + " ";
        }
        EXPECT_EQ(asked, test.asked);
        const auto list = [](const auto& streams) {
            std::string text;
            for (const auto* stream : streams) {
                text += std::to_string(stream->index) +
                        std::string(stream->name.begin(), stream->name.end()) +
                        (stream->enabled ? "1 " : "0 ");
            }
            return text;
        };
        EXPECT_EQ(list(media.m_streamSelectAudioTracks), test.audios);
        EXPECT_EQ(list(media.m_streamSelectVideoTracks), test.videos);
        EXPECT_EQ(media.m_streamSelectAudioNum, media.m_streamSelectAudioTracks.size());
        EXPECT_EQ(media.m_streamSelectVideoNum, media.m_streamSelectVideoTracks.size());
        EXPECT_EQ(media.m_pStreamSelect != nullptr, !(test.audios + test.videos).empty());
    }
}

TEST_F(MediaScan, UnusedFiltersGoAndHeldOnesAreReported) {
    Describe("mkv", "S", {Out(fakes::Video())}, [](FakeFilter& f) { f.AcceptFiles(); });
    auto& spareSources = Describe("mkv", "Spare", {Out(fakes::Audio())});
    auto& decoders = Describe("mkv", "Dec", {In(fakes::Text()), Out(fakes::Text())});
    auto& soundRenderers = Describe("mkv", "AR", {In(fakes::Audio())});
    Describe("mkv", "VR", {In(fakes::Video())});
    for (const bool held : {false, true}) {
        std::vector<ComPtr<IBaseFilter>> holds;
        configure = [&](FakeGraph& graph) {
            FakeFilter* const left = &graph.Add("Left", {In(fakes::Text())});
            graph.onRender = [&, left](FakePin& out) {
                if (held) {
                    holds = {&spareSources.Last(), &decoders.Last(), &soundRenderers.Last(), left};
                }
                return graph.RenderPin(out);
            };
        };
        Media media(kPath, nullptr);
        journal.Clear();
        log.Clear();
        ASSERT_EQ(media.Load(&scheme, 0), 1);
        const std::string warning =
            "Remove Unused Filter Warning! RefCount 1 : " + std::string(kPath);
        EXPECT_EQ(
            Warnings("_ScanAllFilterAndGetAVTrackInfo"),
            held ? Lines({warning, warning, warning, "Remove Unused Filter Warning! RefCount : 1"})
                 : Lines());
        EXPECT_EQ(journal.Matching("graph.RemoveFilter*"),
                  Lines({"graph.RemoveFilter(Dec)", "graph.RemoveFilter(AR)",
                         "graph.RemoveFilter(Spare)", "graph.RemoveFilter(Left)"}));
        EXPECT_EQ(Graph().FilterNames(), Lines({"VR", "S"}));
        EXPECT_EQ(media.m_schemeFilters.size(), 0U);
        ASSERT_EQ(media.m_renderFilters.size(), 1U);
        EXPECT_EQ(media.m_usedFilters.size(), 2U);
    }
}

TEST_F(MediaScan, CandidatesOnThePathAreKept) {
    Media media(nullptr);
    Loaded(media);
    const ComPtr<FakeFilter> unused = MakeFilter("Unused", {Out()});
    std::vector<IBaseFilter*> candidates{Graph().Find("VideoRenderer1"), unused.Get()};
    for (IBaseFilter* candidate : candidates) {
        candidate->AddRef();
    }
    media._ScanAllFilterAndGetAVTrackInfo(candidates);
    EXPECT_TRUE(candidates.empty());
    EXPECT_EQ(media.m_schemeFilters, std::vector<IBaseFilter*>{Graph().Find("VideoRenderer1")});
    EXPECT_EQ(unused->Refs(), 1U);
}

} // namespace
