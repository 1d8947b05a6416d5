#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include <ymdshow/Export.h>

namespace ymdshow {

/// A picture as a value: four bytes a pixel (blue, green, red, and 255), rows from the top.
struct Snapshot {
    int width = 0;
    int height = 0;
    int stride = 0; ///< bytes from a row to the next
    std::vector<std::uint8_t> pixels;
};

/// Writes a picture as PNG, with the system's codec; an existing file is replaced. E_INVALIDARG
/// for an empty picture or one whose pixels do not fill it; else what the system answers. COM is
/// initialised on the calling thread.
YMDSHOW_API HRESULT SavePng(const Snapshot& picture, const std::wstring& path);

} // namespace ymdshow
