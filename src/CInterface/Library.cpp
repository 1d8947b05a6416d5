// What belongs to no player: version, errors, texts, pictures, what is alive, the log.

#include <ymdshow/LiveObjects.h>
#include <ymdshow/LoadReport.h>
#include <ymdshow/Media.h>
#include <ymdshow/Snapshot.h>
#include <ymdshow/Text.h>
#include <ymdshow/Version.h>
#include <ymlib/Log.h>

#include "CInterface/Call.h"

using namespace ymdshow;
using namespace ymdshow::c;

const char* ymd_version(void) {
    return GetLibraryVersion();
}

uint32_t ymd_interface(void) {
    return YMD_INTERFACE;
}

const char* ymd_last_error(void) {
    return LastText();
}

int32_t ymd_last_hresult(void) {
    return LastResult();
}

void ymd_free(const void* block) {
    Block::Free(block);
}

ymd_result ymd_result_text(int32_t hresult, char** text) {
    return Call(__func__, [&] { GiveText(text, ResultText(hresult)); });
}

ymd_result ymd_event_text(int32_t code, char** text) {
    return Call(__func__, [&] { GiveText(text, EventText(code)); });
}

ymd_result ymd_file_trouble(const char* path, char** text) {
    return Call(__func__, [&] { GiveText(text, FileTrouble(Wide(path))); });
}

ymd_result ymd_file_duration(const char* path, int64_t* duration) {
    return Call(__func__, [&] {
        Out(duration) = CMedia::GetMediaDurationByMediaInfo(Wide(path));
        Require(*duration > 0, YMD_ERROR_FAILED, "the media information library gives no duration");
    });
}

ymd_result ymd_set_media_info_language(const char* path) {
    return Call(__func__, [&] {
        bool isLossy = false;
        const std::string narrow = WideToNarrow(Wide(path), &isLossy);
        Require(!isLossy, YMD_ERROR_TEXT, "the path does not fit code page 936");
        Require(CMedia::SetMediaInfoLanguage(narrow) == 1, YMD_ERROR_FAILED,
                "there is no such file, or no media information library");
    });
}

ymd_result ymd_save_png(const ymd_picture* picture, const char* path) {
    return Call(__func__, [&] {
        const auto given = Read(picture, sizeof(ymd_picture));
        const std::wstring file = Wide(path);
        Require(given.pixels != nullptr && given.pixels_size <= SIZE_MAX / 2, YMD_ERROR_ARGUMENT,
                "the picture has no pixels");
        Snapshot snapshot{given.width, given.height, given.stride, {}};
        snapshot.pixels.assign(given.pixels, given.pixels + given.pixels_size);
        const HRESULT saved = SavePng(snapshot, file);
        if (FAILED(saved)) {
            throw Failure{saved == E_INVALIDARG ? YMD_ERROR_ARGUMENT : YMD_ERROR_FAILED,
                          WideToUtf8(ResultText(saved)), saved};
        }
    });
}

ymd_result ymd_live_objects(ymd_live_object*** objects, uint32_t* count) {
    return Call(__func__, [&] {
        GiveList(objects, count, GetLiveObjects(),
                 [](Block& block, ymd_live_object& to, const LiveObject& object) {
                     to.kind = static_cast<std::int32_t>(object.kind);
                     to.name = block.Text(object.name);
                     to.address = reinterpret_cast<std::uint64_t>(object.address);
                     to.item = reinterpret_cast<std::uint64_t>(object.item);
                     to.references = object.references;
                     to.is_busy = object.isBusy;
                 });
    });
}

ymd_result ymd_live_text(char** text) {
    return Call(__func__, [&] { GiveText(text, LiveObjectsText()); });
}

namespace {

/// The category of a name, made on first use.
ymlib::CLogCategory& Category(const char* name) {
    Require(!Wide(name).empty(), YMD_ERROR_ARGUMENT, "the category has no name");
    ymlib::CLogCategory* const category = ymlib::CLoger::GetLoger()->GetCategory(name);
    Require(category != nullptr, YMD_ERROR_MEMORY, "memory ran out");
    return *category;
}

void GiveSink(std::uint32_t* out, unsigned sink) {
    Require(sink != 0, YMD_ERROR_FAILED, "the file cannot be opened, or memory ran out");
    *out = sink;
}

} // namespace

ymd_result ymd_log_add(ymd_log_callback callback, void* user, uint32_t* sink) {
    return Call(__func__, [&] {
        Out(sink);
        Require(callback != nullptr, YMD_ERROR_ARGUMENT, "the callback is null");
        GiveSink(sink, ymlib::CLoger::GetLoger()->AddSink([=](const ymlib::LogRecord& record) {
            const std::string text = WideToUtf8(record.text);
            const ymd_log_record given{sizeof(given),     record.level,    record.category,
                                       record.sourceFile, record.function, text.c_str(),
                                       record.line};
            t_isLogging = true;
            callback(&given, user);
            t_isLogging = false;
        }));
    });
}

ymd_result ymd_log_add_file(const char* path, uint32_t* sink) {
    return Call(__func__, [&] {
        Out(sink);
        GiveSink(sink, ymlib::CLoger::GetLoger()->AddFileSink(Wide(path)));
    });
}

ymd_result ymd_log_add_debugger(uint32_t* sink) {
    return Call(__func__, [&] {
        Out(sink);
        GiveSink(sink, ymlib::CLoger::GetLoger()->AddDebuggerSink());
    });
}

ymd_result ymd_log_remove(uint32_t sink) {
    return Call(__func__, [&] { ymlib::CLoger::GetLoger()->RemoveSink(sink); });
}

ymd_result ymd_log_get_level(const char* category, int32_t* level) {
    return Call(__func__, [&] { Out(level) = Category(category).GetLevel(); });
}

ymd_result ymd_log_set_level(const char* category, int32_t level) {
    return Call(__func__, [&] { Category(category).SetLevel(level); });
}

ymd_result ymd_log_write(const char* category, int32_t level, const char* text) {
    return Call(__func__, [&] {
        const std::wstring wide = Wide(text);
        Category(category).Log(level, "", 0, "", L"%s", wide.c_str());
    });
}
