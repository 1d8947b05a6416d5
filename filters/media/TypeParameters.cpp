// What a decoder reads from the type of a connection: StreamTypes.cpp the other way round.

#include <windows.h>

#include <dshow.h>
#include <dvdmedia.h>
#include <mmreg.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "media/MediaFilters.h"
#include "media/StreamTypes.h"
#include "media/Subtypes.h"

namespace ymfilters {

namespace {

using Bytes = std::vector<std::uint8_t>;

std::optional<DWORD> TagOf(const GUID& subtype) {
    const bool isTagged = subtype == TaggedSubtype(subtype.Data1);
    return isTagged ? std::optional(subtype.Data1) : std::nullopt;
}

/// An AVC configuration record of parameter sets, each behind its length in two bytes.
Bytes RecordOfSets(std::span<const std::uint8_t> sets, DWORD lengthSize) {
    std::vector<std::span<const std::uint8_t>> sequence;
    std::vector<std::span<const std::uint8_t>> picture;
    for (std::size_t at = 0; at + 3 <= sets.size();) {
        const std::size_t size = 2 + (sets[at] << 8 | sets[at + 1]);
        if (at + size > sets.size()) {
            break;
        }
        const std::span set = sets.subspan(at, size);
        if (size > 2) {
            ((set[2] & 31) == 7 ? sequence : picture).push_back(set);
        }
        at += size;
    }
    if (sequence.empty() || sequence[0].size() < 6) {
        return {};
    }
    Bytes record = {1,
                    sequence[0][3],
                    sequence[0][4],
                    sequence[0][5],
                    static_cast<std::uint8_t>(0xFC | (std::clamp<DWORD>(lengthSize, 1, 4) - 1)),
                    static_cast<std::uint8_t>(0xE0 | sequence.size())};
    const auto append = [&](const auto& list) {
        for (const auto& set : list) {
            record.insert(record.end(), set.begin(), set.end());
        }
    };
    append(sequence);
    record.push_back(static_cast<std::uint8_t>(picture.size()));
    append(picture);
    return record;
}

void SetExtraData(AVCodecParameters& codec, std::span<const std::uint8_t> data) {
    if (data.empty()) {
        return;
    }
    codec.extradata =
        static_cast<std::uint8_t*>(av_mallocz(data.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (codec.extradata != nullptr) {
        std::memcpy(codec.extradata, data.data(), data.size());
        codec.extradata_size = static_cast<int>(data.size());
    }
}

void SetChannels(AVCodecParameters& codec, int channels, std::uint64_t mask) {
    if (mask == 0 || av_channel_layout_from_mask(&codec.ch_layout, mask) < 0 ||
        codec.ch_layout.nb_channels != channels) {
        av_channel_layout_uninit(&codec.ch_layout);
        av_channel_layout_default(&codec.ch_layout, channels);
    }
}

template <class Format>
const Format* ReadFormat(const AM_MEDIA_TYPE& type, const GUID& formatType,
                         std::size_t size = sizeof(Format)) {
    const bool isIt =
        type.formattype == formatType && type.pbFormat != nullptr && type.cbFormat >= size;
    return isIt ? reinterpret_cast<const Format*>(type.pbFormat) : nullptr;
}

std::span<const std::uint8_t> Behind(const AM_MEDIA_TYPE& type, std::size_t offset,
                                     std::size_t size) {
    offset = std::min<std::size_t>(offset, type.cbFormat);
    return {type.pbFormat + offset, std::min<std::size_t>(size, type.cbFormat - offset)};
}

void ReadOwn(const AM_MEDIA_TYPE& type, StreamParameters& stream) {
    const auto* const format = ReadFormat<CodecFormat>(type, FORMAT_MediaCodec);
    if (format == nullptr || format->codec[sizeof(format->codec) - 1] != '\0') {
        return;
    }
    const AVCodecDescriptor* const descriptor = avcodec_descriptor_get_by_name(format->codec);
    if (descriptor == nullptr) {
        return;
    }
    AVCodecParameters& codec = *stream.codec;
    codec.codec_type = descriptor->type;
    codec.codec_id = descriptor->id;
    codec.codec_tag = format->tag;
    codec.format = format->format;
    codec.bit_rate = format->bitRate;
    codec.bits_per_coded_sample = format->bitsPerCodedSample;
    codec.bits_per_raw_sample = format->bitsPerRawSample;
    codec.profile = format->profile;
    codec.level = format->level;
    codec.width = format->width;
    codec.height = format->height;
    codec.field_order = static_cast<AVFieldOrder>(format->fieldOrder);
    codec.color_range = static_cast<AVColorRange>(format->colorRange);
    codec.color_primaries = static_cast<AVColorPrimaries>(format->colorPrimaries);
    codec.color_trc = static_cast<AVColorTransferCharacteristic>(format->colorTransfer);
    codec.color_space = static_cast<AVColorSpace>(format->colorSpace);
    codec.chroma_location = static_cast<AVChromaLocation>(format->chromaLocation);
    codec.video_delay = format->hasReorderedFrames;
    codec.sample_rate = format->sampleRate;
    codec.block_align = format->blockAlign;
    codec.frame_size = format->frameSize;
    codec.initial_padding = format->initialPadding;
    codec.seek_preroll = format->seekPreroll;
    if (format->channels > 0) {
        SetChannels(codec, format->channels, format->channelMask);
    }
    stream.frameTime = format->frameTime;
    stream.pixelAspect = {format->aspectNumerator, format->aspectDenominator};
    stream.rotation = format->rotation;
    SetExtraData(codec, Behind(type, format->size, format->extraSize));
}

template <class Header>
void ReadPicture(const Header& header, AVCodecID codecId, StreamParameters& stream) {
    AVCodecParameters& codec = *stream.codec;
    codec.codec_type = AVMEDIA_TYPE_VIDEO;
    codec.codec_id = codecId;
    codec.codec_tag = header.bmiHeader.biCompression;
    codec.width = header.bmiHeader.biWidth;
    codec.height = std::abs(header.bmiHeader.biHeight);
    codec.bits_per_coded_sample = header.bmiHeader.biBitCount;
    stream.frameTime = std::max<LONGLONG>(header.AvgTimePerFrame, 0);
    if constexpr (requires { header.dwPictAspectRatioX; }) {
        if (header.dwPictAspectRatioX > 0 && header.dwPictAspectRatioY > 0 && codec.width > 0 &&
            codec.height > 0) {
            av_reduce(&stream.pixelAspect.num, &stream.pixelAspect.den,
                      std::int64_t{header.dwPictAspectRatioX} * codec.height,
                      std::int64_t{header.dwPictAspectRatioY} * codec.width, 0xFFFF);
        }
    }
}

AVCodecID VideoCodecOf(const GUID& subtype) {
    if (subtype == MEDIASUBTYPE_MPEG2_VIDEO) {
        return AV_CODEC_ID_MPEG2VIDEO;
    }
    if (subtype == MEDIASUBTYPE_MPEG1Payload || subtype == MEDIASUBTYPE_MPEG1Packet) {
        return AV_CODEC_ID_MPEG1VIDEO;
    }
    const std::optional<DWORD> tag = TagOf(subtype);
    if (!tag || *tag == BI_RGB) {
        return AV_CODEC_ID_NONE;
    }
    if (*tag == FourCc("AVC1") || *tag == FourCc("avc1")) {
        return AV_CODEC_ID_H264;
    }
    if (*tag == FourCc("HEVC") || *tag == FourCc("H265")) {
        return AV_CODEC_ID_HEVC;
    }
    const AVCodecTag* const tables[] = {avformat_get_riff_video_tags(),
                                        avformat_get_mov_video_tags(), nullptr};
    const AVCodecID codec = av_codec_get_id(tables, *tag);
    return codec == AV_CODEC_ID_RAWVIDEO ? AV_CODEC_ID_NONE : codec;
}

void ReadVideoType(const AM_MEDIA_TYPE& type, StreamParameters& stream) {
    const AVCodecID codec = VideoCodecOf(type.subtype);
    if (codec == AV_CODEC_ID_NONE) {
        return;
    }
    constexpr std::size_t kMpeg2Size = offsetof(MPEG2VIDEOINFO, dwSequenceHeader);
    constexpr std::size_t kMpeg1Size = offsetof(MPEG1VIDEOINFO, bSequenceHeader);
    if (const auto* const mpeg2 = ReadFormat<MPEG2VIDEOINFO>(type, FORMAT_MPEG2Video, kMpeg2Size)) {
        ReadPicture(mpeg2->hdr, codec, stream);
        const auto sequence = Behind(type, kMpeg2Size, mpeg2->cbSequenceHeader);
        const bool isAvc = codec == AV_CODEC_ID_H264 && !sequence.empty() && sequence[0] != 1;
        SetExtraData(*stream.codec, isAvc ? RecordOfSets(sequence, mpeg2->dwFlags)
                                          : Bytes(sequence.begin(), sequence.end()));
    } else if (const auto* const mpeg1 =
                   ReadFormat<MPEG1VIDEOINFO>(type, FORMAT_MPEGVideo, kMpeg1Size)) {
        ReadPicture(mpeg1->hdr, codec, stream);
        SetExtraData(*stream.codec, Behind(type, kMpeg1Size, mpeg1->cbSequenceHeader));
    } else if (const auto* const second = ReadFormat<VIDEOINFOHEADER2>(type, FORMAT_VideoInfo2)) {
        ReadPicture(*second, codec, stream);
        SetExtraData(*stream.codec, Behind(type, sizeof(*second), type.cbFormat));
    } else if (const auto* const first = ReadFormat<VIDEOINFOHEADER>(type, FORMAT_VideoInfo)) {
        ReadPicture(*first, codec, stream);
        SetExtraData(*stream.codec, Behind(type, sizeof(*first), type.cbFormat));
    }
}

AVCodecID AudioCodecOf(const GUID& subtype, int bits) {
    if (subtype == kDolbyAc3) {
        return AV_CODEC_ID_AC3;
    }
    if (subtype == kDolbyDigitalPlus) {
        return AV_CODEC_ID_EAC3;
    }
    if (subtype == kDts) {
        return AV_CODEC_ID_DTS;
    }
    const std::optional<DWORD> tag = TagOf(subtype);
    if (!tag) {
        return AV_CODEC_ID_NONE;
    }
    if (*tag == 0xFF || *tag == 0x1600 || *tag == 0x1610) {
        return AV_CODEC_ID_AAC;
    }
    for (const AudioTag& known : kAudioTags) {
        const bool isSized = known.tag == WAVE_FORMAT_PCM || known.tag == WAVE_FORMAT_IEEE_FLOAT;
        if (known.tag == *tag && (!isSized || av_get_bits_per_sample(known.codec) == bits)) {
            return known.codec;
        }
    }
    const AVCodecTag* const tables[] = {avformat_get_riff_audio_tags(), nullptr};
    return av_codec_get_id(tables, *tag);
}

void ReadVorbis(const AM_MEDIA_TYPE& type, const VorbisFormat& format, AVCodecParameters& codec) {
    codec.codec_id = AV_CODEC_ID_VORBIS;
    codec.sample_rate = static_cast<int>(format.samplesPerSecond);
    SetChannels(codec, static_cast<int>(format.channels), 0);
    Bytes laced = {2};
    for (int i = 0; i < 2; ++i) {
        laced.insert(laced.end(), std::min<DWORD>(format.headerSizes[i], 1 << 20) / 255, 255);
        laced.push_back(static_cast<std::uint8_t>(format.headerSizes[i] % 255));
    }
    const auto headers = Behind(type, sizeof(format), type.cbFormat);
    laced.insert(laced.end(), headers.begin(), headers.end());
    SetExtraData(codec, laced);
}

void ReadAudioType(const AM_MEDIA_TYPE& type, StreamParameters& stream) {
    AVCodecParameters& codec = *stream.codec;
    codec.codec_type = AVMEDIA_TYPE_AUDIO;
    if (const auto* const vorbis = ReadFormat<VorbisFormat>(type, kVorbisFormat)) {
        ReadVorbis(type, *vorbis, codec);
        return;
    }
    const auto* const format = ReadFormat<WAVEFORMATEX>(type, FORMAT_WaveFormatEx);
    if (format == nullptr) {
        return;
    }
    codec.codec_id = AudioCodecOf(type.subtype, format->wBitsPerSample);
    codec.codec_tag = format->wFormatTag;
    codec.sample_rate = static_cast<int>(std::min<DWORD>(format->nSamplesPerSec, MAXLONG));
    codec.block_align = format->nBlockAlign;
    codec.bits_per_coded_sample = format->wBitsPerSample;
    codec.bit_rate = std::int64_t{format->nAvgBytesPerSec} * 8;
    const bool isExtensible = format->wFormatTag == WAVE_FORMAT_EXTENSIBLE &&
                              type.cbFormat >= sizeof(WAVEFORMATEXTENSIBLE);
    SetChannels(codec, format->nChannels,
                isExtensible ? reinterpret_cast<const WAVEFORMATEXTENSIBLE*>(format)->dwChannelMask
                             : 0);
    if (!isExtensible) {
        SetExtraData(codec, Behind(type, sizeof(*format), format->cbSize));
    }
}

} // namespace

StreamParameters ParametersOf(const AM_MEDIA_TYPE& type) {
    StreamParameters stream;
    stream.codec.reset(avcodec_parameters_alloc());
    if (stream.codec == nullptr) {
        return stream;
    }
    if (type.formattype == FORMAT_MediaCodec && type.subtype == MEDIASUBTYPE_MediaCodec) {
        ReadOwn(type, stream);
    } else if (type.majortype == MEDIATYPE_Video) {
        ReadVideoType(type, stream);
    } else if (type.majortype == MEDIATYPE_Audio) {
        ReadAudioType(type, stream);
    }
    if (stream.codec->codec_id == AV_CODEC_ID_NONE) {
        stream.codec.reset();
    }
    return stream;
}

} // namespace ymfilters
