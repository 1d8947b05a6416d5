// Every COM call of a media item's life fails once; loads that are repeated.

#include "media_graph.h"
#include "media_resources.h"

using namespace media_tests;

namespace {

class MediaFaults : public MediaGraphTest {
protected:
    /// A source with a stream list, a cached decoder, and renderers of the scheme.
    void DescribeAll() {
        Describe("mkv", "S",
                 {Out(fakes::Stream()), Out(fakes::Audio(44100)), Out(fakes::Audio(22050))},
                 [](FakeFilter& filter) {
                     filter.AcceptFiles().Select(
                         {{fakes::Audio(), L"a", 1, 0, S_OK}, {fakes::Audio(), L"b", 0, 0, S_OK}});
                 });
        Describe("mkv", "Dec", {In(fakes::Stream()), Out(fakes::Video(1281, 720))}, nullptr, "");
        Describe("mkv", "Spare", {In(fakes::Text()), Out(fakes::Text())}, nullptr, "");
        Describe("mkv", "VR", {In(fakes::Video())});
        Describe("audio_global", "AR", {In(fakes::Audio())});
    }
};

TEST_F(MediaFaults, EveryCallOfALifeFailsOnce) {
    DescribeAll();
    std::size_t loads = 0;
    std::size_t relinks = 0;
    for (const HRESULT result : {E_FAIL, E_OUTOFMEMORY}) {
        for (const int flag : {0, 1}) {
            FaultOptions options;
            options.result = result;
            const std::size_t calls = RunFaultPlan(
                [&] {
                    Media media(kPath, nullptr);
                    media.Know({"h264"}, {"aac", "aac"});
                    const int loaded = media.Load(&scheme, flag);
                    EXPECT_EQ(media.IsReadyForPlay(), loaded);
                    EXPECT_EQ(media.GetLoadReport().failure.empty(), loaded == 1);
                    if (loaded == 1) {
                        ++loads;
                        for (std::uint32_t i = 0; i < media.GetAudioTrackNum(); ++i) {
                            media.DisableAudioTrack(i);
                            EXPECT_EQ(media.GetAudioTrackRender(i) == nullptr,
                                      media.m_audioTracks.empty());
                        }
                        for (std::uint32_t i = 0; i < media.GetVideoTrackNum(); ++i) {
                            EXPECT_TRUE(media.EnableOnlyOneVideoTrack(i));
                            EXPECT_TRUE(media.DisableVideoTrack(i));
                            EXPECT_FALSE(media.IsVideoTrackEnable(i));
                        }
                        media.EnableAllAudioTrack();
                        EXPECT_EQ(media.EnableAllVideoTrack(), !media.m_videoTracks.empty());
                        EXPECT_EQ(media.UnlinkAllFilter(), 1);
                        EXPECT_EQ(media.IsAllFilterLinked(), 0);
                        const int relinked = media.LinkAllFilter();
                        EXPECT_EQ(media.IsAllFilterLinked(), relinked);
                        relinks += static_cast<std::size_t>(relinked);
                    } else { // what it left is no obstacle to another path
                        EXPECT_EQ(media.SetMediaPath("test://other/clip.mkv"), 1);
                        EXPECT_EQ(media.Load(nullptr, 0), 1);
                    }
                    EXPECT_EQ(media.Unload(), 1);
                    EXPECT_EQ(media.IsLoaded(), 0);
                    EXPECT_EQ(media.GetVideoTrackNum(), 1U); // of the record again
                    EXPECT_EQ(media.SetMediaPath("test://other/clip.mkv"), 1);
                },
                options);
            EXPECT_GT(calls, 300U);
            // One failing call seldom ends a load, and a relink still less.
            EXPECT_GT(loads, calls * 9 / 10);
            EXPECT_GT(relinks, loads * 9 / 10);
            loads = 0;
            relinks = 0;
        }
    }
}

TEST_F(MediaFaults, RepeatedLoadsEqualTheFirst) {
    DescribeAll();
    const struct {
        const char* what;
        std::size_t audios; ///< of two, known before the load; the picture with them
        int flag;
        ymdshow::CCoderScheme* scheme;
    } cases[] = {
        {"scheme renderers", 2, 1, &scheme}, {"the graph's own", 2, 0, &scheme},
        {"too little known", 1, 1, &scheme}, {"nothing known", 0, 0, &scheme},
        {"no scheme", 0, 0, nullptr},        {"no scheme, known", 2, 0, nullptr},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        Media media(nullptr);
        const auto load = [&](bool path) {
            if (path) {
                EXPECT_EQ(media.SetMediaPath(kPath), 1);
                if (test.audios > 0) {
                    media.Know({"h264"}, Lines(test.audios, "aac"));
                }
            }
            EXPECT_EQ(media.Load(test.scheme, test.flag), 1);
            Lines facts = Facts(media);
            for (const std::string& line : Graph().Connections()) {
                facts.push_back(line);
            }
            return facts;
        };
        const Lines first = load(true);
        EXPECT_GT(first.size(), 10U);
        media.Unload();
        EXPECT_EQ(load(false), first) << "the same path";
        media.DisableAllAudioTrack();
        media.DisableAllVideoTrack();
        media.Unload();
        EXPECT_EQ(load(false), first) << "what was disabled";
        ASSERT_EQ(media.SetMediaPath("test://other/less.avi"), 1);
        const PinSpecs pins = std::exchange(sourcePins, {Out(fakes::Audio(8000))});
        EXPECT_EQ(media.Load(nullptr, 0), 1);
        EXPECT_EQ(media.GetVideoTrackNum(), 0U);
        EXPECT_EQ(media.GetAudioTrackNum(), 1U);
        sourcePins = pins;
        EXPECT_EQ(load(true), first) << "after another path";
    }
}

TEST_F(MediaFaults, CyclesLeaveNothing) {
    DescribeAll();
    Media media(kPath, nullptr);
    media.SetLoop(1); // an event thread with each Play
    journal.SetKinds(0);
    const Lines alive = ledger.Alive();
    const auto [early, late] = Soak(Rounds("YMD_SOAK_FAKES", 500), [&](int i) {
        ASSERT_EQ(media.Load(&scheme, i % 2), 1);
        if (i % 25 == 0) {
            ASSERT_EQ(media.Play(), 1);
            EXPECT_NE(media.m_hEventThread, nullptr);
        }
        media.Unload();
        log.Clear();
    });
    EXPECT_GT(early.handles, 0U);
    EXPECT_EQ(late.handles, early.handles);
    EXPECT_LT(late.kilobytes, early.kilobytes + 1024);
    EXPECT_EQ(ledger.Alive(), alive);
}

} // namespace
