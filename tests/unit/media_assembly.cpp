// Which scheme filters a graph is built from, and how filters enter and leave it.

#include "media_graph.h"

#include <ymdshow/MediaPlayer.h>

using namespace media_tests;

namespace {

class MediaAssembly : public MediaGraphTest {
protected:
    const PinSpecs transform{In(fakes::Stream()), Out(fakes::Stream())};
};

TEST_F(MediaAssembly, SchemeNamesAreGatheredInOrder) {
    for (const char* type : {"test", "matroska", "mkv", "aac", "ac3", "h264", "audio_global",
                             "video_global", "unknown"}) {
        Describe(type, type, transform);
    }
    Describe("audio_global", "once", transform, nullptr, R"(,"IsOnlyOne":true)");
    const struct {
        const char* what;
        const char* path;
        const char* format; ///< of the media information, null without
        const char* video;  ///< a stream's, null without
        const char* audio;
        std::string lookedUp; ///< "?" behind a name without a scheme
        std::string filters;
    } cases[] = {
        {"all", "TEST://host/clip.MKV", "matroska", "h264", "aac",
         "test matroska mkv aac audio_global ac3 audio_global h264 video_global ",
         "test matroska mkv aac audio_global once ac3 audio_global h264 video_global "},
        {"no format", "no://x.mkv", nullptr, nullptr, nullptr, "no? mkv ", "mkv "},
        {"texts as they stand", "no://x.mkv", "Matroska", "H264", "",
         "no? Matroska? mkv ? audio_global ac3 audio_global H264? video_global ",
         "mkv audio_global once ac3 audio_global video_global "},
        {"nothing matches", "no://host/clip", "", nullptr, nullptr, "no? unknown ", "unknown "},
        {"not even an extension", "no://x.y", "z", nullptr, nullptr, "no? z? y? unknown ",
         "unknown "},
    };
    for (const auto& test : cases) {
        Media media(test.path, nullptr);
        media.Know(test.video ? Lines{test.video} : Lines(),
                   test.audio ? Lines{test.audio, "ac3"} : Lines());
        media.m_hasMediaFormat = test.format != nullptr;
        media.m_mediaFormat = test.format ? test.format : "matroska";
        EXPECT_EQ(media.Load(&scheme, 0), 1);
        std::string lookedUp;
        for (const auto& name : media.GetLoadReport().names) {
            lookedUp += std::string(name.name.begin(), name.name.end()) + (name.found ? " " : "? ");
        }
        EXPECT_EQ(lookedUp, test.lookedUp) << test.what;
        std::string filters;
        for (const auto& filter : media.GetLoadReport().filters) {
            filters += std::string(filter.name.begin(), filter.name.end()) + " ";
            EXPECT_TRUE(filter.created && filter.added && filter.role == DSFT_TRANSFORM);
        }
        EXPECT_EQ(filters, test.filters) << test.what;
    }

    // Without "unknown" nothing is made, and the graph goes on alone.
    scheme.UnloadScheme();
    Media media("no://x", nullptr);
    EXPECT_EQ(media.Load(&scheme, 1), 1);
    EXPECT_TRUE(media.GetLoadReport().filters.empty());
    EXPECT_EQ(media.GetLoadReport().attempts.front().way, 4);
}

TEST_F(MediaAssembly, PlayersSchemeServesForNone) {
    ymdshow::CMediaPlayer player;
    Describe("test", "T", {In(fakes::Video())});
    player.GetCoderScheme() = scheme;
    Media media(kPath, &player);
    EXPECT_EQ(media.Load(nullptr, 0), 1);
    EXPECT_TRUE(log.Has("4 ymdshow::CCoderScheme::LoadSchemeFilters: Load Filter OK : T"));
    EXPECT_FALSE(log.Has("*CoderScheme Is NULL"));
    EXPECT_EQ(Graph().Connections(),
              Lines({"Source.Out1 -> T.In1", "Source.Out2 -> AudioRenderer1.In1"}));
}

TEST_F(MediaAssembly, AddFilterTakesCacheOrGraph) {
    const struct {
        int cache;
        bool offered;
        HRESULT cached, added;
        int result;
        Lines calls;
    } cases[] = {
        {1, true, S_OK, S_OK, 1, {"config.AddFilterToCache(D)"}},
        {1, true, E_NOTIMPL, S_OK, 1, {"config.AddFilterToCache(D)", "graph.AddFilter(D, Dec)"}},
        {1, false, S_OK, S_OK, 1, {"graph.AddFilter(D, Dec)"}},
        {0, true, S_OK, S_OK, 1, {"graph.AddFilter(D, Dec)"}},
        {0, true, S_OK, VFW_S_DUPLICATE_NAME, 1, {"graph.AddFilter(D, Dec)"}},
        {1, true, E_FAIL, E_FAIL, 0, {"config.AddFilterToCache(D)", "graph.AddFilter(D, Dec)"}},
        {0, true, S_OK, E_FAIL, 0, {"graph.AddFilter(D, Dec)"}},
    };
    std::vector<IBaseFilter*> heard;
    Media media(nullptr);
    // Without a graph nothing is done.
    EXPECT_EQ(media._AddFilter(MakeFilter("D", transform).Get(), L"Dec", 1), 0);
    EXPECT_EQ(media._InitFilters(&scheme, 0), 0);
    EXPECT_EQ(journal.Lines(), Lines());
    media.SetAddFilterCallBack(
        [](IBaseFilter* filter, void* user) {
            static_cast<std::vector<IBaseFilter*>*>(user)->push_back(filter);
        },
        &heard);
    for (const auto& test : cases) {
        configure = [&](FakeGraph& graph) { graph.config.present = test.offered; };
        Loaded(media);
        EXPECT_EQ(heard.size(), 0U); // the graph's own filters are not reported
        EXPECT_EQ(media._AddFilter(nullptr, L"Dec", 1), 0);
        EXPECT_EQ(journal.Lines(), Lines());
        Graph().config.results["AddFilterToCache"] = test.cached;
        Graph().results["AddFilter"] = test.added;
        const ComPtr<FakeFilter> filter = MakeFilter("D", transform);
        EXPECT_EQ(media._AddFilter(filter.Get(), L"Dec", test.cache), test.result);
        EXPECT_EQ(Changes(), test.calls);
        EXPECT_EQ(heard, std::vector<IBaseFilter*>(test.result ? 1 : 0, filter.Get()));
        EXPECT_EQ(Warnings("_AddFilter"),
                  test.result ? Lines() : Lines({"AddFilter FAILED : D"})); // of "Dec"
        heard.clear();
        media.Unload();
    }
}

TEST_F(MediaAssembly, RemoveFilterUnlinksRemovesUncaches) {
    Media media(nullptr);
    Loaded(media);
    const ComPtr<FakeFilter> cached = MakeFilter("C", transform);
    ASSERT_EQ(media._AddFilter(cached.Get(), L"C", 1), 1);
    EXPECT_EQ(cached->OwnRefs(), 2U);
    journal.Clear();
    media._RemoveFilter(nullptr);
    EXPECT_EQ(journal.Lines(), Lines());
    media._RemoveFilter(cached.Get());
    EXPECT_EQ(journal.Matching("*.Remove*"),
              Lines({"graph.RemoveFilter(C)", "config.RemoveFilterFromCache(C)"}));
    EXPECT_EQ(cached->OwnRefs(), 1U);
    EXPECT_EQ(Warnings("_RemoveFilter"), Lines({"RemoveFilter FAILED"})); // it was in no graph

    journal.Clear();
    IBaseFilter* const renderer = Graph().Find("VideoRenderer1");
    media._RemoveFilter(renderer);
    EXPECT_TRUE(journal.InOrder({"VideoRenderer1.EnumPins", "graph.Disconnect(Source.Out1)",
                                 "graph.Disconnect(VideoRenderer1.In1)",
                                 "graph.RemoveFilter(VideoRenderer1)",
                                 "config.RemoveFilterFromCache(VideoRenderer1)"}));
    EXPECT_EQ(Warnings("_RemoveFilter"), Lines());
}

TEST_F(MediaAssembly, CachedFiltersEnterWhenRenderingUsesThem) {
    const auto coded = Major(MEDIATYPE_Stream);
    Describe("mkv", "S", {Out(coded)}, [](FakeFilter& filter) { filter.AcceptFiles(); });
    Describe("mkv", "Dec", {In(coded), Out(fakes::Video())}, nullptr, "");
    Describe("mkv", "Spare", {In(fakes::Text()), Out(fakes::Text())}, nullptr, "");
    Describe("mkv", "VR", {In(fakes::Video())});
    for (const int flag : {0, 1}) {
        // removeRefDelta: graph managers differ in what they do with the cache's reference.
        for (const int delta : {-1, 0, 1}) {
            configure = [&](FakeGraph& graph) { graph.config.removeRefDelta = delta; };
            Media media(nullptr);
            LoadWith(media, flag);
            EXPECT_EQ(Graph().Connections(), Lines({"Dec.Out1 -> VR.In1", "S.Out1 -> Dec.In1"}));
            EXPECT_EQ(Graph().FilterNames(), Lines({"Dec", "VR", "S"}));
            EXPECT_TRUE(Graph().config.Cached().empty());
            media.Unload();
            EXPECT_EQ(log.Count("8 *Warning!*"), 0U);
            EXPECT_EQ(ledger.Alive(), Lines());
        }
    }
    // A graph manager that has the interface and no cache behind it.
    configure = [&](FakeGraph& graph) { graph.config.RefuseCache(); };
    Media media(nullptr);
    LoadWith(media);
    EXPECT_EQ(Graph().Connections(), Lines({"Dec.Out1 -> VR.In1", "S.Out1 -> Dec.In1"}));
    EXPECT_EQ(Graph().FilterNames(), Lines({"VR", "Dec", "S"}));
}

} // namespace
