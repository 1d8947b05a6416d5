#pragma once

#include <ymlib/Log.h>

namespace ymdshow {

/// The library's category, fetched when the library is loaded; null when there is none.
extern ymlib::CLogCategory* const g_logCategory;

} // namespace ymdshow

// A file that logs defines YMD_LOG_SOURCE, the record's source file, before it uses these.
#define YMD_LOG(level, function, ...)                                                              \
    do {                                                                                           \
        if (::ymdshow::g_logCategory != nullptr) {                                                 \
            ::ymdshow::g_logCategory->Log(level, YMD_LOG_SOURCE, __LINE__, function, __VA_ARGS__); \
        }                                                                                          \
    } while (false)
#define YMD_LOG_PROGRESS(function, ...) YMD_LOG(::ymlib::LOG_PROGRESS, function, __VA_ARGS__)
#define YMD_LOG_WARNING(function, ...) YMD_LOG(::ymlib::LOG_WARNING, function, __VA_ARGS__)
#define YMD_LOG_ERROR(function, ...) YMD_LOG(::ymlib::LOG_ERROR, function, __VA_ARGS__)
