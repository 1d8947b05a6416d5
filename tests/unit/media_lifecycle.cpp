// A media item's life: its path, loading and unloading, its end, copies; the player's list.

#include "media_fixture.h"

#include <thread>

using namespace media_tests;
using ymdshow::CMedia;

namespace {

class MediaLifecycle : public MediaTest {};

Lines PathFacts(const Media& media) {
    return {media.GetMediaPath(), media.m_urlProtocol, media.GetFileExt(),
            media.IsMediaPathURL() ? "URL" : "file"};
}

TEST_F(MediaLifecycle, PathGivesProtocolAndExtension) {
    const char* const urls[][3] = {
        {"Scheme://host/a.B/c", "scheme", "b/c"},
        {"a:B://c.d", "a", "d"},
        {"://x", "", ""},
        {"u://host/x.MP4?q=1.5", "u", "5"},
        {"u://.hidden.", "u", ""},
        // A byte from 129 on takes the next one with it, whatever that is.
        {"u://x.a\x81.b", "u", "a\x81.b"},
        {"u://x\x80.a", "u", "a"},
        {"u://x\x81\x81.a", "u", "a"},
        {"u://x.a\xFF", "u", "a\xFF"},
    };
    Media media(nullptr);
    for (const auto& [path, protocol, extension] : urls) {
        EXPECT_EQ(media.SetMediaPath(path), 1);
        EXPECT_EQ(PathFacts(media), Lines({path, protocol, extension, "URL"}));
    }
    ScratchDirectory scratch;
    const std::pair<const wchar_t*, const char*> files[] = {
        {L"dir.old\\movie", "old\\movie"},
        {L"\u7535\u5F71.MKV", "mkv"}}; // within code page 936 only
    for (const auto& [name, extension] : files) {
        const std::string path = Gbk(scratch.Touch(name).wstring());
        EXPECT_EQ(media.SetMediaPath("test://old.url"), 1);
        EXPECT_EQ(media.SetMediaPath(path), 1);
        EXPECT_EQ(PathFacts(media), Lines({path, "", extension, "file"}));
    }
    EXPECT_EQ(media.SetMediaPath(Gbk(scratch.Path().wstring())), 1); // a directory passes

    // One that is refused changes nothing but a flag.
    Loaded(media);
    EXPECT_EQ(media.SetMediaPath(""), 0);
    EXPECT_EQ(PathFacts(media), Lines({kPath, "test", "mkv", "URL"}));
    EXPECT_EQ(media.SetMediaPath("C:\\no\\such.avi"), 0);
    EXPECT_EQ(PathFacts(media), Lines({kPath, "test", "mkv", "file"}));
    EXPECT_EQ(media.IsReadyForPlay(), 1);
    EXPECT_EQ(log.Lines(), Lines());
    EXPECT_JOURNAL({});
}

TEST_F(MediaLifecycle, LoadTakesItsStepsInOrder) {
    ymdshow::CMediaPlayer player;
    Media media("", &player);
    EXPECT_EQ(media.Load(nullptr, 0), 0);
    EXPECT_HR(E_INVALIDARG, media.GetLoadReport().failureResult);
    EXPECT_EQ(media.Unload(), 1);
    EXPECT_EQ(log.Lines(), Lines());
    EXPECT_EQ(media.SetMediaPath(kPath), 1);
    journal.SetKinds(kCall | kQueryCall);
    EXPECT_EQ(media.Load(nullptr, 0), 1);
    EXPECT_EQ(media.IsLoaded() + media.IsReadyForPlay() + media.IsAllFilterLinked(), 3);
    EXPECT_TRUE(log.Records().front().source.ends_with("YMMedia"));
    EXPECT_EQ(log.Take(),
              Lines({"4 ymdshow::CMedia::SetMediaPath: SetMediaPath : test://host/clip.mkv",
                     "8 ymdshow::CMedia::_ReadInfoByMediaIfo: Load MediaInfo DLL Failed",
                     "4 ymdshow::CMedia::Load: Loading Media : test://host/clip.mkv",
                     "8 ymdshow::CMedia::_ReadInfoByMediaIfo: Load MediaInfo DLL Failed",
                     "4 ymdshow::CMedia::Load: LoadMedia OK : test://host/clip.mkv"}));
    EXPECT_TRUE(journal.InOrder(
        {"FilterGraph.CreateInstance", "graph.QueryInterface(IGraphConfig)",
         "graph.AddSourceFilter(test://host/clip.mkv, null)", "graph.Render(Source.Out1)",
         "config.EnumCacheFilter", "Source.QueryInterface(IAMStreamSelect)",
         "graph.QueryInterface(IMediaControl)", "graph.QueryInterface(IVideoWindow)",
         "video.get_SourceWidth", "seeking.GetDuration", "graph.SetDefaultSyncSource",
         "window.put_Owner(0)"}));
    journal.Clear();
    EXPECT_EQ(media.Load(nullptr, 1), 1); // it is loaded
    EXPECT_EQ(log.Lines(), Lines());
    EXPECT_JOURNAL({});
}

TEST_F(MediaLifecycle, FailuresAreNamedAndNoObstacleToTheNextLoad) {
    const std::pair<HRESULT, std::string> creations[] = {
        {REGDB_E_CLASSNOTREG, "80040154, REGDB_E_CLASSNOTREG"},
        {CLASS_E_NOAGGREGATION, "80040110, CLASS_E_NOAGGREGATION "},
        {E_NOINTERFACE, "80004002, E_NOINTERFACE"},
        {E_OUTOFMEMORY, "8007000e, Unknown Error"},
    };
    Media media(kPath, nullptr);
    for (const auto& [result, name] : creations) {
        graphs.FailNext(result);
        EXPECT_EQ(media.Load(nullptr, 0) + media.IsLoaded(), 0);
        EXPECT_HR(result, media.GetLoadReport().failureResult);
        EXPECT_TRUE(log.Has("8 ymdshow::CMedia::_InitDirectShow: CoCreateInstance CLSID_FilterGraph"
                            " Failed: " +
                            name));
        EXPECT_EQ(log.Take().back(),
                  "16 ymdshow::CMedia::Load: m_pGB is NULL And _InitDirectShow Failed");
    }
    configure = [](FakeGraph& graph) { graph.makeSource = nullptr; };
    EXPECT_EQ(media.Load(nullptr, 0) + media.IsReadyForPlay(), 0);
    EXPECT_EQ(log.Take().back(), "8 ymdshow::CMedia::Load: _InitFilters Failed");
    EXPECT_EQ(media.IsLoaded(), 1);
    EXPECT_EQ(media.Load(nullptr, 0), 0); // the same graph again
    EXPECT_EQ(log.Take(), Lines({"8 ymdshow::CMedia::Load: m_pGB is NULL Or m_isAllFilterLinked "
                                 "False"}));
    EXPECT_HR(VFW_E_UNKNOWN_FILE_TYPE, media.GetLoadReport().failureResult); // the first reason
    // The source filter is left for the next path or load to give back.
    configure = [](FakeGraph& graph) { graph.control.present = false; };
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(media.SetMediaPath(kPath), 1);
        EXPECT_EQ(media.m_pSourceFilter, nullptr);
        EXPECT_EQ(media.Load(nullptr, 0) + media.IsLoaded(), 0);
        EXPECT_NE(media.m_pSourceFilter, nullptr);
        EXPECT_HR(E_NOINTERFACE, media.GetLoadReport().failureResult);
    }
    // Interfaces that a graph may lack, and a picture without a size.
    sourcePins = {Out(fakes::Video(0, 0))};
    for (const bool hasVideo : {true, false}) {
        configure = [=](FakeGraph& graph) {
            graph.config.present = graph.seeking.present = false;
            graph.video.present = hasVideo;
            graph.video.source = {};
        };
        EXPECT_TRUE(media.SetMediaPath(hasVideo ? "u://b" : "u://c") && !media.IsLiveStream());
        EXPECT_TRUE(media.Load(nullptr, 0) && media.GetDisplayAspectRatio() == 1.0F);
        EXPECT_TRUE(media.GetLoadReport().attempts.size() == 2 && media.IsLiveStream());
    }
}

