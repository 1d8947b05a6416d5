// Copies and the end of a media item.

#include "media_fixture.h"

#include <thread>

using namespace media_tests;

namespace {

class MediaEnd : public MediaTest {};

TEST_F(MediaEnd, EveryWayOutReleasesInOrder) {
    class Watcher : public ymdshow::CMediaPlayer {
    public:
        using CMediaPlayer::m_medias;
    } player;
    const struct {
        const char* way;
        void (*leave)(std::unique_ptr<Media>& media);
        bool stops; ///< even when it does not play
        const char* log;
    } ways[] = {
        {"unload", [](std::unique_ptr<Media>& media) { EXPECT_EQ(media->Unload(), 1); }, false,
         "4 ymdshow::CMedia::Unload: UnloadMedia OK : test://host/clip.mkv"},
        {"path", [](std::unique_ptr<Media>& media) { EXPECT_EQ(media->SetMediaPath("u://b"), 1); },
         false, "4 ymdshow::CMedia::SetMediaPath: SetMediaPath : u://b"},
        {"destructor", [](std::unique_ptr<Media>& media) { media.reset(); }, true,
         "4 ymdshow::CMedia::~CMedia: CYMMedia Destroy : test://host/clip.mkv"},
    };
    for (const auto& way : ways) {
        for (const bool playing : {false, true}) {
            SCOPED_TRACE(way.way + std::string(playing ? ", playing" : ""));
            auto media = std::make_unique<Media>(&player);
            player.m_medias.push_back(media.get());
            Loaded(*media);
            ASSERT_EQ(media->TimeClip(10000000, 20000000), 1);
            ASSERT_EQ(playing ? media->Play() : 1, 1);
            journal.Clear();
            way.leave(media);
            // Once to stop, once more to restore the state after the clip is set again.
            EXPECT_EQ(journal.Count("control.Stop"), playing || way.stops ? 2U : 0U);
            EXPECT_TRUE(journal.InOrder(
                {"events.SetNotifyWindow(0, 0, 0)", "window.put_Visible(0)", "window.put_Owner(0)",
                 "graph.RemoveFilter(Source)", "config.EnumCacheFilter", "graph.EnumFilters",
                 "graph.RemoveFilter(AudioRenderer2)", "graph.RemoveFilter(VideoRenderer1)"}));
            EXPECT_EQ(log.Take().front(), way.log);
            EXPECT_EQ(ledger.Alive(), Lines());
            EXPECT_EQ(player.GetMediaNum(), media != nullptr ? 1U : 0U);
            if (media != nullptr) {
                EXPECT_EQ(media->IsLoaded(), 0);
                EXPECT_EQ(media->m_playState, 0);
                EXPECT_EQ(media->GetClipStartTime(), 10000000); // what the host chose stays
                EXPECT_EQ(media->GetClipEndTime(), 20000000);
            }
        }
    }
    EXPECT_EQ(graphs.Created(), 6U);
}

TEST_F(MediaEnd, UnloadedItemOnlyLogs) {
    {
        Media media(nullptr);
        EXPECT_EQ(media.Unload(), 1);
        EXPECT_EQ(log.Lines(), Lines());
    }
    EXPECT_EQ(log.Lines(), Lines({"4 ymdshow::CMedia::~CMedia: CYMMedia Destroy : "}));
    EXPECT_JOURNAL({});
}

TEST_F(MediaEnd, StopsOfAGraphThatRefusesDoNotKeepIt) {
    {
        Media media(nullptr);
        Loaded(media);
        ASSERT_EQ(media.Play(), 1);
        Graph().control.results["Stop"] = E_FAIL;
    }
    EXPECT_FALSE(log.Has("*_FreeDirectShow FAILED*"));
    EXPECT_EQ(ledger.Alive(), Lines());
}

TEST_F(MediaEnd, CopiesShareTheGraphWithoutAReferenceAndLockForThemselves) {
    Media media(nullptr);
    Loaded(media);
    media.TimeClip(10, 20);
    media.SetIsDecodeAudio(7);
    const ULONG references = Graph().Refs();
    // Released by the original: the copies are never destroyed.
    alignas(Media) std::byte room[2][sizeof(Media)];
    Media* const copies[] = {new (room[0]) Media(media), new (room[1]) Media(nullptr)};
    *copies[1] = media;
    for (Media* copy : copies) {
        EXPECT_EQ(copy->m_pGB, media.m_pGB);
        EXPECT_EQ(copy->m_pMediaControl, media.m_pMediaControl);
        EXPECT_EQ(copy->m_pSourceFilter, media.m_pSourceFilter);
        EXPECT_EQ(copy->m_usedFilters, media.m_usedFilters);
        EXPECT_EQ(copy->m_videoTracks, media.m_videoTracks);
        EXPECT_EQ(copy->GetMediaPath(), kPath);
        EXPECT_EQ(copy->m_videoInfos.size(), 1U);
        EXPECT_EQ(copy->GetClipEndTime(), 20);
        EXPECT_EQ(copy->IsDecodeAudio(), 7);
    }
    EXPECT_EQ(Graph().Refs(), references);
    const ymlib::CYMAutoLock lock(media.m_lock);
    std::thread([&] {
        EXPECT_EQ(copies[0]->IsReadyForPlay(), 1); // would wait for ever on a shared lock
        EXPECT_EQ(copies[1]->IsReadyForPlay(), 1);
    }).join();
}

} // namespace
