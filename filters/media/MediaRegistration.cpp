// How the media module's filters are registered, for hosts that build their graphs from what the
// system knows.

#include "base/Registration.h"
#include "media/MediaFilters.h"
#include "media/Subtypes.h"

namespace ymfilters {

namespace {

constexpr GUID OfTag(const char (&tag)[5]) {
    return TaggedSubtype(FourCc(tag));
}

// What other makers' sources and splitters give, and the own type, which has the rest.
constexpr GUID kMpeg1 = {
    0xe436eb81, 0x524f, 0x11ce, {0x9f, 0x53, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};
constexpr GUID kMpeg2 = {
    0xe06d8026, 0xdb46, 0x11cf, {0xb4, 0xd1, 0x00, 0x80, 0x5f, 0x6c, 0xbb, 0xea}};
constexpr GUID kVideoTypes[] = {
    MEDIASUBTYPE_MediaCodec, kMpeg1,        kMpeg2,        OfTag("H264"), OfTag("h264"),
    OfTag("X264"),           OfTag("AVC1"), OfTag("avc1"), OfTag("HEVC"), OfTag("hevc"),
    OfTag("HVC1"),           OfTag("hvc1"), OfTag("VP80"), OfTag("VP90"), OfTag("AV01"),
    OfTag("MP4V"),           OfTag("mp4v"), OfTag("XVID"), OfTag("xvid"), OfTag("DIVX"),
    OfTag("divx"),           OfTag("DX50"), OfTag("FMP4"), OfTag("DIV3"), OfTag("MP42"),
    OfTag("MP43"),           OfTag("MPG4"), OfTag("WMV1"), OfTag("WMV2"), OfTag("WMV3"),
    OfTag("WVC1"),           OfTag("MJPG"), OfTag("FLV1"), OfTag("VP62"), OfTag("VP6F"),
    OfTag("H263"),           OfTag("dvsd")};

constexpr GUID kAudioTypes[] = {TaggedSubtype(0x0002),
                                TaggedSubtype(0x0006),
                                TaggedSubtype(0x0007),
                                TaggedSubtype(0x0011),
                                TaggedSubtype(0x0050),
                                TaggedSubtype(0x0055),
                                TaggedSubtype(0x00FF),
                                TaggedSubtype(0x0160),
                                TaggedSubtype(0x0161),
                                TaggedSubtype(0x0162),
                                TaggedSubtype(0x0163),
                                TaggedSubtype(0x01FF),
                                TaggedSubtype(0x1600),
                                TaggedSubtype(0x1610),
                                TaggedSubtype(0x2000),
                                TaggedSubtype(0x2001),
                                TaggedSubtype(0x704F),
                                TaggedSubtype(0xF1AC),
                                kDolbyAc3,
                                kDolbyDigitalPlus,
                                kDts,
                                kVorbis,
                                MEDIASUBTYPE_MediaCodec};

const RegisteredPin kVideoPins[] = {{0, &MEDIATYPE_Video, kVideoTypes},
                                    {REG_PINFLAG_B_OUTPUT, &MEDIATYPE_Video, {}}};
const RegisteredPin kAudioPins[] = {{0, &MEDIATYPE_Audio, kAudioTypes},
                                    {REG_PINFLAG_B_OUTPUT, &MEDIATYPE_Audio, {}}};

// Before the decoders of the system, which share MERIT_NORMAL.
const RegisteredFilter kFilters[] = {
    {&CLSID_MediaSource, L"Media Source", MERIT_NORMAL, {}},
    {&CLSID_MediaVideoDecoder, L"Media Video Decoder", MERIT_NORMAL + 1, kVideoPins},
    {&CLSID_MediaAudioDecoder, L"Media Audio Decoder", MERIT_NORMAL + 1, kAudioPins},
};

} // namespace

} // namespace ymfilters

YMD_FILTER_REGISTRATION(ymfilters::kFilters)
