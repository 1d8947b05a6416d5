#include "media/AudioOutput.h"

#include <mmreg.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

namespace ymfilters {

namespace {

constexpr int kMostChannels = 64;
constexpr int kLeastRate = 100;
constexpr int kMostRate = 768000;
constexpr std::uint64_t kWindowsSpeakers = 0x3ffff; ///< FFmpeg's first 18 are the same

constexpr GUID WaveSubtype(WORD tag) {
    return {tag, 0, 0x10, {0x80, 0, 0, 0xaa, 0, 0x38, 0x9b, 0x71}};
}
constexpr GUID kPcm = WaveSubtype(WAVE_FORMAT_PCM);
constexpr GUID kFloat = WaveSubtype(WAVE_FORMAT_IEEE_FLOAT);

struct Precision {
    AVSampleFormat format;
    int bits;
};
constexpr Precision k16{AV_SAMPLE_FMT_S16, 16};
constexpr Precision k24{AV_SAMPLE_FMT_S32, 24};
constexpr Precision k32{AV_SAMPLE_FMT_S32, 32};
constexpr Precision kReal{AV_SAMPLE_FMT_FLT, 32};

/// The best first: what keeps all, then what keeps most.
std::array<Precision, 4> PrecisionsFor(const AVCodecParameters& codec) {
    switch (av_get_packed_sample_fmt(static_cast<AVSampleFormat>(codec.format))) {
    case AV_SAMPLE_FMT_U8:
    case AV_SAMPLE_FMT_S16:
        return {k16, kReal, k32, k24};
    case AV_SAMPLE_FMT_S32:
    case AV_SAMPLE_FMT_S64:
        if (codec.bits_per_raw_sample > 0 && codec.bits_per_raw_sample <= 24) {
            return {k24, k32, kReal, k16};
        }
        return {k32, kReal, k24, k16};
    default:
        return {kReal, k32, k24, k16};
    }
}

std::uint64_t MaskOf(const AVChannelLayout& layout) {
    AVChannelLayout usual{};
    const AVChannelLayout* known = &layout;
    if (layout.order != AV_CHANNEL_ORDER_NATIVE) {
        av_channel_layout_default(&usual, layout.nb_channels);
        known = &usual;
    }
    return known->order == AV_CHANNEL_ORDER_NATIVE ? known->u.mask : 0;
}

std::vector<SoundFormat> FormatsFor(const StreamParameters& stream) {
    const AVCodecParameters& codec = *stream.codec;
    const std::array<Precision, 4> precisions = PrecisionsFor(codec);
    SoundFormat own;
    own.rate = codec.sample_rate > 0 ? std::clamp(codec.sample_rate, kLeastRate, kMostRate) : 48000;
    if (codec.ch_layout.nb_channels > 0 && codec.ch_layout.nb_channels <= kMostChannels) {
        own.channels = codec.ch_layout.nb_channels;
        own.mask = MaskOf(codec.ch_layout);
    } else {
        own.mask = AV_CH_LAYOUT_STEREO;
    }
    own.mask = (own.mask & ~kWindowsSpeakers) == 0 ? own.mask : 0;
    std::vector<SoundFormat> formats;
    const auto add = [&](SoundFormat format) {
        for (const Precision& precision : precisions) {
            format.format = precision.format;
            format.bits = precision.bits;
            formats.push_back(format);
        }
    };
    add(own);
    SoundFormat stereo = own;
    stereo.channels = 2;
    stereo.mask = AV_CH_LAYOUT_STEREO;
    if (own.channels != 2) {
        add(stereo);
    }
    for (const int rate : {48000, 44100}) {
        if (rate != own.rate) {
            stereo.rate = rate;
            add(stereo);
        }
    }
    return formats;
}

AVChannelLayout LayoutOf(int channels, std::uint64_t mask) {
    AVChannelLayout layout{};
    if (std::popcount(mask) != channels || av_channel_layout_from_mask(&layout, mask) < 0) {
        av_channel_layout_default(&layout, channels);
    }
    return layout;
}

} // namespace

bool SoundType(const StreamParameters& stream, unsigned index, ymdshow::MediaType& type) {
    const std::vector<SoundFormat> formats = FormatsFor(stream);
    if (index >= formats.size()) {
        return false;
    }
    const SoundFormat& format = formats[index];
    const bool isReal = format.format == AV_SAMPLE_FMT_FLT;
    WAVEFORMATEXTENSIBLE wave{};
    const bool isPlain = format.bits == 16 && format.channels <= 2;
    wave.Format.wFormatTag = isPlain ? WORD{WAVE_FORMAT_PCM} : WORD{WAVE_FORMAT_EXTENSIBLE};
    wave.Format.nChannels = static_cast<WORD>(format.channels);
    wave.Format.nSamplesPerSec = static_cast<DWORD>(format.rate);
    wave.Format.wBitsPerSample = static_cast<WORD>(format.bits);
    wave.Format.nBlockAlign = static_cast<WORD>(format.FrameBytes());
    wave.Format.nAvgBytesPerSec = wave.Format.nSamplesPerSec * wave.Format.nBlockAlign;
    if (!isPlain) {
        wave.Format.cbSize = sizeof(wave) - sizeof(wave.Format);
        wave.Samples.wValidBitsPerSample = wave.Format.wBitsPerSample;
        wave.dwChannelMask = static_cast<DWORD>(format.mask);
        wave.SubFormat = isReal ? kFloat : kPcm;
    }
    AM_MEDIA_TYPE made{};
    made.majortype = MEDIATYPE_Audio;
    made.subtype = isReal ? kFloat : kPcm;
    made.formattype = FORMAT_WaveFormatEx;
    made.bFixedSizeSamples = TRUE;
    made.lSampleSize = wave.Format.nBlockAlign;
    made.cbFormat = isPlain ? sizeof(wave.Format) : sizeof(wave);
    made.pbFormat = reinterpret_cast<BYTE*>(&wave);
    return SUCCEEDED(type.Assign(made));
}

std::optional<SoundFormat> ReadSoundFormat(const AM_MEDIA_TYPE& type) {
    if (type.majortype != MEDIATYPE_Audio || type.formattype != FORMAT_WaveFormatEx ||
        type.pbFormat == nullptr || type.cbFormat < sizeof(PCMWAVEFORMAT)) {
        return std::nullopt;
    }
    WAVEFORMATEXTENSIBLE wave{};
    std::memcpy(&wave, type.pbFormat, std::min<std::size_t>(type.cbFormat, sizeof(wave)));
    const bool isExtensible = wave.Format.wFormatTag == WAVE_FORMAT_EXTENSIBLE;
    if (isExtensible && type.cbFormat < sizeof(wave)) {
        return std::nullopt;
    }
    const GUID kind = isExtensible ? wave.SubFormat : WaveSubtype(wave.Format.wFormatTag);
    SoundFormat format;
    format.bits = wave.Format.wBitsPerSample;
    format.channels = wave.Format.nChannels;
    format.rate = static_cast<int>(std::min<DWORD>(wave.Format.nSamplesPerSec, INT_MAX));
    format.mask = isExtensible ? wave.dwChannelMask : 0;
    format.format = kind == kFloat      ? AV_SAMPLE_FMT_FLT
                    : format.bits == 16 ? AV_SAMPLE_FMT_S16
                                        : AV_SAMPLE_FMT_S32;
    const bool isKnown = kind == kFloat ? format.bits == 32
                                        : kind == kPcm && (format.bits == 16 || format.bits == 24 ||
                                                           format.bits == 32);
    const bool isSane = format.channels > 0 && format.channels <= kMostChannels &&
                        format.rate >= kLeastRate && format.rate <= kMostRate &&
                        wave.Format.nBlockAlign == format.FrameBytes();
    return isKnown && isSane ? std::optional(format) : std::nullopt;
}

bool SoundConverter::IsOpenFor(const AVFrame& frame) const {
    return m_resampler != nullptr && frame.format == m_inFormat && frame.sample_rate == m_inRate &&
           frame.ch_layout.nb_channels == m_inChannels && MaskOf(frame.ch_layout) == m_inMask;
}

bool SoundConverter::Open(const AVFrame& frame, const SoundFormat& format,
                          AVSampleFormat sampleFormat) {
    m_resampler.reset();
    m_inFormat = frame.format;
    m_inRate = frame.sample_rate;
    m_inChannels = frame.ch_layout.nb_channels;
    m_inMask = MaskOf(frame.ch_layout);
    m_isResampling = m_inRate != format.rate;
    m_outFrameBytes = format.channels * av_get_bytes_per_sample(sampleFormat);
    if (m_inRate <= 0 || m_inChannels <= 0 || m_inChannels > kMostChannels) {
        return false;
    }
    AVChannelLayout in = LayoutOf(m_inChannels, m_inMask);
    AVChannelLayout out = m_inChannels == format.channels && format.mask == 0
                              ? in
                              : LayoutOf(format.channels, format.mask);
    const auto make = [&] {
        SwrContext* made = nullptr;
        const int error =
            swr_alloc_set_opts2(&made, &out, sampleFormat, format.rate, &in,
                                static_cast<AVSampleFormat>(m_inFormat), m_inRate, 0, nullptr);
        m_resampler.reset(made);
        if (error < 0) {
            m_resampler.reset();
            return false;
        }
        av_opt_set_double(made, "rematrix_maxval", 1, 0); // a mix of loud channels must not clip
        return true;
    };
    if (make() && swr_init(m_resampler.get()) >= 0) {
        return true;
    }
    // Positions that nobody knows: in turn to the output's.
    if (!make()) {
        return false;
    }
    const auto inCount = static_cast<std::size_t>(m_inChannels);
    const auto outCount = static_cast<std::size_t>(format.channels);
    std::vector<double> matrix(inCount * outCount);
    for (std::size_t i = 0; i < std::max(inCount, outCount); ++i) {
        matrix[i % outCount * inCount + i % inCount] =
            1.0 / static_cast<double>((inCount + outCount - 1) / outCount);
    }
    const bool isMixed = swr_set_matrix(m_resampler.get(), matrix.data(), m_inChannels) >= 0 &&
                         swr_init(m_resampler.get()) >= 0;
    if (!isMixed) {
        m_resampler.reset();
    }
    return isMixed;
}

void SoundConverter::Convert(const AVFrame& frame, int first, int count, std::vector<BYTE>& bytes) {
    const auto format = static_cast<AVSampleFormat>(m_inFormat);
    const bool isPlanar = av_sample_fmt_is_planar(format) != 0;
    const int step = av_get_bytes_per_sample(format) * (isPlanar ? 1 : m_inChannels);
    std::array<const std::uint8_t*, kMostChannels> input{};
    for (int i = 0; i < (isPlanar ? m_inChannels : 1); ++i) {
        input[static_cast<std::size_t>(i)] =
            frame.extended_data[i] + static_cast<std::ptrdiff_t>(first) * step;
    }
    Run(input.data(), count, bytes);
}

void SoundConverter::Finish(std::vector<BYTE>& bytes) {
    if (m_resampler != nullptr && m_isResampling) {
        Run(nullptr, 0, bytes);
        m_resampler.reset(); // takes nothing more
    }
}

void SoundConverter::Run(const std::uint8_t** input, int count, std::vector<BYTE>& bytes) {
    const int most = swr_get_out_samples(m_resampler.get(), count);
    if (most <= 0) {
        return;
    }
    const auto frameBytes = static_cast<std::size_t>(m_outFrameBytes);
    const std::size_t before = bytes.size();
    bytes.resize(before + static_cast<std::size_t>(most) * frameBytes);
    std::uint8_t* output = bytes.data() + before;
    const int made = swr_convert(m_resampler.get(), &output, most, input, count);
    bytes.resize(before + static_cast<std::size_t>(std::max(made, 0)) * frameBytes);
}

void FromFloat(const std::vector<float>& samples, AVSampleFormat format, std::vector<BYTE>& bytes) {
    const auto convert = [&]<class Sample>(Sample) {
        constexpr auto kLeast = static_cast<double>(std::numeric_limits<Sample>::min());
        constexpr auto kMost = static_cast<double>(std::numeric_limits<Sample>::max());
        const std::size_t before = bytes.size();
        bytes.resize(before + samples.size() * sizeof(Sample));
        auto* out = reinterpret_cast<Sample*>(bytes.data() + before);
        for (const float sample : samples) {
            const double scaled = std::rint(static_cast<double>(sample) * -kLeast);
            *out++ = static_cast<Sample>(std::clamp(scaled, kLeast, kMost));
        }
    };
    if (format == AV_SAMPLE_FMT_S16) {
        convert(std::int16_t{});
    } else if (format == AV_SAMPLE_FMT_S32) {
        convert(std::int32_t{});
    } else {
        const auto* const data = reinterpret_cast<const BYTE*>(samples.data());
        bytes.insert(bytes.end(), data, data + samples.size() * sizeof(float));
    }
}

void PackTo24(std::vector<BYTE>& bytes) {
    std::size_t out = 0;
    for (std::size_t in = 0; in + 4 <= bytes.size(); in += 4, out += 3) {
        bytes[out] = bytes[in + 1];
        bytes[out + 1] = bytes[in + 2];
        bytes[out + 2] = bytes[in + 3];
    }
    bytes.resize(out);
}

} // namespace ymfilters
