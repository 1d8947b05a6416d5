#pragma once

#include <cstddef>
#include <string>

namespace ymdshow::mediainfo {

/// The entry points of MediaInfo.dll that are used, in its narrow interface.
struct EntryPoints {
    void*(__stdcall* create)() = nullptr;
    void(__stdcall* destroy)(void* handle) = nullptr;
    std::size_t(__stdcall* open)(void* handle, const char* path) = nullptr;
    void(__stdcall* close)(void* handle) = nullptr;
    const char*(__stdcall* inform)(void* handle, std::size_t reserved) = nullptr;
    const char*(__stdcall* get)(void* handle, int streamKind, std::size_t stream,
                                const char* parameter, int infoKind, int searchKind) = nullptr;
    const char*(__stdcall* option)(void* handle, const char* name, const char* value) = nullptr;
    std::size_t(__stdcall* countGet)(void* handle, int streamKind, std::size_t stream) = nullptr;
};

/// Loads MediaInfo.dll by name unless it is loaded, and counts the success. Null when the
/// library is missing or lacks an entry point; the next call tries again. The result stays
/// valid for the life of the process: what is loaded is never unloaded. Thread-safe.
const EntryPoints* Load();

/// Successful loads so far.
unsigned LoadCount();

/// What text queries answer when the library cannot be loaded.
const std::string& LoadFailureText();

} // namespace ymdshow::mediainfo
