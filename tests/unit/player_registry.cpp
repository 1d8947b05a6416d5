// The player's list of media items.

#include "media_fixture.h"

using namespace media_tests;
using ymdshow::CMedia;

namespace {

class OpenPlayer : public ymdshow::CMediaPlayer {
public:
    using CMediaPlayer::_NotifyMediaDestroy;
    using CMediaPlayer::m_medias;
};

class Player : public MediaTest {
protected:
    /// Adds an unloaded item for each path.
    std::vector<CMedia*> Add(ymdshow::CMediaPlayer& player,
                             std::initializer_list<const char*> paths) {
        std::vector<CMedia*> added;
        for (const char* path : paths) {
            added.push_back(player.AddMedia(path, 0));
        }
        log.Clear();
        return added;
    }
    /// Paths of the items destroyed since the last look, in order.
    Lines Destroyed() {
        const std::string prefix = "4 ymdshow::CMedia::~CMedia: CYMMedia Destroy : ";
        Lines paths;
        for (const std::string& line : log.Take()) {
            if (line.starts_with(prefix)) {
                paths.push_back(line.substr(prefix.size()));
            }
        }
        return paths;
    }
};

TEST_F(Player, AddsListsAndFinds) {
    OpenPlayer player;
    CMedia* const first = player.AddMedia("u://a", 0);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->IsLoaded(), 0);
    EXPECT_EQ(log.Lines().back(), "4 ymdshow::CMediaPlayer::AddMedia: AddMedia : u://a");
    EXPECT_TRUE(log.Records().back().source.ends_with("YMMediaPlayer"));
    log.Clear();
    for (const int load : {0, 1}) {
        EXPECT_EQ(player.AddMedia("", load), nullptr);
        EXPECT_EQ(log.Take(), Lines());
        EXPECT_EQ(player.AddMedia("C:\\no\\such.file", load), nullptr);
        EXPECT_EQ(log.Take(), Lines({"4 ymdshow::CMedia::~CMedia: CYMMedia Destroy : "}));
    }
    CMedia* const second = player.AddMedia("u://b", 0);
    EXPECT_EQ(player.GetMediaNum(), 2U);
    EXPECT_EQ(player.GetMedia(0), first);
    EXPECT_EQ(player.GetMedia(1), second);
    EXPECT_EQ(player.GetMedia(2), nullptr);
}

TEST_F(Player, LoadsWithItsOwnSchemesAndDropsWhatDoesNotLoad) {
    OpenPlayer player;
    CMedia* const loaded = player.AddMedia(kPath, 1);
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(loaded->IsReadyForPlay(), 1);
    CMedia* const later = player.AddMedia(kPath, 0);
    EXPECT_TRUE(player.LoadMedia(later));
    EXPECT_EQ(later->IsReadyForPlay(), 1);
    EXPECT_FALSE(log.Has("*CoderScheme Is NULL"));

    EXPECT_FALSE(player.LoadMedia(nullptr));
    graphs.FailNext(E_OUTOFMEMORY);
    EXPECT_FALSE(player.LoadMedia(Add(player, {"u://a"}).front()));
    graphs.FailNext(REGDB_E_CLASSNOTREG);
    EXPECT_EQ(player.AddMedia("u://b", 1), nullptr);
    EXPECT_EQ(player.GetMediaNum(), 3U);
    EXPECT_EQ(Destroyed(), Lines({"u://b"}));
}

TEST_F(Player, RemovesByPathAndByIndex) {
    OpenPlayer player;
    const char* const path = "u://a/longer than what a string keeps in itself";
    EXPECT_FALSE(player.RemoveMedia(std::string(path)));
    const auto items = Add(player, {path, path, "u://A", "u://b", path, "u://c"});
    EXPECT_FALSE(player.RemoveMedia(std::string("u://")));
    EXPECT_TRUE(player.RemoveMedia(items[0]->GetMediaPath())); // a text that dies on the way
    EXPECT_EQ(Destroyed(), Lines({path, path, path}));
    EXPECT_EQ(player.m_medias, std::vector<CMedia*>({items[2], items[3], items[5]}));
    EXPECT_FALSE(player.RemoveMedia(3U));
    EXPECT_TRUE(player.RemoveMedia(1U));
    EXPECT_EQ(Destroyed(), Lines({"u://b"}));
    EXPECT_EQ(player.m_medias, std::vector<CMedia*>({items[2], items[5]}));
}

