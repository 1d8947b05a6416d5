#include "media/StreamTypes.h"

#include <dvdmedia.h>
#include <mmreg.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <span>
#include <utility>

#include "media/MediaFilters.h"
#include "media/Subtypes.h"

namespace ymfilters {

namespace {

using Bytes = std::vector<std::uint8_t>;

struct SubtitleFormat {
    DWORD offset; ///< of the extra data
    char language[4];
    WCHAR trackName[256];
};

struct VideoTag {
    AVCodecID codec;
    DWORD tag;
};
/// Video streams whose packets and extra data are the same under a FOURCC everywhere.
constexpr VideoTag kVideoTags[] = {
    {AV_CODEC_ID_VP8, FourCc("VP80")},       {AV_CODEC_ID_VP9, FourCc("VP90")},
    {AV_CODEC_ID_AV1, FourCc("AV01")},       {AV_CODEC_ID_MPEG4, FourCc("MP4V")},
    {AV_CODEC_ID_MSMPEG4V3, FourCc("DIV3")}, {AV_CODEC_ID_MSMPEG4V2, FourCc("MP42")},
    {AV_CODEC_ID_MSMPEG4V1, FourCc("MPG4")}, {AV_CODEC_ID_WMV1, FourCc("WMV1")},
    {AV_CODEC_ID_WMV2, FourCc("WMV2")},      {AV_CODEC_ID_WMV3, FourCc("WMV3")},
    {AV_CODEC_ID_VC1, FourCc("WVC1")},       {AV_CODEC_ID_MJPEG, FourCc("MJPG")},
    {AV_CODEC_ID_FLV1, FourCc("FLV1")},      {AV_CODEC_ID_VP6, FourCc("VP62")},
    {AV_CODEC_ID_VP6F, FourCc("VP6F")},      {AV_CODEC_ID_H263, FourCc("H263")},
    {AV_CODEC_ID_DVVIDEO, FourCc("dvsd")},
};

Bytes ExtraData(const AVCodecParameters& codec) {
    return codec.extradata != nullptr
               ? Bytes(codec.extradata, codec.extradata + codec.extradata_size)
               : Bytes();
}

/// ISO/IEC 14496-15: a configuration record, packets with the lengths of their units.
bool HasConfigurationRecord(const AVCodecParameters& codec) {
    return codec.extradata_size > 6 && codec.extradata[0] == 1;
}

/// The parameter sets of an AVC configuration record, each behind its length in two bytes.
Bytes SetsOfRecord(std::span<const std::uint8_t> record) {
    Bytes sets;
    std::size_t at = 6;
    for (int count : {record[5] & 31, -1}) {
        if (count < 0) {
            count = at < record.size() ? record[at++] : 0;
        }
        for (; count > 0 && at + 2 <= record.size(); --count) {
            const std::size_t size = 2 + (record[at] << 8 | record[at + 1]);
            if (at + size > record.size()) {
                return sets;
            }
            sets.insert(sets.end(), record.begin() + at, record.begin() + at + size);
            at += size;
        }
    }
    return sets;
}

/// The three headers of a Xiph codec, from the extra data's lacing.
std::optional<std::array<std::span<const std::uint8_t>, 3>>
SplitHeaders(std::span<const std::uint8_t> data) {
    std::array<std::size_t, 3> sizes{};
    std::size_t at = 1;
    if (data.size() < 6) {
        return std::nullopt;
    }
    if (data[0] == 2) {
        for (int i = 0; i < 2; ++i) {
            std::uint8_t byte = 255;
            while (byte == 255 && at < data.size()) {
                sizes[i] += byte = data[at++];
            }
        }
    } else {
        return std::nullopt;
    }
    if (at + sizes[0] + sizes[1] >= data.size()) {
        return std::nullopt;
    }
    sizes[2] = data.size() - at - sizes[0] - sizes[1];
    return std::array{data.subspan(at, sizes[0]), data.subspan(at + sizes[0], sizes[1]),
                      data.subspan(at + sizes[0] + sizes[1], sizes[2])};
}

class TypeList {
public:
    explicit TypeList(const StreamParameters& stream) : m_stream(stream), m_codec(*stream.codec) {}

