// The player's list of media items.

#include "media_fixture.h"

using namespace media_tests;
using ymdshow::CMedia;

namespace {

class OpenPlayer : public ymdshow::CMediaPlayer {
public:
    using CMediaPlayer::m_medias;
};
using Items = std::vector<CMedia*>;

class Player : public MediaTest {
protected:
    /// Adds an unloaded item for each path.
    Items Add(ymdshow::CMediaPlayer& player, const Lines& paths) {
        Items added;
        for (const std::string& path : paths) {
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

TEST_F(Player, AddsFindsAndLoadsWithItsOwnSchemes) {
    OpenPlayer player;
    for (const int load : {0, 1}) {
        EXPECT_EQ(player.AddMedia("", load), nullptr);
        EXPECT_EQ(log.Take(), Lines());
        EXPECT_EQ(player.AddMedia("C:\\no\\such.file", load), nullptr);
        EXPECT_EQ(log.Take(), Lines({"4 ymdshow::CMedia::~CMedia: CYMMedia Destroy : "}));
    }
    CMedia* const later = player.AddMedia("u://a", 0);
    ASSERT_NE(later, nullptr);
    EXPECT_EQ(log.Lines().back(), "4 ymdshow::CMediaPlayer::AddMedia: AddMedia : u://a");
    EXPECT_TRUE(log.Records().back().source.ends_with("YMMediaPlayer"));
    CMedia* const loaded = player.AddMedia(kPath, 1);
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(loaded->IsReadyForPlay(), 1);
    EXPECT_EQ(later->IsLoaded(), 0);
    EXPECT_TRUE(player.LoadMedia(later));
    EXPECT_EQ(later->IsReadyForPlay(), 1);
    EXPECT_FALSE(log.Has("*CoderScheme Is NULL"));
    EXPECT_FALSE(player.LoadMedia(nullptr));
    graphs.FailNext(E_OUTOFMEMORY);
    EXPECT_FALSE(player.LoadMedia(Add(player, {"u://c"}).front()));
    graphs.FailNext(REGDB_E_CLASSNOTREG);
    EXPECT_EQ(player.AddMedia("u://b", 1), nullptr);
    EXPECT_EQ(Destroyed(), Lines({"u://b"}));
    EXPECT_EQ(player.GetMediaNum(), 3U);
    EXPECT_EQ(player.GetMedia(0), later);
    EXPECT_EQ(player.GetMedia(1), loaded);
    EXPECT_EQ(player.GetMedia(3), nullptr);
}

TEST_F(Player, RemovesByPathIndexAndWhenDeleted) {
    OpenPlayer player;
    const std::string path = "u://a/longer than what a string keeps in itself";
    EXPECT_FALSE(player.RemoveMedia(path));
    const Items items = Add(player, {path, path, "u://A", "u://b", path, "u://c", "u://d"});
    EXPECT_FALSE(player.RemoveMedia(std::string("u://")));
    EXPECT_TRUE(player.RemoveMedia(items[0]->GetMediaPath())); // a text that dies on the way
    EXPECT_EQ(Destroyed(), Lines({path, path, path}));
    EXPECT_FALSE(player.RemoveMedia(4U));
    EXPECT_TRUE(player.RemoveMedia(1U));
    EXPECT_EQ(Destroyed(), Lines({"u://b"}));
    delete items[5];
    EXPECT_EQ(player.m_medias, Items({items[2], items[6]}));
}

TEST_F(Player, RemovalByPointerTakesTheFirstSlotAndOfNullEverySlot) {
    OpenPlayer player;
    CMedia* const none = nullptr;
    EXPECT_FALSE(player.RemoveMedia(none));
    const Items items = Add(player, {"u://a", "u://b", "u://c"});
    EXPECT_TRUE(player.RemoveMedia(items[2]));
    EXPECT_EQ(Destroyed(), Lines({"u://c"}));
    // Slot 0 is gone, whose item lives on; the item's own slot still holds its pointer.
    EXPECT_EQ(player.m_medias, Items({items[1], items[2]}));
    player.m_medias.pop_back();
    delete items[0]; // asks a player that does not list it
    EXPECT_EQ(player.m_medias, Items({items[1]}));
    EXPECT_FALSE(player.RemoveMedia(none));
    EXPECT_EQ(player.m_medias, Items({nullptr}));
    EXPECT_FALSE(player.RemoveMedia(std::string("u://b")));
    EXPECT_EQ(Destroyed(), Lines({"u://a"}));
    delete items[1];
    EXPECT_TRUE(player.RemoveMedia(0U));
    EXPECT_EQ(player.GetMediaNum(), 0U);
    player.m_medias.push_back(nullptr);
    player.RemoveAllMedias();
    EXPECT_EQ(player.GetMediaNum(), 0U);
}

TEST_F(Player, CopiesListTheSameItemsWhichGoInOrderWithTheLastOne) {
    {
        OpenPlayer player;
        Items items = Add(player, {"u://a", "u://b"});
        items.push_back(player.AddMedia(kPath, 1));
        ASSERT_TRUE(player.GetCoderScheme().LoadSchemeByScript(
            R"({"Schemes": [{"Type": "mkv", "Filters": []}]})", 1));
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
        EXPECT_EQ(Destroyed(), Lines());
        player.RemoveAllMedias();
        EXPECT_EQ(player.GetMediaNum(), 0U);
        EXPECT_EQ(Destroyed(), Lines({"u://a", "u://b", kPath}));
        Add(player, {"u://c", "u://d"});
    }
    EXPECT_EQ(log.Lines().back(), "4 ymdshow::CMediaPlayer::~CMediaPlayer: CMediaPlayer Destroy");
    EXPECT_EQ(Destroyed(), Lines({"u://c", "u://d"}));
}

} // namespace