TEST_F(MediaLifecycle, FactsAreThoseOfTheFileAndTheGraphAtHand) {
    const auto known = [](const Media& media) {
        return std::tuple(media.GetVideoOriginalWidth(), media.GetVideoOriginalHeight(),
                          media.GetVideoOiginalAvgFrameTime(), media.GetDisplayRotation(),
                          media.GetDisplayAspectRatio(), media.IsEnableDisplayAspectRatio(),
                          media.GetOriginalDuration(), media.m_durationBySeeking,
                          media.m_frameCount, media.IsLiveStream(), media.GetClipEndTime(),
                          media.m_audioInfos.size());
    };
    for (const auto& [ratio, enabled, valid] : // beyond 0.048 from width / height, and 0.1
         {std::tuple(-1.0F, false, false), {2.09F, true, false}, {1.89F, true, true}}) {
        Media media(kPath, nullptr);
        media.Know({"h264"}, {});
        ymdshow::VideoInfo& record = media.m_videoInfos.front();
        record.width = 800;
        record.height = 400;
        record.displayAspectRatio = ratio;
        record.rotation = 90.0F;
        record.avgFrameTime = enabled ? 333333 : 0;
        EXPECT_EQ(record.IsDisplayAspectRatioVaild(), valid);
        media.m_enableDisplayAspectRatio = !enabled;
        const auto load = [&](bool full) {
            sourcePins.front() = Out(fakes::Video(640, 360, 0)); // no frame time
            sourcePins.resize(full ? 2 : 1, Out(fakes::Audio(44100)));
            configure = [full](FakeGraph& graph) {
                graph.video.present = false;
                graph.seeking.present = full;
                graph.seeking.SupportFrames();
            };
            media.Unload();
            EXPECT_EQ(media.Load(nullptr, 0), 1);
            return known(media);
        };
        const auto full = load(true);
        EXPECT_EQ(full,
                  std::tuple(800, 400, enabled ? 333333 : 400000, 90.0F, ratio > 0 ? ratio : 2.0F,
                             enabled, 100000000, 100000000, 250, false, 100000000, 1U));
        // What a graph does not tell stays as it was, with the same path too.
        EXPECT_EQ(load(false), full);
        EXPECT_EQ(log.Count("*Load MediaInfo DLL Failed"), 1U); // for the path alone
        EXPECT_EQ(media.SetMediaPath(kPath), 1);
        EXPECT_EQ(known(media), full);
        EXPECT_EQ(load(false), full);
        EXPECT_EQ(media.SetMediaPath("u://b"), 1);
        EXPECT_EQ(known(media), known(Media("u://b", nullptr)));
        log.Clear();
    }
}

