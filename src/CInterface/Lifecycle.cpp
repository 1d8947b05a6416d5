#include <ymdshow/LoadReport.h>
#include <ymdshow/Text.h>

#include "CInterface/Objects.h"
#include "CInterface/Records.h"

using namespace ymdshow;
using namespace ymdshow::c;

namespace {

void SetPath(Item& item, const std::wstring& path) {
    if (item.media.SetMediaPath(path) != 1) {
        std::wstring why = path.empty() ? L"the path is empty" : FileTrouble(path);
        throw Failure{path.empty() ? YMD_ERROR_ARGUMENT : YMD_ERROR_NOT_FOUND,
                      WideToUtf8(why.empty() ? L"the path was not taken" : why),
                      HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)};
    }
}

} // namespace

ymd_result ymd_item_create(ymd_player* player, const char* path, ymd_item** item) {
    return Call(__func__, [&] {
        Out(item);
        const std::shared_ptr<Player> owner = From(player);
        const auto made = std::make_shared<Item>(owner, owner->scheme);
        if (path != nullptr) {
            SetPath(*made, Wide(path));
        }
        void* const handle = owner->Add(made);
        Require(handle != nullptr, YMD_ERROR_HANDLE, "the player was destroyed");
        *item = static_cast<ymd_item*>(handle);
    });
}

ymd_result ymd_item_destroy(ymd_item* item) {
    return Call(__func__, [&] {
        InCallback::Refuse(*From(item), false);
        Require(EndItem(item), YMD_ERROR_HANDLE, "the item was destroyed");
    });
}

ymd_result ymd_item_set_path(ymd_item* item, const char* path) {
    return OnItem(__func__, item, [&](Item& it) {
        InCallback::Refuse(it, true);
        SetPath(it, Wide(path));
    });
}

ymd_result ymd_item_load(ymd_item* item, ymd_scheme* scheme, int32_t renderers_first) {
    return OnItem(__func__, item, [&](Item& it) {
        it.Load((scheme != nullptr ? From(scheme) : it.scheme)->Get(), renderers_first);
    });
}

ymd_result ymd_item_get_load_report(ymd_item* item, ymd_load_report** report) {
    return OnItem(__func__, item, [&](Item& it) {
        Out(report);
        const ymlib::CYMAutoLock held(it.media.Lock()); // no load runs
        Block block;
        block.Give(*report, Convert(block, it.media.GetLoadReport()));
    });
}

ymd_result ymd_item_unload(ymd_item* item) {
    return OnItem(__func__, item, [&](Item& it) {
        InCallback::Refuse(it, true);
        it.Unload();
    });
}

ymd_result ymd_item_link_all(ymd_item* item) {
    return OnItem(__func__, item, [&](Item& it) { RequireDone(it.media.LinkAllFilter() == 1); });
}

ymd_result ymd_item_unlink_all(ymd_item* item) {
    return OnItem(__func__, item, [&](Item& it) { RequireDone(it.media.UnlinkAllFilter() == 1); });
}
