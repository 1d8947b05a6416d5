#pragma once

// The classes of the test modules. They are made from the modules' files and stand in no
// registry.

#include <windows.h>

#include <guiddef.h>

namespace ymfilters {

// testsource.ax: plays a synthetic clip that its file name describes.
// {6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C001}
inline constexpr CLSID CLSID_TestSource = {
    0x6b0c0e2a, 0x4f35, 0x4b0e, {0x9b, 0x52, 0x6d, 0x7e, 0x3a, 0x51, 0xc0, 0x01}};

// testrenderer.ax: records what it gets, pictures {...C004} or sound {...C005}.
inline constexpr CLSID CLSID_TestVideoRenderer = {
    0x6b0c0e2a, 0x4f35, 0x4b0e, {0x9b, 0x52, 0x6d, 0x7e, 0x3a, 0x51, 0xc0, 0x04}};
inline constexpr CLSID CLSID_TestAudioRenderer = {
    0x6b0c0e2a, 0x4f35, 0x4b0e, {0x9b, 0x52, 0x6d, 0x7e, 0x3a, 0x51, 0xc0, 0x05}};

} // namespace ymfilters