TEST_F(MediaLifecycle, WhatTheHostChoseIsAppliedAgainAndOutlivesThePath) {
    Media media(nullptr);
    Loaded(media);
    ASSERT_EQ(media.SetVolume(-10000L), 1); // counts as muted
    media.SetAmain(1);
    media.SetPlayWindow(GetDesktopWindow());
    int clipHeight = 0;
    const std::pair<std::int64_t, std::int64_t> clips[] = {
        {10000000, 20000000}, {10000000, 100000000}, {0, 20000000}};
    for (const auto& [start, end] : clips) {
        ASSERT_EQ(media.TimeClip(start, end), 1);
        EXPECT_EQ(media.SetMediaPath("u://b") + media.SetMediaPath(kPath), 2);
        EXPECT_EQ(media.GetClipEndTime(), end);
        EXPECT_EQ(media.m_videoDisplayRange[3], 0); // that was the picture's
        EXPECT_EQ(std::exchange(clipHeight, 80), media.m_videoClipRange[3]);
        media.SetVideoClipRange(2, 4, 60, clipHeight);
        journal.Clear();
        ASSERT_EQ(media.Load(nullptr, 0), 1);
        EXPECT_TRUE(journal.InOrder({"seeking.SetPositions(" + std::to_string(start) + ", 1, *",
                                     "audio.put_Volume(-10000)", "mediaFilter.SetSyncSource(null)",
                                     "window.put_MessageDrain(*)", "window.put_Visible(-1)"}));
    }

    // A volume that is not muted is not sent again, a whole clip is not set.
    ASSERT_EQ(media.SetVolume(-500L), 1);
    ASSERT_EQ(media.TimeClip(0, 0), 1);
    media.Unload();
    journal.Clear();
    ASSERT_EQ(media.Load(nullptr, 0), 1);
    EXPECT_EQ(media.m_volume, -500);
    EXPECT_EQ(journal.Count("audio.*") + journal.Count("seeking.SetPositions*"), 0U);

    // A graph that was unlinked is linked again.
    ASSERT_EQ(media.UnlinkAllFilter(), 1);
    Graph().results["Render"] = VFW_E_CANNOT_CONNECT;
    EXPECT_EQ(media.Load(nullptr, 0), 0);
    EXPECT_HR(VFW_E_CANNOT_CONNECT, media.GetLoadReport().failureResult);
    Graph().results.Clear();
    EXPECT_EQ(media.Load(nullptr, 0), 1);
    EXPECT_EQ(log.Take().back(), "4 ymdshow::CMedia::Load: LoadMedia OK : test://host/clip.mkv");
    EXPECT_EQ(media.GetLoadReport().failure, L"");
    EXPECT_HR(S_OK, media.GetLoadReport().failureResult);
}