TEST_F(Player, RemovalByPointerTakesTheFirstSlot) {
    OpenPlayer player;
    EXPECT_FALSE(player.RemoveMedia(static_cast<CMedia*>(nullptr)));
    const auto items = Add(player, {"u://a", "u://b", "u://c"});
    EXPECT_TRUE(player.RemoveMedia(items[2]));
    EXPECT_EQ(Destroyed(), Lines({"u://c"}));
    // Slot 0 is gone, whose item lives on; the item's own slot still holds its pointer.
    EXPECT_EQ(player.m_medias, std::vector<CMedia*>({items[1], items[2]}));
    player.m_medias.pop_back();
    delete items[0]; // asks a player that does not list it
    EXPECT_EQ(Destroyed(), Lines({"u://a"}));
    EXPECT_EQ(player.m_medias, std::vector<CMedia*>({items[1]}));
    EXPECT_TRUE(player.RemoveMedia(new CMedia("u://x", nullptr))); // an item of nobody
    EXPECT_EQ(Destroyed(), Lines({"u://x"}));
    EXPECT_EQ(player.GetMediaNum(), 0U);
    delete items[1];
}

TEST_F(Player, RemovalOfNullClearsEverySlot) {
    OpenPlayer player;
    const auto items = Add(player, {"u://a", "u://b"});
    EXPECT_FALSE(player.RemoveMedia(static_cast<CMedia*>(nullptr)));
    EXPECT_EQ(player.m_medias, std::vector<CMedia*>(2, nullptr));
    EXPECT_EQ(Destroyed(), Lines());
    EXPECT_FALSE(player.RemoveMedia(std::string("u://a")));
    delete items[0];
    delete items[1];
    EXPECT_EQ(player.GetMediaNum(), 2U);
    EXPECT_TRUE(player.RemoveMedia(0U));
    player.RemoveAllMedias();
    EXPECT_EQ(player.GetMediaNum(), 0U);
}

TEST_F(Player, ForgetsAnItemThatIsDeleted) {
    OpenPlayer player;
    const auto items = Add(player, {"u://a", "u://b", "u://c"});
    delete items[1];
    EXPECT_EQ(player.m_medias, std::vector<CMedia*>({items[0], items[2]}));

    Media stranger(&player);
    player._NotifyMediaDestroy(&stranger);
    EXPECT_EQ(stranger.m_pMediaPlayer, &player);
    player.m_medias.push_back(&stranger);
    player._NotifyMediaDestroy(&stranger);
    EXPECT_EQ(stranger.m_pMediaPlayer, nullptr);
    EXPECT_EQ(player.GetMediaNum(), 2U);
}

TEST_F(Player, DeletesItsItemsInOrder) {
    {
        OpenPlayer player;
        Add(player, {"u://a", "u://b"});
        ASSERT_NE(player.AddMedia(kPath, 1), nullptr);
        player.RemoveAllMedias();
        EXPECT_EQ(player.GetMediaNum(), 0U);
        EXPECT_EQ(Destroyed(), Lines({"u://a", "u://b", kPath}));
        Add(player, {"u://c", "u://d"});
    }
    EXPECT_EQ(log.Lines().back(), "4 ymdshow::CMediaPlayer::~CMediaPlayer: CMediaPlayer Destroy");
    EXPECT_EQ(Destroyed(), Lines({"u://c", "u://d"}));
}

TEST_F(Player, CopiesListTheSameItems) {
    OpenPlayer player;
    const auto items = Add(player, {"u://a", "u://b"});
    ASSERT_TRUE(
        player.GetCoderScheme().LoadSchemeByScript(R"({"Schemes": [{"Type": "mkv", "Filters": [
        {"Name": "A", "CLSID": "{E1000001-0000-0000-0000-000000000001}"}]}]})",
                                                   1));
    {
        OpenPlayer copy(player);
        OpenPlayer assigned;
        assigned = player;
        for (OpenPlayer* other : {&copy, &assigned}) {
            EXPECT_EQ(other->m_medias, items);
            EXPECT_TRUE(other->GetCoderScheme().FindScheme(std::string("mkv"), nullptr));
            other->m_medias.clear(); // only one of them may delete the items
        }
    }
    EXPECT_EQ(log.Count("*CMediaPlayer Destroy"), 2U);
    EXPECT_EQ(player.m_medias, items);
}

} // namespace
