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

// testtransform.ax: decodes the coded test clip. {...C002}
inline constexpr CLSID CLSID_TestTransform = {
    0x6b0c0e2a, 0x4f35, 0x4b0e, {0x9b, 0x52, 0x6d, 0x7e, 0x3a, 0x51, 0xc0, 0x02}};

// testrenderer.ax: records what it gets, pictures {...C004} or sound {...C005}.
inline constexpr CLSID CLSID_TestVideoRenderer = {
    0x6b0c0e2a, 0x4f35, 0x4b0e, {0x9b, 0x52, 0x6d, 0x7e, 0x3a, 0x51, 0xc0, 0x04}};
inline constexpr CLSID CLSID_TestAudioRenderer = {
    0x6b0c0e2a, 0x4f35, 0x4b0e, {0x9b, 0x52, 0x6d, 0x7e, 0x3a, 0x51, 0xc0, 0x05}};

// The subtype of the coded test clip, as a FOURCC 'YMT1'. A sample is its frame's number.
inline constexpr GUID MEDIASUBTYPE_TestCoded = {
    0x31544d59, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71}};

} // namespace ymfilters