TEST_F(MediaLifecycle, EveryWayOutReleasesInOrder) {
    for (const std::string state : {"stopped", "playing", "refusing to stop"}) {
        for (const char* way :
             {"Unload: UnloadMedia OK : test://host/clip.mkv", "SetMediaPath: SetMediaPath : u://b",
              "~CMedia: CYMMedia Destroy : test://host/clip.mkv"}) {
            SCOPED_TRACE(state + ", " + way);
            auto media = std::make_unique<Media>(nullptr);
            Loaded(*media);
            ASSERT_EQ(state[0] != 's' ? media->Play() : 1, 1);
            Graph().control.results["Stop"] = state[0] == 'r' ? E_FAIL : S_OK;
            journal.Clear();
            if (*way == '~') {
                media.reset();
            } else {
                EXPECT_EQ(*way == 'U' ? media->Unload() : media->SetMediaPath("u://b"), 1);
                EXPECT_EQ(media->IsLoaded() + media->m_playState, 0);
            }
            EXPECT_EQ(journal.Count("control.Stop") > 0, state[0] != 's' || media == nullptr);
            EXPECT_TRUE(journal.InOrder(
                {"events.SetNotifyWindow(0, 0, 0)", "window.put_Visible(0)", "window.put_Owner(0)",
                 "graph.RemoveFilter(Source)", "config.EnumCacheFilter", "graph.EnumFilters",
                 "graph.RemoveFilter(AudioRenderer2)", "graph.RemoveFilter(VideoRenderer1)"}));
            EXPECT_EQ(log.Take().front(), std::string("4 ymdshow::CMedia::") + way);
            EXPECT_EQ(ledger.Alive(), Lines());
        }
    }
}

TEST_F(MediaLifecycle, CopiesShareTheGraphWithoutAReferenceAndLockForThemselves) {
    Media media(nullptr);
    Loaded(media);
    const ULONG references = Graph().Refs();
    // Released by the original: the copies are never destroyed.
    alignas(Media) std::byte room[2][sizeof(Media)];
    Media* const copies[] = {new (room[0]) Media(media), new (room[1]) Media(nullptr)};
    *copies[1] = media;
    const ymlib::CYMAutoLock lock(media.m_lock);
    for (Media* copy : copies) {
        EXPECT_EQ(copy->m_pGB, media.m_pGB);
        // It would wait for ever on a shared lock.
        std::thread([copy] { EXPECT_EQ(copy->IsReadyForPlay(), 1); }).join();
    }
    EXPECT_EQ(Graph().Refs(), references);
}

using Items = std::vector<CMedia*>;

