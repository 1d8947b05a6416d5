#pragma once

// What a host or another filter may know of the media module's filters.

#include <windows.h>

#include <dshow.h>

#include <cstdint>

namespace ymfilters {

// {6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C201}
inline constexpr CLSID CLSID_MediaSource = {
    0x6b0c0e2a, 0x4f35, 0x4b0e, {0x9b, 0x52, 0x6d, 0x7e, 0x3a, 0x51, 0xc2, 0x01}};
// {6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C202}
inline constexpr CLSID CLSID_MediaVideoDecoder = {
    0x6b0c0e2a, 0x4f35, 0x4b0e, {0x9b, 0x52, 0x6d, 0x7e, 0x3a, 0x51, 0xc2, 0x02}};
// {6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C203}
inline constexpr CLSID CLSID_MediaAudioDecoder = {
    0x6b0c0e2a, 0x4f35, 0x4b0e, {0x9b, 0x52, 0x6d, 0x7e, 0x3a, 0x51, 0xc2, 0x03}};

/// Makes the system's renderer of pictures that serves a player best: on Windows the default one,
/// under Wine the plain one, which alone draws into a host's window there.
// {6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C204}
inline constexpr CLSID CLSID_MediaVideoRenderer = {
    0x6b0c0e2a, 0x4f35, 0x4b0e, {0x9b, 0x52, 0x6d, 0x7e, 0x3a, 0x51, 0xc2, 0x04}};

/// The subtype of a stream that has no standard one, and its format block: a CodecFormat, with the
/// codec's extra data behind it.
// {6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C210}
inline constexpr GUID MEDIASUBTYPE_MediaCodec = {
    0x6b0c0e2a, 0x4f35, 0x4b0e, {0x9b, 0x52, 0x6d, 0x7e, 0x3a, 0x51, 0xc2, 0x10}};
// {6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C211}
inline constexpr GUID FORMAT_MediaCodec = {
    0x6b0c0e2a, 0x4f35, 0x4b0e, {0x9b, 0x52, 0x6d, 0x7e, 0x3a, 0x51, 0xc2, 0x11}};

struct CodecFormat {
    std::uint32_t size = sizeof(CodecFormat); ///< the extra data begin here
    std::uint32_t extraSize = 0;              ///< in bytes
    char codec[32]{};                         ///< FFmpeg's name of it, "theora"
    std::uint32_t tag = 0;                    ///< FOURCC or format tag of the container
    std::int32_t format = -1;                 ///< pixel or sample format
    std::int64_t bitRate = 0;
    std::int32_t bitsPerCodedSample = 0;
    std::int32_t bitsPerRawSample = 0;
    std::int32_t profile = -99;
    std::int32_t level = -99;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t aspectNumerator = 0; ///< of one pixel; 0 when it is not known
    std::int32_t aspectDenominator = 1;
    std::int32_t fieldOrder = 0;
    std::int32_t colorRange = 0;
    std::int32_t colorPrimaries = 2;
    std::int32_t colorTransfer = 2;
    std::int32_t colorSpace = 2;
    std::int32_t chromaLocation = 0;
    std::int32_t hasReorderedFrames = 0;
    std::int32_t channels = 0;
    std::uint64_t channelMask = 0;
    std::int32_t sampleRate = 0;
    std::int32_t blockAlign = 0;
    std::int32_t frameSize = 0;
    std::int32_t initialPadding = 0;
    std::int32_t seekPreroll = 0;
    std::int64_t frameTime = 0; ///< 100 ns units; 0 when it is not known
    std::int32_t rotation = 0;  ///< clockwise, in degrees
};

} // namespace ymfilters
