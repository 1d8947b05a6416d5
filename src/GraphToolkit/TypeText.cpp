// Media types in words.

#include <ymdshow/GraphToolkit.h>

#include <mmreg.h>

#include <dvdmedia.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <cwchar>

#include "Guard.h"

using namespace ymdshow;

namespace {

struct Named {
    DWORD code;
    const wchar_t* name;
};

constexpr DWORD Code(const char (&text)[5]) {
    return static_cast<DWORD>(static_cast<unsigned char>(text[0])) |
           static_cast<DWORD>(static_cast<unsigned char>(text[1])) << 8 |
           static_cast<DWORD>(static_cast<unsigned char>(text[2])) << 16 |
           static_cast<DWORD>(static_cast<unsigned char>(text[3])) << 24;
}

// In capitals; the letter case of a code tells nothing.
constexpr Named kVideoCodes[] = {
    {Code("H264"), L"H.264"},
    {Code("AVC1"), L"H.264"},
    {Code("X264"), L"H.264"},
    {Code("HEVC"), L"H.265"},
    {Code("HVC1"), L"H.265"},
    {Code("HEV1"), L"H.265"},
    {Code("H265"), L"H.265"},
    {Code("MP4V"), L"MPEG-4"},
    {Code("XVID"), L"MPEG-4 (Xvid)"},
    {Code("DIVX"), L"MPEG-4 (DivX)"},
    {Code("DX50"), L"MPEG-4 (DivX)"},
    {Code("FMP4"), L"MPEG-4"},
    {Code("MP42"), L"MS MPEG-4 v2"},
    {Code("MP43"), L"MS MPEG-4 v3"},
    {Code("DIV3"), L"MS MPEG-4 v3"},
    {Code("VP60"), L"VP6"},
    {Code("VP80"), L"VP8"},
    {Code("VP90"), L"VP9"},
    {Code("AV01"), L"AV1"},
    {Code("MJPG"), L"Motion JPEG"},
    {Code("WMV1"), L"WMV 7"},
    {Code("WMV2"), L"WMV 8"},
    {Code("WMV3"), L"WMV 9"},
    {Code("WVC1"), L"VC-1"},
    {Code("THEO"), L"Theora"},
    {Code("DVSD"), L"DV"},
    {Code("DVHD"), L"DV"},
    {Code("DV25"), L"DV"},
    {Code("FLV1"), L"Flash"},
    {Code("H263"), L"H.263"},
};

// WAVEFORMATEX's format tags.
constexpr Named kAudioTags[] = {
    {0x0001, L"PCM"},     {0x0003, L"PCM (float)"},  {0x0002, L"ADPCM"}, {0x0006, L"A-law"},
    {0x0007, L"mu-law"},  {0x0011, L"ADPCM"},        {0x0050, L"MPEG"},  {0x0055, L"MP3"},
    {0x0092, L"AC-3"},    {0x00FF, L"AAC"},          {0x0160, L"WMA"},   {0x0161, L"WMA"},
    {0x0162, L"WMA Pro"}, {0x0163, L"WMA Lossless"}, {0x1600, L"AAC"},   {0x1602, L"AAC (LATM)"},
    {0x1610, L"AAC"},     {0x2000, L"AC-3"},         {0x2001, L"DTS"},   {0x566F, L"Vorbis"},
    {0x674F, L"Vorbis"},  {0x704F, L"Opus"},         {0xA106, L"AAC"},   {0xF1AC, L"FLAC"},
};

struct NamedGuid {
    GUID guid;
    const wchar_t* name;
};

constexpr GUID kDolbyDigitalPlus{
    0xA7FB87AF, 0x2D02, 0x42FB, {0xA4, 0xD4, 0x05, 0xCD, 0x93, 0x84, 0x3B, 0xDD}};
constexpr GUID kDts{0xE06D8033, 0xDB46, 0x11CF, {0xB4, 0xD1, 0x00, 0x80, 0x5F, 0x6C, 0xBB, 0xEA}};
constexpr GUID kDolbyDigital{
    0xE06D802C, 0xDB46, 0x11CF, {0xB4, 0xD1, 0x00, 0x80, 0x5F, 0x6C, 0xBB, 0xEA}};
constexpr GUID kSubtitles{
    0xE487EB08, 0x6B26, 0x4BE9, {0x9D, 0xD3, 0x99, 0x34, 0x34, 0xD3, 0x13, 0xFD}};
// Of the project's media module: its format block names the codec.
constexpr GUID kOwnCodec{
    0x6B0C0E2A, 0x4F35, 0x4B0E, {0x9B, 0x52, 0x6D, 0x7E, 0x3A, 0x51, 0xC2, 0x10}};
constexpr std::size_t kCodecOffset = 8;
constexpr std::size_t kCodecLength = 32;

/// Subtypes that are not made of a code.
const wchar_t* SubtypeName(const GUID& subtype) {
    const NamedGuid names[] = {
        {MEDIASUBTYPE_RGB1, L"RGB1"},
        {MEDIASUBTYPE_RGB4, L"RGB4"},
        {MEDIASUBTYPE_RGB8, L"RGB8"},
        {MEDIASUBTYPE_RGB555, L"RGB555"},
        {MEDIASUBTYPE_RGB565, L"RGB565"},
        {MEDIASUBTYPE_RGB24, L"RGB24"},
        {MEDIASUBTYPE_RGB32, L"RGB32"},
        {MEDIASUBTYPE_ARGB32, L"ARGB32"},
        {MEDIASUBTYPE_MPEG1Payload, L"MPEG-1"},
        {MEDIASUBTYPE_MPEG1Packet, L"MPEG-1"},
        {MEDIASUBTYPE_MPEG1AudioPayload, L"MPEG"},
        {MEDIASUBTYPE_MPEG2_VIDEO, L"MPEG-2"},
        {MEDIASUBTYPE_MPEG2_AUDIO, L"MPEG"},
        {MEDIASUBTYPE_MPEG1System, L"MPEG-1"},
        {MEDIASUBTYPE_MPEG1Video, L"MPEG-1 video"},
        {MEDIASUBTYPE_MPEG1Audio, L"MPEG audio"},
        {MEDIASUBTYPE_MPEG1VideoCD, L"Video CD"},
        {MEDIASUBTYPE_Avi, L"AVI"},
        {MEDIASUBTYPE_WAVE, L"WAVE"},
        {MEDIASUBTYPE_AU, L"AU"},
        {MEDIASUBTYPE_AIFF, L"AIFF"},
        {MEDIASUBTYPE_PCM, L"PCM"},
        {kDolbyDigital, L"AC-3"},
        {kDolbyDigitalPlus, L"E-AC-3"},
        {kDts, L"DTS"},
    };
    const auto known = std::find_if(std::begin(names), std::end(names),
                                    [&](const NamedGuid& one) { return one.guid == subtype; });
    return known != std::end(names) ? known->name : nullptr;
}

/// The code that a subtype is made of; 0 for another.
DWORD CodeOf(const GUID& subtype) {
    GUID bare = subtype;
    bare.Data1 = 0;
    constexpr GUID kCodes{0, 0, 0x10, {0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71}};
    return bare == kCodes ? subtype.Data1 : 0;
}

DWORD Capitals(DWORD code) {
    for (int shift = 0; shift < 32; shift += 8) {
        const DWORD letter = code >> shift & 0xFF;
        code -= letter >= 'a' && letter <= 'z' ? DWORD{'a' - 'A'} << shift : 0;
    }
    return code;
}

template <std::size_t Count> const wchar_t* NameOf(const Named (&names)[Count], DWORD code) {
    const auto known = std::find_if(std::begin(names), std::end(names),
                                    [=](const Named& one) { return one.code == code; });
    return known != std::end(names) ? known->name : nullptr;
}

/// Four letters, or empty.
std::wstring Letters(DWORD code) {
    std::wstring text;
    for (int shift = 0; shift < 32; shift += 8) {
        const DWORD letter = code >> shift & 0xFF;
        if (letter < ' ' || letter > '~') {
            return {};
        }
        text += static_cast<wchar_t>(letter);
    }
    return text;
}

std::wstring Hex(DWORD value) {
    std::array<wchar_t, 16> text{};
    std::swprintf(text.data(), text.size(), L"0x%lX", static_cast<unsigned long>(value));
    return text.data();
}

/// The name of the subtype alone.
std::wstring Subtype(const AM_MEDIA_TYPE& type) {
    if (type.subtype == kOwnCodec && type.pbFormat != nullptr &&
        type.cbFormat >= kCodecOffset + kCodecLength) {
        const auto* const name = reinterpret_cast<const char*>(type.pbFormat) + kCodecOffset;
        return {name, std::find(name, name + kCodecLength, '\0')};
    }
    if (const wchar_t* const name = SubtypeName(type.subtype)) {
        return name;
    }
    if (const DWORD code = CodeOf(type.subtype); code != 0) {
        const bool isAudio = type.majortype == MEDIATYPE_Audio;
        const wchar_t* const name =
            isAudio ? NameOf(kAudioTags, code) : NameOf(kVideoCodes, Capitals(code));
        const std::wstring letters = Letters(code);
        return name != nullptr ? name : letters.empty() ? Hex(code) : letters;
    }
    if (type.subtype == GUID_NULL || type.majortype == MEDIATYPE_Stream) {
        return {};
    }
    std::array<wchar_t, 39> text{};
    StringFromGUID2(type.subtype, text.data(), static_cast<int>(text.size()));
    return text.data();
}

template <class Format> const Format* Block(const AM_MEDIA_TYPE& type, const GUID& kind) {
    return type.formattype == kind && type.cbFormat >= sizeof(Format) && type.pbFormat != nullptr
               ? reinterpret_cast<const Format*>(type.pbFormat)
               : nullptr;
}

/// With two places where it is no whole number.
std::wstring Decimal(double value) {
    std::array<wchar_t, 40> text{};
    const bool isWhole = std::fabs(value - std::round(value)) < 0.005;
    std::swprintf(text.data(), text.size(), isWhole ? L"%.0f" : L"%.2f", value);
    return text.data();
}

std::wstring PictureText(const BITMAPINFOHEADER& picture, REFERENCE_TIME frameTime) {
    std::wstring text;
    if (picture.biWidth > 0 && picture.biHeight != 0) {
        const long long height = picture.biHeight;
        text = L", " + std::to_wstring(picture.biWidth) + L"x" +
               std::to_wstring(height < 0 ? -height : height);
    }
    if (frameTime > 0) {
        text += L", " + Decimal(1e7 / static_cast<double>(frameTime)) + L" fps";
    }
    return text;
}

std::wstring VideoDetails(const AM_MEDIA_TYPE& type) {
    if (const auto* video = Block<VIDEOINFOHEADER>(type, FORMAT_VideoInfo)) {
        return PictureText(video->bmiHeader, video->AvgTimePerFrame);
    }
    const GUID* const second =
        type.formattype == FORMAT_MPEG2Video ? &FORMAT_MPEG2Video : &FORMAT_VideoInfo2;
    if (const auto* video = Block<VIDEOINFOHEADER2>(type, *second)) {
        return PictureText(video->bmiHeader, video->AvgTimePerFrame);
    }
    if (const auto* video = Block<VIDEOINFOHEADER>(type, FORMAT_MPEGVideo)) {
        return PictureText(video->bmiHeader, video->AvgTimePerFrame);
    }
    return {};
}

std::wstring Channels(const AM_MEDIA_TYPE& type, WORD count) {
    constexpr DWORD kLowFrequency = 0x8;
    bool hasLow = count == 6 || count == 8;
    if (const auto* wave = Block<WAVEFORMATEXTENSIBLE>(type, FORMAT_WaveFormatEx);
        wave != nullptr && wave->Format.wFormatTag == WAVE_FORMAT_EXTENSIBLE &&
        wave->dwChannelMask != 0) {
        hasLow = (wave->dwChannelMask & kLowFrequency) != 0;
    }
    if (count == 1 || count == 2) {
        return count == 1 ? L"mono" : L"stereo";
    }
    return hasLow ? std::to_wstring(count - 1) + L".1" : std::to_wstring(count) + L" channels";
}

std::wstring AudioDetails(const AM_MEDIA_TYPE& type) {
    const auto* const wave = Block<PCMWAVEFORMAT>(type, FORMAT_WaveFormatEx);
    if (wave == nullptr) {
        return {};
    }
    std::wstring text;
    if (wave->wf.nSamplesPerSec > 0) {
        text += L", " + std::to_wstring(wave->wf.nSamplesPerSec) + L" Hz";
    }
    if (wave->wf.nChannels > 0) {
        text += L", " + Channels(type, wave->wf.nChannels);
    }
    const DWORD code = CodeOf(type.subtype);
    if ((code == WAVE_FORMAT_PCM || code == 3) && wave->wBitsPerSample > 0) {
        text += L", " + std::to_wstring(wave->wBitsPerSample) + L" bit";
    }
    return text;
}

std::wstring Text(const AM_MEDIA_TYPE& type) {
    struct Major {
        const GUID& guid;
        const wchar_t* name;
    };
    const Major majors[] = {
        {MEDIATYPE_Video, L"video"},
        {MEDIATYPE_Audio, L"audio"},
        {MEDIATYPE_Text, L"text"},
        {kSubtitles, L"subtitles"},
        {MEDIATYPE_Stream, L"byte stream"},
        {MEDIATYPE_Interleaved, L"interleaved"},
        {MEDIATYPE_AnalogVideo, L"analog video"},
        {MEDIATYPE_Midi, L"MIDI"},
        {MEDIATYPE_ScriptCommand, L"script commands"},
    };
    const auto major = std::find_if(std::begin(majors), std::end(majors),
                                    [&](const Major& one) { return one.guid == type.majortype; });
    std::wstring text = Subtype(type);
    text += text.empty() ? L"" : L" ";
    text += major != std::end(majors) ? major->name : L"data";
    if (type.majortype == MEDIATYPE_Video) {
        text += VideoDetails(type);
    } else if (type.majortype == MEDIATYPE_Audio) {
        text += AudioDetails(type);
    }
    return text;
}

} // namespace

std::wstring MediaTypeText(const AM_MEDIA_TYPE& type) {
    return AnswerOr(std::wstring(), [&] { return Text(type); });
}