class Player : public MediaTest {
protected:
    /// Adds an unloaded item for each path; gives the list.
    Items Add(OpenPlayer& player, const Lines& paths) {
        for (const std::string& path : paths) {
            player.AddMedia(path, 0);
        }
        log.Clear();
        return player.m_medias;
    }
    /// What the ends of items with these paths log.
    static Lines Ends(Lines paths) {
        for (std::string& path : paths) {
            path.insert(0, "4 ymdshow::CMedia::~CMedia: CYMMedia Destroy : ");
        }
        return paths;
    }
};

TEST_F(Player, AddsFindsAndLoadsWithItsOwnSchemes) {
    OpenPlayer player;
    EXPECT_EQ(player.AddMedia("", 1), nullptr);
    EXPECT_EQ(player.AddMedia("C:\\no\\such.file", 0), nullptr);
    EXPECT_EQ(log.Take(), Ends({""}));
    CMedia* const later = player.AddMedia("u://a", 0);
    EXPECT_EQ(log.Lines().back(), "4 ymdshow::CMediaPlayer::AddMedia: AddMedia : u://a");
    EXPECT_TRUE(log.Records().back().source.ends_with("YMMediaPlayer"));
    CMedia* const loaded = player.AddMedia(kPath, 1);
    EXPECT_EQ(loaded->IsReadyForPlay() - later->IsLoaded(), 1);
    Media foreign(kPath, nullptr);
    EXPECT_TRUE(player.LoadMedia(&foreign));
    EXPECT_FALSE(log.Has("*CoderScheme Is NULL"));
    EXPECT_FALSE(player.LoadMedia(nullptr));
    graphs.FailNext(E_OUTOFMEMORY);
    EXPECT_FALSE(player.LoadMedia(Add(player, {"u://c"}).back()));
    graphs.FailNext(REGDB_E_CLASSNOTREG);
    EXPECT_EQ(player.AddMedia("u://b", 1), nullptr);
    EXPECT_EQ(log.Take().back(), Ends({"u://b"}).front());
    EXPECT_EQ(player.GetMediaNum(), 3U);
    EXPECT_EQ(player.GetMedia(1), loaded);
    EXPECT_EQ(player.GetMedia(3), nullptr);
}

TEST_F(Player, RemovesByPathIndexPointerAndWhenDeleted) {
    OpenPlayer player;
    CMedia* const none = nullptr;
    const std::string path = "u://a/longer than what a string keeps in itself";
    ASSERT_FALSE(player.RemoveMedia(path) || player.RemoveMedia(none));
    const Items items = Add(player, {path, path, "u://A", "u://b", path, "u://c", "u://d"});
    ASSERT_FALSE(player.RemoveMedia(std::string("u://")));
    ASSERT_TRUE(player.RemoveMedia(items[0]->GetMediaPath())); // a text that dies on the way
    ASSERT_EQ(log.Take(), Ends({path, path, path}));
    ASSERT_FALSE(player.RemoveMedia(4U));
    ASSERT_TRUE(player.RemoveMedia(1U));
    ASSERT_EQ(log.Take(), Ends({"u://b"}));
    ASSERT_EQ(player.m_medias, Items({items[2], items[5], items[6]}));
    // The first slot goes, whose item lives on; the item's own slot still holds its pointer.
    ASSERT_TRUE(player.RemoveMedia(items[6]));
    ASSERT_EQ(log.Take(), Ends({"u://d"}));
    ASSERT_EQ(player.m_medias, Items({items[5], items[6]}));
    player.m_medias.pop_back();
    delete items[2]; // asks a player that does not list it
    CMedia* const last = Add(player, {"u://e"}).back();
    delete items[5];
    ASSERT_EQ(player.m_medias, Items({last}));
    player.m_medias.push_back(last);
    ASSERT_FALSE(player.RemoveMedia(none)); // overwrites every slot
    ASSERT_EQ(player.m_medias, Items({nullptr, nullptr}));
    delete last;
    ASSERT_FALSE(player.RemoveMedia(std::string("u://e")));
    ASSERT_TRUE(player.RemoveMedia(0U));
    player.RemoveAllMedias();
    ASSERT_EQ(player.GetMediaNum(), 0U);

    Media stranger(&player);
    player._NotifyMediaDestroy(&stranger);
    EXPECT_EQ(stranger.m_pMediaPlayer, &player) << "it is not listed";
    player.m_medias.push_back(&stranger);
    player._NotifyMediaDestroy(&stranger);
    EXPECT_TRUE(player.m_medias.empty() && stranger.m_pMediaPlayer == nullptr);
}

