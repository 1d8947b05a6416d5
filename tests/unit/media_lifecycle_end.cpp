// Copies and the end of a media item.

#include "media_fixture.h"

#include <thread>

using namespace media_tests;

namespace {

class MediaEnd : public MediaTest {};

TEST_F(MediaEnd, DestructorStopsUnloadsTellsAndLogs) {
    class Watcher : public ymdshow::CMediaPlayer {
    public:
        using CMediaPlayer::m_medias;
    } player;
    auto* const media = new Media(&player);
    player.m_medias.push_back(media);
    Loaded(*media);
    ASSERT_EQ(media->Play(), 1);
    journal.Clear();
    delete media;
    EXPECT_TRUE(journal.InOrder({"control.Stop", "seeking.SetPositions(0, 1, null, 0)",
                                 "window.put_Owner(0)", "graph.RemoveFilter(Source)",
                                 "graph.RemoveFilter(AudioRenderer2)"}));
    EXPECT_EQ(journal.Count("control.Stop"), 1U);
    EXPECT_EQ(player.GetMediaNum(), 0U);
    EXPECT_EQ(log.Lines(),
              Lines({"4 ymdshow::CMedia::~CMedia: CYMMedia Destroy : test://host/clip.mkv"}));
    EXPECT_EQ(ledger.Alive(), Lines());
}

TEST_F(MediaEnd, UnloadedItemOnlyLogs) {
    { const Media media(nullptr); }
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

/// Everything that refers to the graph, forgotten without releasing it.
void Disown(Media& media) {
    media.m_pGB = nullptr;
    media.m_pGraphConfig = nullptr;
    media.m_pMediaControl = nullptr;
    media.m_pMediaFilter = nullptr;
    media.m_pMediaSeeking = nullptr;
    media.m_pBasicVideo = nullptr;
    media.m_pMediaEvent = nullptr;
    media.m_pVideoWindow = nullptr;
    media.m_pSourceFilter = nullptr;
    media.m_usedFilters.clear();
    media.m_videoTracks.clear();
    media.m_audioTracks.clear();
}

TEST_F(MediaEnd, CopiesShareTheGraphWithoutAReference) {
    Media media(nullptr);
    Loaded(media);
    media.TimeClip(10, 20);
    media.SetIsDecodeAudio(7);
    const ULONG references = Graph().Refs();
    Media copy(media);
    Media assigned(nullptr);
    assigned = media;
    for (Media* other : {&copy, &assigned}) {
        EXPECT_EQ(other->m_pGB, media.m_pGB);
        EXPECT_EQ(other->m_pMediaControl, media.m_pMediaControl);
        EXPECT_EQ(other->m_pSourceFilter, media.m_pSourceFilter);
        EXPECT_EQ(other->m_usedFilters, media.m_usedFilters);
        EXPECT_EQ(other->m_videoTracks, media.m_videoTracks);
        EXPECT_EQ(other->m_playState, media.m_playState);
        EXPECT_EQ(other->GetMediaPath(), kPath);
        EXPECT_EQ(other->GetFileExt(), "mkv");
        EXPECT_EQ(other->m_videoInfos.size(), 1U);
        EXPECT_EQ(other->GetClipStartTime(), 10);
        EXPECT_EQ(other->GetClipEndTime(), 20);
        EXPECT_EQ(other->IsDecodeAudio(), 7);
        EXPECT_EQ(other->IsReadyForPlay(), 1);
    }
    EXPECT_EQ(Graph().Refs(), references);
    Disown(copy);
    Disown(assigned);
}

TEST_F(MediaEnd, CopiesLockForThemselves) {
    Media media(kPath, nullptr);
    const ymlib::CYMAutoLock lock(media.m_lock);
    Media copy(media);
    Media assigned(nullptr);
    assigned = media;
    std::thread([&] {
        EXPECT_EQ(copy.IsLoaded(), 0); // would wait for ever on a shared lock
        EXPECT_EQ(assigned.IsLoaded(), 0);
    }).join();
}

} // namespace
