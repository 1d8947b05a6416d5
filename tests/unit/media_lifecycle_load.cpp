// Loading and unloading a media item: the order of the steps, the records, what stays.

#include "media_fixture.h"

using namespace media_tests;

namespace {

class MediaLoad : public MediaTest {};

TEST_F(MediaLoad, TakesTheStepsInOrder) {
    sourcePins = {Out(fakes::Video(640, 360))};
    Media media(kPath, nullptr);
    journal.SetKinds(kCall | kQueryCall);
    journal.Clear();
    log.Clear();
    ASSERT_EQ(media.Load(nullptr, 0), 1);
    EXPECT_EQ(log.Take(),
              Lines({"4 ymdshow::CMedia::Load: Loading Media : test://host/clip.mkv",
                     "8 ymdshow::CMedia::_ReadInfoByMediaIfo: Load MediaInfo DLL Failed",
                     "8 ymdshow::CMedia::_LoadFilterWithScheme: CoderScheme Is NULL",
                     "4 ymdshow::CMedia::Load: LoadMedia OK : test://host/clip.mkv"}));
    EXPECT_JOURNAL({
        "FilterGraph.CreateInstance",
        "graph.QueryInterface(IGraphConfig)",
        // the source and its rendering
        "graph.AddSourceFilter(test://host/clip.mkv, null)",
        "graph.QueryInterface(IGraphConfig)",
        "config.RemoveFilterFromCache(Source)",
        "Source.QueryFilterInfo",
        "Source.EnumPins",
        "Source.Out1.QueryDirection",
        "Source.Out1.ConnectedTo",
        "graph.Render(Source.Out1)",
        // what is left in the cache, then the scan
        "config.EnumCacheFilter",
        "Source.EnumPins",
        "Source.Out1.QueryDirection",
        "Source.QueryInterface(IAMStreamSelect)",
        "Source.Out1.ConnectedTo",
        "VideoRenderer1.In1.QueryPinInfo",
        "VideoRenderer1.EnumPins",
        "VideoRenderer1.In1.QueryDirection",
        "Source.Out1.ConnectionMediaType",
        "graph.EnumFilters",
        "graph.QueryInterface(IMediaControl)",
        "graph.QueryInterface(IMediaFilter)",
        "graph.QueryInterface(IMediaSeeking)",
        "graph.QueryInterface(IBasicVideo)",
        "graph.QueryInterface(IMediaEventEx)",
        "graph.QueryInterface(IVideoWindow)",
        // picture and duration
        "video.get_SourceWidth",
        "video.get_SourceHeight",
        "video.get_AvgTimePerFrame",
        "video.put_SourceLeft(0)",
        "video.put_SourceTop(0)",
        "video.put_SourceWidth(640)",
        "video.put_SourceHeight(360)",
        "video.put_DestinationLeft(0)",
        "video.put_DestinationTop(0)",
        "video.put_DestinationWidth(640)",
        "video.put_DestinationHeight(360)",
        "seeking.GetCapabilities",
        "seeking.GetTimeFormat",
        "seeking.GetDuration",
        "seeking.SetTimeFormat(FRAME)",
        "seeking.IsUsingTimeFormat(MEDIA_TIME)",
        // the stored settings
        "control.GetState(500)",
        "graph.SetDefaultSyncSource",
        "window.put_MessageDrain(0)",
        "window.put_Visible(0)",
        "window.put_Owner(0)",
    });
    EXPECT_EQ(media.IsLoaded(), 1);
    EXPECT_EQ(media.IsReadyForPlay(), 1);
    EXPECT_EQ(media.IsAllFilterLinked(), 1);
}

TEST_F(MediaLoad, NeedsAPathAndLeavesALoadedItemAlone) {
    Media media(nullptr);
    EXPECT_EQ(media.Load(nullptr, 0), 0);
    Loaded(media);
    EXPECT_EQ(media.Load(nullptr, 1), 1);
    EXPECT_EQ(log.Lines(), Lines());
    EXPECT_JOURNAL({});
}

TEST_F(MediaLoad, CreationFailuresAreNamed) {
    const struct {
        HRESULT result;
        const char* text;
    } cases[] = {
        {REGDB_E_CLASSNOTREG, "80040154, REGDB_E_CLASSNOTREG"},
        {CLASS_E_NOAGGREGATION, "80040110, CLASS_E_NOAGGREGATION "},
        {E_NOINTERFACE, "80004002, E_NOINTERFACE"},
        {E_OUTOFMEMORY, "8007000e, Unknown Error"},
    };
    for (const auto& item : cases) {
        Media media(kPath, nullptr);
        log.Clear();
        graphs.FailNext(item.result);
        EXPECT_EQ(media.Load(nullptr, 0), 0);
        EXPECT_EQ(media.IsLoaded(), 0);
        const std::string creation = "CoCreateInstance CLSID_FilterGraph Failed: ";
        EXPECT_EQ(log.Take(),
                  Lines({"4 ymdshow::CMedia::Load: Loading Media : test://host/clip.mkv",
                         "8 ymdshow::CMedia::_ReadInfoByMediaIfo: Load MediaInfo DLL Failed",
                         "8 ymdshow::CMedia::_InitDirectShow: " + creation + item.text,
                         "16 ymdshow::CMedia::Load: m_pGB is NULL And _InitDirectShow Failed"}));
        EXPECT_EQ(media.Load(nullptr, 0), 1); // a failure is no obstacle to the next try
    }
}

TEST_F(MediaLoad, WithoutSourceTheGraphStaysAndIsTriedAgain) {
    configure = [](FakeGraph& graph) { graph.makeSource = nullptr; };
    Media media(kPath, nullptr);
    EXPECT_EQ(media.Load(nullptr, 0), 0);
    EXPECT_EQ(log.Take().back(), "8 ymdshow::CMedia::Load: _InitFilters Failed");
    EXPECT_EQ(media.IsLoaded(), 1);
    EXPECT_EQ(media.IsReadyForPlay(), 0);

    EXPECT_EQ(media.Load(nullptr, 0), 0);
    EXPECT_EQ(log.Take(), Lines({"8 ymdshow::CMedia::Load: m_pGB is NULL Or m_isAllFilterLinked "
                                 "False"}));
    EXPECT_EQ(graphs.Created(), 1U);
}

TEST_F(MediaLoad, ControlIsTheOneInterfaceThatIsNeeded) {
    configure = [](FakeGraph& graph) { graph.control.present = false; };
    {
        Media media(kPath, nullptr);
        EXPECT_EQ(media.Load(nullptr, 0), 0);
        EXPECT_EQ(media.IsLoaded(), 0);
        EXPECT_EQ(log.Take().back(), "8 ymdshow::CMedia::Load: _InitFilters Failed");
    }
    configure = [](FakeGraph& graph) {
        graph.config.present = graph.mediaFilter.present = graph.seeking.present = false;
        graph.video.present = graph.audio.present = false;
        graph.events.present = graph.window.present = false;
    };
    Media media(kPath, nullptr);
    EXPECT_EQ(media.Load(nullptr, 0), 1);
    EXPECT_NE(media.m_pMediaControl, nullptr);
    EXPECT_EQ(media.m_pGraphConfig, nullptr);
    EXPECT_EQ(media.m_pMediaFilter, nullptr);
    EXPECT_EQ(media.m_pMediaSeeking, nullptr);
    EXPECT_EQ(media.m_pBasicVideo, nullptr);
    EXPECT_EQ(media.m_pMediaEvent, nullptr);
    EXPECT_EQ(media.m_pVideoWindow, nullptr);
    EXPECT_TRUE(media.IsLiveStream()) << "a URL without a duration";
}

TEST_F(MediaLoad, PictureComesFromTheFirstRecordWithoutBasicVideo) {
    configure = [](FakeGraph& graph) { graph.video.present = false; };
    const struct {
        float recordRatio;
        float ratio;
        bool enabled;
    } cases[] = {
        {-1.0F, 2.0F, false},  {0.0F, 2.0F, false},  {2.0F, 2.0F, false},
        {2.04F, 2.04F, false}, {2.05F, 2.05F, true}, {1.5F, 1.5F, true},
    };
    for (const auto& item : cases) {
        Media media(kPath, nullptr);
        // As if the media information had been read.
        media.m_hasMediaInfo = true;
        media.m_originalVideoTrackNum = 1;
        media.m_videoInfos.resize(1);
        ymdshow::VideoInfo& record = media.m_videoInfos.front();
        record.width = 800;
        record.height = 400;
        record.displayAspectRatio = item.recordRatio;
        record.rotation = 90.0F;
        record.avgFrameTime = 333333;
        ASSERT_EQ(media.Load(nullptr, 0), 1);
        EXPECT_EQ(media.GetVideoOriginalWidth(), 800);
        EXPECT_EQ(media.GetVideoOriginalHeight(), 400);
        EXPECT_EQ(media.GetVideoOiginalAvgFrameTime(), record.avgFrameTime);
        EXPECT_EQ(media.GetDisplayRotation(), 90.0F);
        EXPECT_EQ(media.GetDisplayAspectRatio(), item.ratio);
        EXPECT_EQ(media.IsEnableDisplayAspectRatio(), item.enabled) << item.recordRatio;
    }
}

TEST_F(MediaLoad, FrameTimeAndClipEndAreDerived) {
    sourcePins = {Out(fakes::Audio(44100))};
    configure = [](FakeGraph& graph) {
        graph.video.present = false;
        graph.seeking.SupportFrames();
        graph.seeking.durations[TIME_FORMAT_FRAME] = 300;
    };
    Media media(kPath, nullptr);
    ASSERT_EQ(media.Load(nullptr, 0), 1);
    EXPECT_EQ(media.GetOriginalDuration(), 100000000);
    EXPECT_EQ(media.GetClipEndTime(), 100000000);
    EXPECT_EQ(media.GetVideoOiginalAvgFrameTime(), 333333);
    EXPECT_FALSE(media.IsLiveStream());
    EXPECT_EQ(journal.Count("seeking.SetPositions*"), 0U);
}

TEST_F(MediaLoad, StoredSettingsAreAppliedAgain) {
    const HWND window = GetDesktopWindow();
    Media media(nullptr);
    Loaded(media);
    ASSERT_EQ(media.TimeClip(10000000, 20000000), 1);
    media.SetLoop(1);
    ASSERT_EQ(media.SetVolume(-10000L), 1); // counts as muted
    media.SetAmain(1);
    media.SetPlayWindow(window);
    ASSERT_EQ(media.Unload(), 1);
    journal.Clear();
    ASSERT_EQ(media.Load(nullptr, 0), 1);
    EXPECT_TRUE(journal.InOrder({"seeking.SetPositions(10000000, 1, 20000000, 1)",
                                 "audio.put_Volume(-10000)", "mediaFilter.SetSyncSource(null)",
                                 "window.put_MessageDrain(*)", "window.put_Owner(*)",
                                 "window.put_Visible(-1)", "window.SetWindowForeground(-1)"}));
    EXPECT_EQ(media.IsLoop(), 1);
    EXPECT_EQ(media.m_hEventThread, nullptr); // nothing plays yet

    EXPECT_EQ(media.Play(), 1);
    EXPECT_NE(media.m_hEventThread, nullptr); // for the loop

    // A volume that is not muted is not sent again, a whole clip is not set.
    ASSERT_EQ(media.SetVolume(-500L), 1);
    ASSERT_EQ(media.TimeClip(0, 0), 1);
    media.Unload();
    journal.Clear();
    ASSERT_EQ(media.Load(nullptr, 0), 1);
    EXPECT_EQ(journal.Count("audio.*"), 0U);
    EXPECT_EQ(media.m_volume, -500);
    EXPECT_EQ(journal.Count("seeking.SetPositions*"), 0U);
}

TEST_F(MediaLoad, UnlinkedGraphIsLinkedAgain) {
    Media media(nullptr);
    Loaded(media);
    const Lines before = Graph().Connections();
    ASSERT_EQ(media.UnlinkAllFilter(), 1);
    EXPECT_EQ(Graph().Connections(), Lines());
    EXPECT_EQ(media.IsLoaded(), 1);
    EXPECT_EQ(media.IsReadyForPlay(), 0);
    log.Clear();
    EXPECT_EQ(media.Load(nullptr, 0), 1);
    EXPECT_EQ(Graph().Connections(), before);
    EXPECT_EQ(log.Lines(),
              Lines({"4 ymdshow::CMedia::LinkAllFilter: LinkAllFilter OK : test://host/clip.mkv",
                     "4 ymdshow::CMedia::Load: LoadMedia OK : test://host/clip.mkv"}));
    EXPECT_EQ(graphs.Created(), 1U);

    ASSERT_EQ(media.UnlinkAllFilter(), 1);
    Graph().results["Render"] = VFW_E_CANNOT_RENDER;
    log.Clear();
    EXPECT_EQ(media.Load(nullptr, 0), 0);
    EXPECT_EQ(log.Lines(),
              Lines({"4 ymdshow::CMedia::LinkAllFilter: LinkAllFilter FAILED : "
                     "test://host/clip.mkv",
                     "8 ymdshow::CMedia::Load: m_pGB is NULL Or m_isAllFilterLinked False"}));
}

TEST_F(MediaLoad, FewFailingCallsAreFatalAndNoneLeaks) {
    sourcePins = {Out(fakes::Video(640, 360))};
    int loaded = 0;
    Lines fatal;
    FaultOptions options;
    options.check = [&](std::size_t, const std::string& where) {
        if (loaded == 0) {
            fatal.push_back(where);
        }
    };
    RunFaultPlan(
        [&] {
            Media media(kPath, nullptr);
            loaded = media.Load(nullptr, 0);
            if (media.Play() == 1) {
                media.Pause();
            }
            media.Unload();
            EXPECT_EQ(media.IsLoaded(), 0);
        },
        options);
    EXPECT_EQ(fatal, Lines({"FilterGraph.CreateInstance",
                            "graph.AddSourceFilter(test://host/clip.mkv, null)", "Source.EnumPins",
                            "Source.EnumPins.Next", "Source.Out1.QueryDirection",
                            "graph.Render(Source.Out1)", "graph.QueryInterface(IMediaControl)"}));
}

} // namespace