TEST_F(Player, FilesThatLookTheSameInTheCodePageStayTwo) {
    OpenPlayer player;
    const ScratchDirectory scratch;
    const std::wstring first = scratch.Touch(L"\xD55C.mkv").wstring();
    const std::wstring second = scratch.Touch(L"\xAD6D.mkv").wstring();
    std::wstring opened;
    configure = [&](FakeGraph& graph) {
        graph.makeSource = [&](const std::wstring& path) {
            opened = path;
            return MakeFilter("Source", sourcePins);
        };
    };
    CMedia* const media = player.AddMedia(first, 1);
    ASSERT_TRUE(media != nullptr && player.AddMedia(second, 0) != nullptr);
    EXPECT_EQ(opened, first);
    EXPECT_EQ(media->GetMediaPathW(), first);
    const std::string narrow = media->GetMediaPath();
    EXPECT_EQ(player.GetMedia(1)->GetMediaPath(), narrow);
    EXPECT_FALSE(player.RemoveMedia(narrow));
    EXPECT_TRUE(player.RemoveMedia(second) && !player.RemoveMedia(second));
    EXPECT_EQ(media->SetMediaPath(second), 1); // another file, which is not loaded
    EXPECT_TRUE(media->IsLoaded() == 0 && media->GetAudioTrackNum() == 0);
    EXPECT_EQ(player.AddMedia(first + L"x", 1), nullptr);
    EXPECT_HR(player.GetLastLoadReport().failureResult, HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
}

TEST_F(Player, ItemsLeaveTheListBeforeTheyEnd) {
    OpenPlayer player;
    const std::function<void()> ways[] = {
        [&] { player.RemoveMedia(std::string(kPath)); }, [&] { player.RemoveMedia(0U); },
        [&] { player.RemoveMedia(player.GetMedia(0)); }, [&] { player.RemoveAllMedias(); }};
    for (int i = 0; i < 16; ++i) { // a way, and in the midst of it another
        SCOPED_TRACE(i);
        for (int items = 0; items < 3; ++items) {
            ASSERT_NE(player.AddMedia(kPath, 1), nullptr);
        }
        CMedia* const first = player.GetMedia(0);
        log.Clear();
        const Midst midst("window.put_Owner(0)", [&](auto) {
            ASSERT_EQ(std::count(player.m_medias.begin(), player.m_medias.end(), first), 0);
            ways[i % 4]();
        });
        ways[i / 4]();
        EXPECT_EQ(log.Count("*CYMMedia Destroy*") + player.GetMediaNum(), 3U);
        player.RemoveAllMedias();
        EXPECT_EQ(log.Count("*CYMMedia Destroy*"), 3U);
    }
}

TEST_F(Player, CopiesListTheSameItemsWhichGoInOrderWithTheLastOne) {
    auto player = std::make_unique<OpenPlayer>();
    Items items = Add(*player, {"u://a", "u://b"});
    items.push_back(player->AddMedia(kPath, 1));
    const std::string script = R"({"Schemes": [{"Type": "mkv", "Filters": []}]})";
    EXPECT_TRUE(player->GetCoderScheme().LoadSchemeByScript(script, 1));
    {
        OpenPlayer copies[] = {*player, {}};
        copies[1] = *player;
        for (OpenPlayer& copy : copies) {
            EXPECT_EQ(std::exchange(copy.m_medias, {}), items); // only one may delete them
            EXPECT_TRUE(copy.GetCoderScheme().FindScheme(std::string("mkv"), nullptr));
        }
    }
    Lines ends = Ends({"u://a", "u://b", kPath});
    ends.push_back("4 ymdshow::CMediaPlayer::~CMediaPlayer: CMediaPlayer Destroy");
    log.Clear();
    player.reset();
    EXPECT_EQ(log.Take(), ends);
}

} // namespace
