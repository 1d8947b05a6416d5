#pragma once

// The classes of the test module. They are made from its file and stand in no registry.

#include <windows.h>

#include <guiddef.h>

namespace ymfilters {

// testrenderer.ax: records what it gets, pictures {...C004} or sound {...C005}.
inline constexpr CLSID CLSID_TestVideoRenderer = {
    0x6b0c0e2a, 0x4f35, 0x4b0e, {0x9b, 0x52, 0x6d, 0x7e, 0x3a, 0x51, 0xc0, 0x04}};
inline constexpr CLSID CLSID_TestAudioRenderer = {
    0x6b0c0e2a, 0x4f35, 0x4b0e, {0x9b, 0x52, 0x6d, 0x7e, 0x3a, 0x51, 0xc0, 0x05}};

} // namespace ymfilters
