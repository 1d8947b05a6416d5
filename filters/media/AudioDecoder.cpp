#include "media/AudioDecoder.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "media/MediaFilters.h"

using Microsoft::WRL::ComPtr;

namespace ymfilters {

namespace {

/// Time stamps that are off by less are rounded ones.
constexpr LONGLONG kJitter = kSecond / 50;
constexpr LONGLONG kMostSilence = kSecond;

LONGLONG TimeOfCount(LONGLONG count, int rate) {
    return av_rescale(count, kSecond, rate);
}

/// Samples that begin before `time` has passed.
LONGLONG SamplesBefore(LONGLONG time, int rate) {
    return time <= 0 ? 0 : av_rescale_rnd(time, rate, kSecond, AV_ROUND_UP);
}

} // namespace

AudioDecoder::AudioDecoder() : DecoderFilter(CLSID_MediaAudioDecoder, AVMEDIA_TYPE_AUDIO) {}

bool AudioDecoder::OutputType(unsigned index, ymdshow::MediaType& type) {
    const std::shared_ptr<const StreamParameters> stream = ConnectedStream();
    return stream != nullptr && SoundType(*stream, index, type);
}

HRESULT AudioDecoder::CheckOutputType(const AM_MEDIA_TYPE& type) {
    if (ConnectedStream() == nullptr) {
        return VFW_E_NOT_CONNECTED;
    }
    return ReadSoundFormat(type) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

ALLOCATOR_PROPERTIES AudioDecoder::OutputNeeds(const AM_MEDIA_TYPE& type) {
    constexpr long kBuffers = 8;
    constexpr int kBuffersInASecond = 10;
    const SoundFormat format = ReadSoundFormat(type).value_or(SoundFormat{});
    const int frames = std::max(format.rate / kBuffersInASecond, 1);
    return {kBuffers, long{frames} * format.FrameBytes(), 1, 0};
}

// The frame's own time stamp, unless the count of samples says nearly the same: it has no jitter.
LONGLONG AudioDecoder::TimeOf(const AVFrame& frame) {
    const LONGLONG stamp = frame.best_effort_timestamp;
    const bool isCounting = m_countStart != AV_NOPTS_VALUE && m_countRate == frame.sample_rate;
    const LONGLONG counted =
        isCounting ? m_countStart + TimeOfCount(m_count, m_countRate) : AV_NOPTS_VALUE;
    if (isCounting && (stamp == AV_NOPTS_VALUE || std::llabs(stamp - counted) <= kJitter)) {
        m_count += frame.nb_samples;
        return counted;
    }
    m_countStart = stamp != AV_NOPTS_VALUE ? stamp : Target();
    m_count = frame.nb_samples;
    m_countRate = frame.sample_rate;
    return m_countStart;
}

HRESULT AudioDecoder::OnFrame(FramePtr frame) {
    if (!m_format || frame->nb_samples <= 0 || frame->sample_rate <= 0) {
        return S_OK;
    }
    const int rate = frame->sample_rate;
    const LONGLONG time = TimeOf(*frame);
    const bool isCountNew = m_count == frame->nb_samples;
    if (m_isInRun && (isCountNew || !m_converter.IsOpenFor(*frame))) {
        const HRESULT hr = EndRun();
        if (hr != S_OK) {
            return hr;
        }
    }
    const LONGLONG first = SamplesBefore(Target() - time, rate);
    const LONGLONG end =
        std::min<LONGLONG>(frame->nb_samples, Segment().stop > time + kSecond * 3600
                                                  ? frame->nb_samples
                                                  : SamplesBefore(Segment().stop - time, rate));
    if (first >= end) {
        return S_OK;
    }
    return Play(*frame, static_cast<int>(first), static_cast<int>(end - first),
                time + TimeOfCount(first, rate));
}

HRESULT AudioDecoder::Play(const AVFrame& frame, int first, int count, LONGLONG time) {
    if (!m_isInRun) {
        BeginRun(time);
    }
    const AVSampleFormat sampleFormat = m_stretch ? AV_SAMPLE_FMT_FLT : m_format->format;
    if (!m_converter.IsOpenFor(frame) && !m_converter.Open(frame, *m_format, sampleFormat)) {
        return S_OK;
    }
    m_bytes.clear();
    if (!m_stretch) {
        m_converter.Convert(frame, first, count, m_bytes);
    } else {
        m_plain.clear();
        m_stretched.clear();
        m_converter.Convert(frame, first, count, m_plain);
        const auto channels = static_cast<std::size_t>(m_format->channels);
        m_stretch->Process(reinterpret_cast<const float*>(m_plain.data()),
                           m_plain.size() / sizeof(float) / channels, m_stretched);
        FromFloat(m_stretched, m_format->format, m_bytes);
    }
    return Send();
}

void AudioDecoder::BeginRun(LONGLONG time) {
    m_converter.Close();
    m_stretch.reset();
    if (Segment().rate != 1) {
        m_stretch.emplace(m_format->channels, m_format->rate, Segment().rate);
    }
    m_isInRun = m_isRunsFirst = true;
    m_runStart = StreamTimeOf(time);
    m_runCount = 0;
}

HRESULT AudioDecoder::EndRun() {
    if (!std::exchange(m_isInRun, false)) {
        return S_OK;
    }
    m_bytes.clear();
    if (!m_stretch) {
        m_converter.Finish(m_bytes);
    } else {
        m_plain.clear();
        m_stretched.clear();
        m_converter.Finish(m_plain);
        const auto channels = static_cast<std::size_t>(m_format->channels);
        m_stretch->Process(reinterpret_cast<const float*>(m_plain.data()),
                           m_plain.size() / sizeof(float) / channels, m_stretched);
        m_stretch->Finish(m_stretched);
        FromFloat(m_stretched, m_format->format, m_bytes);
    }
    return Send();
}

HRESULT AudioDecoder::OnDrained() {
    m_countStart = AV_NOPTS_VALUE;
    return EndRun();
}

// A renderer that waits for its first sound gets some.
HRESULT AudioDecoder::OnGap(LONGLONG from, LONGLONG to) {
    if (!m_format) {
        return S_OK;
    }
    const HRESULT hr = EndRun();
    if (m_countStart != AV_NOPTS_VALUE) {
        from = std::max(from, m_countStart + TimeOfCount(m_count, m_countRate));
    }
    m_countStart = AV_NOPTS_VALUE;
    from = std::max(from, Target());
    to = std::min({to, Segment().stop, from + kMostSilence});
    if (hr != S_OK || from >= to) {
        return hr;
    }
    BeginRun(from);
    const LONGLONG frames = SamplesBefore(StreamTimeOf(to) - m_runStart, m_format->rate);
    const int frameBytes = m_format->channels * av_get_bytes_per_sample(m_format->format);
    m_bytes.assign(static_cast<std::size_t>(frames * frameBytes), 0);
    const HRESULT sent = Send();
    m_isInRun = false;
    return sent;
}

void AudioDecoder::OnStart() {
    m_format = ReadSoundFormat(OutputConnection().Get());
}

void AudioDecoder::OnFlush() {
    OnPlace();
}

void AudioDecoder::OnPlace() {
    m_countStart = AV_NOPTS_VALUE;
    m_isInRun = false;
    m_converter.Close();
}

HRESULT AudioDecoder::Send() {
    if (m_format->bits == 24) {
        PackTo24(m_bytes);
    }
    HRESULT hr = S_OK;
    for (std::size_t sent = 0; hr == S_OK && sent < m_bytes.size();) {
        hr = IsStreaming() ? SendPart(sent) : S_FALSE;
    }
    return hr;
}

HRESULT AudioDecoder::SendPart(std::size_t& sent) {
    ComPtr<IMediaSample> sample;
    ymdshow::MediaType wanted;
    HRESULT hr = GetBuffer(&sample, wanted);
    if (hr != S_OK) {
        return hr;
    }
    if (const auto format = ReadSoundFormat(wanted.Get()); format && *format != *m_format) {
        // What has been converted for the old type is void.
        m_format = format;
        OnPlace();
        sent = m_bytes.size();
        return S_OK;
    }
    BYTE* data = nullptr;
    if (FAILED(hr = sample->GetPointer(&data))) {
        return hr;
    }
    const auto frameBytes = static_cast<std::size_t>(m_format->FrameBytes());
    const auto room = static_cast<std::size_t>(std::max(sample->GetSize(), 0L));
    const std::size_t size = std::min(m_bytes.size() - sent, room / frameBytes * frameBytes);
    if (data == nullptr || size == 0) {
        return VFW_E_BUFFER_OVERFLOW;
    }
    std::memcpy(data, m_bytes.data() + sent, size);
    sent += size;
    REFERENCE_TIME start = m_runStart + TimeOfCount(m_runCount, m_format->rate);
    m_runCount += static_cast<LONGLONG>(size / frameBytes);
    REFERENCE_TIME stop = m_runStart + TimeOfCount(m_runCount, m_format->rate);
    sample->SetActualDataLength(static_cast<long>(size));
    sample->SetTime(&start, &stop);
    sample->SetMediaTime(nullptr, nullptr);
    sample->SetSyncPoint(TRUE);
    sample->SetPreroll(FALSE);
    sample->SetDiscontinuity(std::exchange(m_isRunsFirst, false) ? TRUE : FALSE);
    return Deliver(*sample.Get());
}

} // namespace ymfilters
