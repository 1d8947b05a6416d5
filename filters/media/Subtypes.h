#pragma once

// The subtypes that compressed streams go by, between filters of any maker.

#include <windows.h>

#include <dshow.h>

#include "media/FFmpeg.h"

namespace ymfilters {

inline constexpr GUID kDolbyAc3 = {
    0xe06d802c, 0xdb46, 0x11cf, {0xb4, 0xd1, 0x00, 0x80, 0x5f, 0x6c, 0xbb, 0xea}};
inline constexpr GUID kDolbyDigitalPlus = {
    0xa7fb87af, 0x2d02, 0x42fb, {0xa4, 0xd4, 0x05, 0xcd, 0x93, 0x84, 0x3b, 0xdd}};
inline constexpr GUID kDts = {
    0xe06d8033, 0xdb46, 0x11cf, {0xb4, 0xd1, 0x00, 0x80, 0x5f, 0x6c, 0xbb, 0xea}};
inline constexpr GUID kVorbis = {
    0x8d2fd10b, 0x5841, 0x4a6b, {0x89, 0x05, 0x58, 0x8f, 0xec, 0x1a, 0xde, 0xd9}};
inline constexpr GUID kVorbisFormat = {
    0xb36e107f, 0xa938, 0x4387, {0x93, 0xc7, 0x55, 0xe9, 0x66, 0x75, 0x74, 0x73}};
inline constexpr GUID kSubtitle = {
    0xe487eb08, 0x6b26, 0x4be9, {0x9d, 0xd3, 0x99, 0x34, 0x34, 0xd3, 0x13, 0xfd}};
inline constexpr GUID kUtf8Text = {
    0x87c0b230, 0x03a8, 0x4fdf, {0x80, 0x10, 0xb2, 0x7a, 0x58, 0x48, 0x20, 0x0d}};
inline constexpr GUID kAssText = {
    0x326444f7, 0x686f, 0x47ff, {0xa4, 0xb2, 0xc8, 0xc9, 0x63, 0x07, 0xb4, 0xc2}};
inline constexpr GUID kSubtitleFormat = {
    0xa33d2f7d, 0x96bc, 0x4337, {0xb2, 0x3b, 0xa8, 0xb9, 0xfb, 0xc2, 0x95, 0xe9}};

struct VorbisFormat {
    DWORD channels;
    DWORD samplesPerSecond;
    DWORD bitsPerSample;
    DWORD headerSizes[3];
};

constexpr DWORD FourCc(const char (&text)[5]) {
    return MAKEFOURCC(text[0], text[1], text[2], text[3]);
}

/// The subtype of a FOURCC or of a wave format tag.
constexpr GUID TaggedSubtype(DWORD tag) {
    return {tag, 0, 0x10, {0x80, 0, 0, 0xaa, 0, 0x38, 0x9b, 0x71}};
}

struct AudioTag {
    AVCodecID codec;
    WORD tag;
};
inline constexpr AudioTag kAudioTags[] = {
    {AV_CODEC_ID_AC3, 0x2000},   {AV_CODEC_ID_DTS, 0x2001},
    {AV_CODEC_ID_FLAC, 0xF1AC},  {AV_CODEC_ID_OPUS, 0x704F},
    {AV_CODEC_ID_PCM_ALAW, 6},   {AV_CODEC_ID_PCM_MULAW, 7},
    {AV_CODEC_ID_ADPCM_MS, 2},   {AV_CODEC_ID_ADPCM_IMA_WAV, 0x11},
    {AV_CODEC_ID_WMAV1, 0x160},  {AV_CODEC_ID_WMAV2, 0x161},
    {AV_CODEC_ID_WMAPRO, 0x162}, {AV_CODEC_ID_WMALOSSLESS, 0x163},
    {AV_CODEC_ID_PCM_U8, 1},     {AV_CODEC_ID_PCM_S16LE, 1},
    {AV_CODEC_ID_PCM_S24LE, 1},  {AV_CODEC_ID_PCM_S32LE, 1},
    {AV_CODEC_ID_PCM_F32LE, 3},  {AV_CODEC_ID_PCM_F64LE, 3},
    {AV_CODEC_ID_MP2, 0x50},     {AV_CODEC_ID_MP1, 0x50},
    {AV_CODEC_ID_MP3, 0x55},     {AV_CODEC_ID_AAC_LATM, 0x1FF},
};

} // namespace ymfilters
