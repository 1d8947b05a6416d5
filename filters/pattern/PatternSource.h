#pragma once

// ymdpattern.ax: a source without a file. The name that it loads says what it plays, see
// filters/README.md. It stands in no registry.

#include <windows.h>

#include <guiddef.h>

namespace ymfilters {

// {6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C001}
inline constexpr CLSID CLSID_PatternSource = {
    0x6b0c0e2a, 0x4f35, 0x4b0e, {0x9b, 0x52, 0x6d, 0x7e, 0x3a, 0x51, 0xc0, 0x01}};

} // namespace ymfilters
