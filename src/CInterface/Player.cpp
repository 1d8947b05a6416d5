#include <ymdshow/LoadReport.h>
#include <ymdshow/Text.h>

#include "CInterface/Objects.h"

using namespace ymdshow;
using namespace ymdshow::c;

namespace {

void EndItems(Player& player, const std::wstring* path) {
    for (void* const handle : player.Items()) {
        const auto item = std::static_pointer_cast<Item>(Handles::Get().Find(Kind::Item, handle));
        if (item != nullptr && (path == nullptr || item->media.GetMediaPathW() == *path)) {
            EndItem(handle);
        }
    }
}

} // namespace

ymd_result ymd_player_create(ymd_player** player) {
    return Call(__func__, [&] {
        Out(player);
        const auto made = std::make_shared<Player>();
        made->scheme = std::make_shared<Scheme>(std::make_shared<CCoderScheme>());
        made->scheme->isOfPlayer = true;
        void* const handle = Handles::Get().Add(Kind::Player, made);
        try {
            made->schemeHandle = Handles::Get().Add(Kind::Scheme, made->scheme);
        } catch (...) {
            Handles::Get().Remove(Kind::Player, handle);
            throw;
        }
        *player = static_cast<ymd_player*>(handle);
    });
}

ymd_result ymd_player_destroy(ymd_player* player) {
    return Call(__func__, [&] {
        const std::shared_ptr<Player> ended = From(player);
        InCallback::Refuse(*ended);
        Handles::Get().Remove(Kind::Player, player);
        ended->Close();
        EndItems(*ended, nullptr);
        Handles::Get().Remove(Kind::Scheme, ended->schemeHandle);
    });
}

ymd_result ymd_player_get_scheme(ymd_player* player, ymd_scheme** scheme) {
    return Call(__func__,
                [&] { Out(scheme) = static_cast<ymd_scheme*>(From(player)->schemeHandle); });
}

ymd_result ymd_player_get_item_count(ymd_player* player, uint32_t* count) {
    return Call(__func__,
                [&] { Out(count) = static_cast<std::uint32_t>(From(player)->Items().size()); });
}

ymd_result ymd_player_get_item(ymd_player* player, uint32_t index, ymd_item** item) {
    return Call(__func__, [&] {
        Out(item);
        const std::vector<void*> items = From(player)->Items();
        Require(index < items.size(), YMD_ERROR_NOT_FOUND, "there are fewer items");
        *item = static_cast<ymd_item*>(items[index]);
    });
}

ymd_result ymd_player_remove_items(ymd_player* player, const char* path) {
    return Call(__func__, [&] {
        const std::shared_ptr<Player> owner = From(player);
        InCallback::Refuse(*owner);
        const std::wstring wide = path != nullptr ? Wide(path) : std::wstring();
        EndItems(*owner, path != nullptr ? &wide : nullptr);
    });
}