    std::vector<ymdshow::MediaType> Take() { return std::move(m_types); }
    void AddVideo();
    void AddAudio();
    void AddText();

private:
    void Add(const GUID& major, const GUID& subtype, const GUID& formatType, const void* format,
             std::size_t size, const Bytes& extra, ULONG sampleSize = 0);
    void AddOwn(const GUID& major);
    void AddPicture(DWORD tag, const Bytes& extra);
    void AddSequence(const GUID& subtype, DWORD tag, const Bytes& sequence, DWORD flags);
    void AddWave(const GUID& subtype, WORD tag, const Bytes& extra);
    void AddVorbis();
    void AddPcm(WORD tag);
    template <class Header> Header PictureHeader(DWORD tag, const Bytes& extra) const;

    const StreamParameters& m_stream;
    const AVCodecParameters& m_codec;
    std::vector<ymdshow::MediaType> m_types;
};

void TypeList::Add(const GUID& major, const GUID& subtype, const GUID& formatType,
                   const void* format, std::size_t size, const Bytes& extra, ULONG sampleSize) {
    Bytes block(size + extra.size());
    std::memcpy(block.data(), format, size);
    std::copy(extra.begin(), extra.end(), block.begin() + static_cast<std::ptrdiff_t>(size));
    AM_MEDIA_TYPE type{};
    type.majortype = major;
    type.subtype = subtype;
    type.formattype = formatType;
    type.bFixedSizeSamples = sampleSize > 0 ? TRUE : FALSE;
    type.lSampleSize = sampleSize;
    type.cbFormat = static_cast<ULONG>(block.size());
    type.pbFormat = block.data();
    ymdshow::MediaType made;
    if (SUCCEEDED(made.Assign(type))) {
        m_types.push_back(std::move(made));
    }
}

template <class Header> Header TypeList::PictureHeader(DWORD tag, const Bytes& extra) const {
    Header header{};
    header.rcSource = header.rcTarget = {0, 0, m_codec.width, m_codec.height};
    header.AvgTimePerFrame = m_stream.frameTime;
    header.dwBitRate = static_cast<DWORD>(std::clamp<std::int64_t>(m_codec.bit_rate, 0, MAXDWORD));
    header.bmiHeader.biSize = static_cast<DWORD>(sizeof(BITMAPINFOHEADER) + extra.size());
    header.bmiHeader.biWidth = m_codec.width;
    header.bmiHeader.biHeight = m_codec.height;
    header.bmiHeader.biPlanes = 1;
    header.bmiHeader.biBitCount =
        static_cast<WORD>(m_codec.bits_per_coded_sample > 0 ? m_codec.bits_per_coded_sample : 24);
    header.bmiHeader.biCompression = tag;
    header.bmiHeader.biSizeImage = static_cast<DWORD>(
        std::min<std::int64_t>(std::int64_t{3} * m_codec.width * m_codec.height, MAXLONG));
    if constexpr (requires { header.dwPictAspectRatioX; }) {
        const AVRational pixel =
            m_stream.pixelAspect.num > 0 ? m_stream.pixelAspect : AVRational{1, 1};
        int x = 1;
        int y = 1;
        av_reduce(&x, &y, std::int64_t{pixel.num} * m_codec.width,
                  std::int64_t{pixel.den} * m_codec.height, 0xFFFF);
        header.dwPictAspectRatioX = static_cast<DWORD>(x);
        header.dwPictAspectRatioY = static_cast<DWORD>(y);
        if (m_codec.field_order > AV_FIELD_PROGRESSIVE) {
            header.dwInterlaceFlags = AMINTERLACE_IsInterlaced | AMINTERLACE_DisplayModeBobOrWeave;
        }
    }
    return header;
}

void TypeList::AddPicture(DWORD tag, const Bytes& extra) {
    const auto second = PictureHeader<VIDEOINFOHEADER2>(tag, extra);
    Add(MEDIATYPE_Video, TaggedSubtype(tag), FORMAT_VideoInfo2, &second, sizeof(second), extra);
    const auto first = PictureHeader<VIDEOINFOHEADER>(tag, extra);
    Add(MEDIATYPE_Video, TaggedSubtype(tag), FORMAT_VideoInfo, &first, sizeof(first), extra);
}

void TypeList::AddSequence(const GUID& subtype, DWORD tag, const Bytes& sequence, DWORD flags) {
    MPEG2VIDEOINFO info{};
    info.hdr = PictureHeader<VIDEOINFOHEADER2>(tag, {});
    info.cbSequenceHeader = static_cast<DWORD>(sequence.size());
    info.dwProfile = static_cast<DWORD>(std::max(m_codec.profile, 0));
    info.dwLevel = static_cast<DWORD>(std::max(m_codec.level, 0));
    info.dwFlags = flags;
    Add(MEDIATYPE_Video, subtype, FORMAT_MPEG2Video, &info,
        offsetof(MPEG2VIDEOINFO, dwSequenceHeader), sequence);
}

void TypeList::AddVideo() {
    const Bytes extra = ExtraData(m_codec);
    switch (m_codec.codec_id) {
    case AV_CODEC_ID_H264:
        if (HasConfigurationRecord(m_codec)) {
            AddSequence(TaggedSubtype(FourCc("AVC1")), FourCc("AVC1"), SetsOfRecord(extra),
                        (extra[4] & 3U) + 1);
        }
        AddPicture(FourCc("H264"), HasConfigurationRecord(m_codec) ? Bytes() : extra);
        break;
    case AV_CODEC_ID_HEVC:
        if (HasConfigurationRecord(m_codec)) {
            AddSequence(TaggedSubtype(FourCc("HVC1")), FourCc("HVC1"), extra,
                        extra.size() > 21 ? (extra[21] & 3U) + 1 : 4);
        }
        AddPicture(FourCc("HEVC"), HasConfigurationRecord(m_codec) ? Bytes() : extra);
        break;
    case AV_CODEC_ID_MPEG2VIDEO:
        AddSequence(MEDIASUBTYPE_MPEG2_VIDEO, 0, extra, 0);
        break;
    case AV_CODEC_ID_MPEG1VIDEO: {
        MPEG1VIDEOINFO info{};
        info.hdr = PictureHeader<VIDEOINFOHEADER>(0, {});
        info.cbSequenceHeader = static_cast<DWORD>(extra.size());
        Add(MEDIATYPE_Video, MEDIASUBTYPE_MPEG1Payload, FORMAT_MPEGVideo, &info,
            offsetof(MPEG1VIDEOINFO, bSequenceHeader), extra);
        break;
    }
    default:
        for (const VideoTag& known : kVideoTags) {
            if (known.codec == m_codec.codec_id) {
                AddPicture(known.tag, extra);
                return;
            }
        }
        AddOwn(MEDIATYPE_Video);
    }
}

void TypeList::AddWave(const GUID& subtype, WORD tag, const Bytes& extra) {
    WAVEFORMATEX format{};
    format.wFormatTag = tag;
    format.nChannels = static_cast<WORD>(m_codec.ch_layout.nb_channels);
    format.nSamplesPerSec = static_cast<DWORD>(m_codec.sample_rate);
    format.nAvgBytesPerSec = static_cast<DWORD>(m_codec.bit_rate / 8);
    format.nBlockAlign = static_cast<WORD>(std::max(m_codec.block_align, 1));
    format.wBitsPerSample = static_cast<WORD>(m_codec.bits_per_coded_sample);
    format.cbSize = static_cast<WORD>(std::min<std::size_t>(extra.size(), 0xFFFF));
    Add(MEDIATYPE_Audio, subtype, FORMAT_WaveFormatEx, &format, sizeof(format), extra);
}

void TypeList::AddPcm(WORD tag) {
    WAVEFORMATEXTENSIBLE format{};
    const int bits = av_get_bits_per_sample(m_codec.codec_id);
    const int channels = m_codec.ch_layout.nb_channels;
    const bool isPlain = channels <= 2 && bits <= 16;
    format.Format.wFormatTag = isPlain ? tag : WORD{WAVE_FORMAT_EXTENSIBLE};
    format.Format.nChannels = static_cast<WORD>(channels);
    format.Format.nSamplesPerSec = static_cast<DWORD>(m_codec.sample_rate);
    format.Format.wBitsPerSample = static_cast<WORD>(bits);
    format.Format.nBlockAlign = static_cast<WORD>(channels * bits / 8);
    format.Format.nAvgBytesPerSec = format.Format.nSamplesPerSec * format.Format.nBlockAlign;
    format.Format.cbSize = isPlain ? 0 : sizeof(format) - sizeof(format.Format);
    format.Samples.wValidBitsPerSample = static_cast<WORD>(
        m_codec.bits_per_raw_sample > 0 ? std::min(m_codec.bits_per_raw_sample, bits) : bits);
    AVChannelLayout layout{};
    if (m_codec.ch_layout.order == AV_CHANNEL_ORDER_NATIVE) {
        format.dwChannelMask = static_cast<DWORD>(m_codec.ch_layout.u.mask);
    } else {
        av_channel_layout_default(&layout, channels);
        format.dwChannelMask = static_cast<DWORD>(layout.u.mask);
    }
    format.SubFormat = TaggedSubtype(tag);
    Add(MEDIATYPE_Audio, TaggedSubtype(tag), FORMAT_WaveFormatEx, &format,
        isPlain ? sizeof(format.Format) : sizeof(format), {}, format.Format.nBlockAlign);
}

void TypeList::AddVorbis() {
    const Bytes extra = ExtraData(m_codec);
    const auto headers = SplitHeaders(extra);
    if (!headers) {
        AddOwn(MEDIATYPE_Audio);
        return;
    }
    VorbisFormat format{};
    format.channels = static_cast<DWORD>(m_codec.ch_layout.nb_channels);
    format.samplesPerSecond = static_cast<DWORD>(m_codec.sample_rate);
    Bytes bytes;
    for (std::size_t i = 0; i < headers->size(); ++i) {
        format.headerSizes[i] = static_cast<DWORD>((*headers)[i].size());
        bytes.insert(bytes.end(), (*headers)[i].begin(), (*headers)[i].end());
    }
    Add(MEDIATYPE_Audio, kVorbis, kVorbisFormat, &format, sizeof(format), bytes);
}

void TypeList::AddAudio() {
    const Bytes extra = ExtraData(m_codec);
    switch (m_codec.codec_id) {
    case AV_CODEC_ID_AAC: {
        // Without a configuration of its own each packet has an ADTS header.
        const WORD tag = extra.empty() ? 0x1600 : 0xFF;
        AddWave(TaggedSubtype(tag), tag, extra);
        return;
    }
    case AV_CODEC_ID_EAC3:
        AddWave(kDolbyDigitalPlus, 0x2000, {});
        return;
    case AV_CODEC_ID_VORBIS:
        AddVorbis();
        return;
    case AV_CODEC_ID_MP1:
    case AV_CODEC_ID_MP2: {
        // MPEG1WAVEFORMAT behind the WAVEFORMATEX
        Bytes rest(22);
        rest[0] = m_codec.codec_id == AV_CODEC_ID_MP1 ? 1 : 2;
        AddWave(TaggedSubtype(0x50), 0x50, rest);
        return;
    }
    case AV_CODEC_ID_MP3: {
        // MPEGLAYER3WAVEFORMAT: ID 1 (MPEG), frames of varying size
        Bytes rest = {1, 0, 2, 0, 0, 0, 0, 0, 1, 0, 0, 0};
        AddWave(TaggedSubtype(0x55), 0x55, rest);
        return;
    }
    case AV_CODEC_ID_AC3:
        AddWave(kDolbyAc3, 0x2000, {});
        break;
    case AV_CODEC_ID_DTS:
        AddWave(kDts, 0x2001, {});
        break;
    default:
        break;
    }
    for (const AudioTag& known : kAudioTags) {
        if (known.codec != m_codec.codec_id) {
            continue;
        }
        if (known.tag == WAVE_FORMAT_PCM || known.tag == WAVE_FORMAT_IEEE_FLOAT) {
            AddPcm(known.tag);
        } else {
            AddWave(TaggedSubtype(known.tag), known.tag, extra);
        }
        return;
    }
    AddOwn(MEDIATYPE_Audio);
}

void TypeList::AddText() {
    const bool isStyled = m_codec.codec_id == AV_CODEC_ID_ASS;
    const bool isPlain =
        m_codec.codec_id == AV_CODEC_ID_SUBRIP || m_codec.codec_id == AV_CODEC_ID_TEXT ||
        m_codec.codec_id == AV_CODEC_ID_WEBVTT || m_codec.codec_id == AV_CODEC_ID_MOV_TEXT;
    if (!isStyled && !isPlain) {
        AddOwn(kSubtitle);
        return;
    }
    SubtitleFormat format{};
    format.offset = sizeof(format);
    const GUID& subtype = isStyled ? kAssText : kUtf8Text;
    Add(kSubtitle, subtype, kSubtitleFormat, &format, sizeof(format),
        isStyled ? ExtraData(m_codec) : Bytes());
    // What looks for text by its major type finds it.
    Add(MEDIATYPE_Text, subtype, kSubtitleFormat, &format, sizeof(format), {});
}

void TypeList::AddOwn(const GUID& major) {
    CodecFormat format;
    const Bytes extra = ExtraData(m_codec);
    format.extraSize = static_cast<std::uint32_t>(extra.size());
    std::strncpy(format.codec, avcodec_get_name(m_codec.codec_id), sizeof(format.codec) - 1);
    format.tag = m_codec.codec_tag;
    format.format = m_codec.format;
    format.bitRate = m_codec.bit_rate;
    format.bitsPerCodedSample = m_codec.bits_per_coded_sample;
    format.bitsPerRawSample = m_codec.bits_per_raw_sample;
    format.profile = m_codec.profile;
    format.level = m_codec.level;
    format.width = m_codec.width;
    format.height = m_codec.height;
    format.aspectNumerator = m_stream.pixelAspect.num;
    format.aspectDenominator = m_stream.pixelAspect.den;
    format.fieldOrder = m_codec.field_order;
    format.colorRange = m_codec.color_range;
    format.colorPrimaries = m_codec.color_primaries;
    format.colorTransfer = m_codec.color_trc;
    format.colorSpace = m_codec.color_space;
    format.chromaLocation = m_codec.chroma_location;
    format.hasReorderedFrames = m_codec.video_delay;
    format.channels = m_codec.ch_layout.nb_channels;
    format.channelMask = m_codec.ch_layout.order == AV_CHANNEL_ORDER_NATIVE
                             ? m_codec.ch_layout.u.mask
                             : std::uint64_t{0};
    format.sampleRate = m_codec.sample_rate;
    format.blockAlign = m_codec.block_align;
    format.frameSize = m_codec.frame_size;
    format.initialPadding = m_codec.initial_padding;
    format.seekPreroll = m_codec.seek_preroll;
    format.frameTime = m_stream.frameTime;
    format.rotation = m_stream.rotation;
    Add(major, MEDIASUBTYPE_MediaCodec, FORMAT_MediaCodec, &format, sizeof(format), extra);
}

} // namespace

std::vector<ymdshow::MediaType> TypesOf(const StreamParameters& stream) {
    TypeList types(stream);
    switch (stream.codec->codec_type) {
    case AVMEDIA_TYPE_VIDEO:
        types.AddVideo();
        break;
    case AVMEDIA_TYPE_AUDIO:
        types.AddAudio();
        break;
    case AVMEDIA_TYPE_SUBTITLE:
        types.AddText();
        break;
    default:
        break;
    }
    return types.Take();
}

const AVBitStreamFilter* FilterFor(const StreamParameters& stream, const AM_MEDIA_TYPE& type) {
    const AVCodecID codec = stream.codec->codec_id;
    const bool isRecord = HasConfigurationRecord(*stream.codec);
    if (codec == AV_CODEC_ID_H264 && isRecord && type.subtype == TaggedSubtype(FourCc("H264"))) {
        return av_bsf_get_by_name("h264_mp4toannexb");
    }
    if (codec == AV_CODEC_ID_HEVC && isRecord && type.subtype == TaggedSubtype(FourCc("HEVC"))) {
        return av_bsf_get_by_name("hevc_mp4toannexb");
    }
    if (codec == AV_CODEC_ID_MOV_TEXT && type.subtype == kUtf8Text) {
        return av_bsf_get_by_name("mov2textsub");
    }
    return nullptr;
}

} // namespace ymfilters
