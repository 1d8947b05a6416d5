#include "testsource/Streams.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <utility>

#include "Clsids.h"
#include "Formats.h"

namespace ymfilters {

namespace {

bool IsSameFormat(const AM_MEDIA_TYPE& type, const AM_MEDIA_TYPE& own) {
    return type.majortype == own.majortype && type.subtype == own.subtype &&
           type.formattype == own.formattype && type.cbFormat >= own.cbFormat &&
           type.pbFormat != nullptr;
}

} // namespace

VideoStream::VideoStream(Filter& filter, std::wstring name, const Clip& clip, SharedSegment& shared)
    : SourceStream(filter, std::move(name), clip, shared),
      m_painter(clip.width, clip.height, clip.bits) {}

bool VideoStream::PreferredType(unsigned index, ymdshow::MediaType& type) {
    const GUID& rgb = m_clip.bits == 32 ? MEDIASUBTYPE_RGB32 : MEDIASUBTYPE_RGB24;
    return index == 0 &&
           MakeVideoType(m_clip.isCoded ? MEDIASUBTYPE_TestCoded : rgb,
                         {m_clip.width, m_clip.height, m_clip.bits}, m_clip.FrameTime(1),
                         static_cast<ULONG>(BufferNeeds().cbBuffer), type);
}

// A renderer that wants another stride or the rows the other way round is refused.
HRESULT VideoStream::CheckType(const AM_MEDIA_TYPE& type) {
    ymdshow::MediaType own;
    if (!PreferredType(0, own) || !IsSameFormat(type, own.Get())) {
        return VFW_E_TYPE_NOT_ACCEPTED;
    }
    const auto& header = reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat)->bmiHeader;
    const bool isSame = header.biWidth == m_clip.width && header.biHeight == m_clip.height &&
                        header.biBitCount == m_clip.bits;
    return isSame ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

ALLOCATOR_PROPERTIES VideoStream::BufferNeeds() const {
    const std::size_t size = m_clip.isCoded ? sizeof(CodedFrame) : m_painter.Size();
    return {4, static_cast<long>(size), 1, 0};
}

HRESULT VideoStream::Fill(IMediaSample& sample, LONGLONG& next, LONGLONG) {
    BYTE* data = nullptr;
    const HRESULT hr = sample.GetPointer(&data);
    if (FAILED(hr)) {
        return hr;
    }
    const auto frame = static_cast<std::uint32_t>(next++);
    if (m_clip.isCoded) {
        const CodedFrame coded{frame};
        std::memcpy(data, &coded, sizeof(coded));
    } else {
        m_painter.Paint(frame, data);
    }
    return sample.SetActualDataLength(BufferNeeds().cbBuffer);
}

AudioStream::AudioStream(Filter& filter, std::wstring name, const Clip& clip, SharedSegment& shared,
                         std::vector<double> tones)
    : SourceStream(filter, std::move(name), clip, shared), m_tones(std::move(tones)) {}

bool AudioStream::PreferredType(unsigned index, ymdshow::MediaType& type) {
    return index == 0 && MakePcmType(m_clip.samplingRate, m_clip.channels, type);
}

HRESULT AudioStream::CheckType(const AM_MEDIA_TYPE& type) {
    const WAVEFORMATEX* const format = ReadPcmFormat(type);
    const bool isSame = format != nullptr &&
                        format->nSamplesPerSec == static_cast<DWORD>(m_clip.samplingRate) &&
                        format->nChannels == m_clip.channels;
    return isSame ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

ALLOCATOR_PROPERTIES AudioStream::BufferNeeds() const {
    return {8, static_cast<long>(BlockSamples() * m_clip.channels * 2), 1, 0};
}

HRESULT AudioStream::Fill(IMediaSample& sample, LONGLONG& next, LONGLONG stop) {
    BYTE* data = nullptr;
    const HRESULT hr = sample.GetPointer(&data);
    if (FAILED(hr)) {
        return hr;
    }
    // The sample at `stop` is the first that is not played.
    const LONGLONG end = (stop * m_clip.samplingRate + kSecond - 1) / kSecond;
    const LONGLONG count = std::clamp<LONGLONG>(end - next, 1, BlockSamples());
    const unsigned tones = enabled;
    auto* out = reinterpret_cast<std::int16_t*>(data);
    const double amplitude =
        16000.0 / static_cast<double>(std::max<std::size_t>(m_tones.size(), 1));
    for (LONGLONG i = 0; i < count; ++i) {
        const double time = static_cast<double>(next + i) / m_clip.samplingRate;
        double value = 0;
        for (std::size_t tone = 0; tone < m_tones.size(); ++tone) {
            if ((tones >> tone & 1U) != 0) {
                value += amplitude * std::sin(2 * std::numbers::pi * m_tones[tone] * time);
            }
        }
        out = std::fill_n(out, m_clip.channels, static_cast<std::int16_t>(std::lround(value)));
    }
    next += count;
    return sample.SetActualDataLength(static_cast<long>(count * m_clip.channels * 2));
}

} // namespace ymfilters
