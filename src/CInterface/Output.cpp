// Filters, picture and sound.

#include <ymdshow/Text.h>

#include "CInterface/Objects.h"
#include "CInterface/Records.h"

using namespace ymdshow;
using namespace ymdshow::c;

namespace {

using GetRange = void (CMedia::*)(long*, long*, long*, long*) const;
using SetRange = bool (CMedia::*)(long, long, long, long);

void GetRectangle(CMedia& media, GetRange get, ymd_rectangle* rectangle) {
    long left = 0;
    long top = 0;
    long width = 0;
    long height = 0;
    (media.*get)(&left, &top, &width, &height);
    Fill(rectangle, {0, left, top, width, height});
}

void SetRectangle(CMedia& media, SetRange set, const ymd_rectangle* rectangle) {
    const auto given = Read(rectangle, sizeof(ymd_rectangle));
    RequireDone((media.*set)(given.left, given.top, given.width, given.height));
}

struct Visit {
    Item& item;
    ymd_filter_callback callback;
    void* user;
};

void RequirePicture(bool isThere, const std::wstring& reason) {
    if (!isThere) {
        throw Failure{YMD_ERROR_FAILED,
                      reason.empty() ? "there is no picture" : WideToUtf8(reason)};
    }
}

} // namespace

ymd_result ymd_item_set_filter_callback(ymd_item* item, ymd_filter_callback callback, void* user) {
    return OnItem(__func__, item, [&](Item& it) { it.Set(it.onFilter, callback, user); });
}

ymd_result ymd_item_get_filters(ymd_item* item, ymd_filter*** filters, uint32_t* count) {
    return OnItem(__func__, item, [&](Item& it) {
        GiveList(filters, count, it.media.GetFilters(),
                 [](Block& block, ymd_filter& to, const FilterDescription& filter) {
                     Convert(block, to, filter);
                 });
    });
}

ymd_result ymd_item_visit_filters(ymd_item* item, ymd_filter_callback callback, void* user,
                                  int32_t all) {
    return OnItem(__func__, item, [&](Item& it) {
        Require(callback != nullptr, YMD_ERROR_ARGUMENT, "the callback is null");
        Visit visit{it, callback, user};
        it.media.EnumMediaFilter(
            [](IBaseFilter* filter, void* of) {
                const Visit& visiting = *static_cast<Visit*>(of);
                const InCallback mark(&visiting.item, false);
                visiting.callback(filter, visiting.user);
            },
            &visit, all);
    });
}

ymd_result ymd_item_find_interface(ymd_item* item, const char* iid, int32_t first_only,
                                   void** object) {
    return OnItem(__func__, item, [&](Item& it) {
        Out(object);
        GUID guid{};
        Require(SUCCEEDED(IIDFromString(Wide(iid).c_str(), &guid)), YMD_ERROR_ARGUMENT,
                "the IID is not in registry form");
        *object = it.media.FindInterfaceInGraphFilters(guid, first_only);
        Require(*object != nullptr, YMD_ERROR_NOT_FOUND, "no filter has the interface");
    });
}

ymd_result ymd_item_show_properties(ymd_item* item, int32_t filter, void* parent) {
    return OnItem(__func__, item, [&](Item& it) {
        it.media.ShowFilterPropertyPage(filter, static_cast<HWND>(parent));
    });
}

ymd_result ymd_item_set_window(ymd_item* item, void* window) {
    return OnItem(__func__, item, [&](Item& it) {
        Require(window == nullptr || IsWindow(static_cast<HWND>(window)), YMD_ERROR_ARGUMENT,
                "there is no such window");
        it.media.SetPlayWindow(static_cast<HWND>(window));
    });
}

ymd_result ymd_item_get_source(ymd_item* item, ymd_rectangle* rectangle) {
    return OnItem(__func__, item,
                  [&](Item& it) { GetRectangle(it.media, &CMedia::GetVideoClipRange, rectangle); });
}

ymd_result ymd_item_set_source(ymd_item* item, const ymd_rectangle* rectangle) {
    return OnItem(__func__, item,
                  [&](Item& it) { SetRectangle(it.media, &CMedia::SetVideoClipRange, rectangle); });
}

ymd_result ymd_item_get_destination(ymd_item* item, ymd_rectangle* rectangle) {
    return OnItem(__func__, item, [&](Item& it) {
        GetRectangle(it.media, &CMedia::GetVideoDisplayRange, rectangle);
    });
}

ymd_result ymd_item_set_destination(ymd_item* item, const ymd_rectangle* rectangle) {
    return OnItem(__func__, item, [&](Item& it) {
        SetRectangle(it.media, &CMedia::SetVideoDisplayRange, rectangle);
    });
}

ymd_result ymd_item_get_snapshot(ymd_item* item, ymd_picture** picture) {
    return OnItem(__func__, item, [&](Item& it) {
        Out(picture);
        Snapshot snapshot;
        std::wstring reason;
        RequirePicture(it.media.GetSnapshot(snapshot, &reason), reason);
        Block block;
        auto* const record = block.MakeRecord<ymd_picture>();
        auto* const pixels = block.Make<std::uint8_t>(snapshot.pixels.size());
        std::copy(snapshot.pixels.begin(), snapshot.pixels.end(), pixels);
        record->width = snapshot.width;
        record->height = snapshot.height;
        record->stride = snapshot.stride;
        record->pixels = pixels;
        record->pixels_size = snapshot.pixels.size();
        block.Give(*picture, record);
    });
}

ymd_result ymd_item_save_snapshot(ymd_item* item, const char* path) {
    return OnItem(__func__, item, [&](Item& it) {
        std::wstring reason;
        RequirePicture(it.media.SaveSnapshot(Wide(path), &reason), reason);
    });
}

ymd_result ymd_item_get_dib(ymd_item* item, uint8_t** dib, uint32_t* size) {
    return OnItem(__func__, item, [&](Item& it) {
        Out(dib);
        Out(size);
        long bytes = it.media.GetCurrentImageDataSize();
        Require(bytes > 0, YMD_ERROR_FAILED, "there is no picture");
        Block block;
        auto* const data = block.Make<std::uint8_t>(static_cast<std::size_t>(bytes));
        RequirePicture(it.media.GetCurrentImageData(data, &bytes) == 1, {});
        *size = static_cast<std::uint32_t>(bytes);
        block.Give(*dib, data);
    });
}

ymd_result ymd_item_mute(ymd_item* item, int32_t mute) {
    return OnItem(__func__, item, [&](Item& it) {
        RequireDone((mute != 0 ? it.media.MuteAudio() : it.media.ResumeAudio()) == 1);
    });
}
