#include "media/DecoderFilter.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

#include "base/Formats.h"
#include "media/StreamTypes.h"

using Microsoft::WRL::ComPtr;

namespace ymfilters {

namespace {

/// A codec that says nothing against so many packets and makes nothing of them has failed.
constexpr unsigned kFutilePackets = 50;
/// Errors of a codec that is to give out the rest.
constexpr int kMostDrainErrors = 64;

bool IsDecodable(const StreamParameters& stream, AVMediaType kind) {
    return stream.codec != nullptr && stream.codec->codec_type == kind &&
           avcodec_find_decoder(stream.codec->codec_id) != nullptr;
}

/// Damaged headers may ask for more memory than there is.
template <class Call> HRESULT Guarded(Call call) {
    try {
        return call();
    } catch (const std::exception&) {
        return E_OUTOFMEMORY;
    }
}

LONGLONG Scaled(LONGLONG time, double factor) {
    return factor == 1 ? time : std::llround(static_cast<double>(time) * factor);
}

} // namespace

DecoderFilter::DecoderFilter(const CLSID& clsid, AVMediaType kind) : Filter(clsid), m_kind(kind) {
    SetPins({&m_input, &m_output});
}

// The input

HRESULT DecoderFilter::Input::Activate() {
    m_owner.m_isStarted = true;
    m_owner.m_isFlushed = true;
    return InputPin::Activate();
}

HRESULT DecoderFilter::Input::CheckType(const AM_MEDIA_TYPE& type) {
    const GUID& major = m_owner.m_kind == AVMEDIA_TYPE_VIDEO ? MEDIATYPE_Video : MEDIATYPE_Audio;
    const bool isIt = type.majortype == major && IsDecodable(ParametersOf(type), m_owner.m_kind);
    return isIt ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT DecoderFilter::Input::OnConnected() {
    std::shared_ptr<const StreamParameters> stream;
    ComPtr<IStreamPin> source;
    if (SUCCEEDED(Peer()->QueryInterface(IID_PPV_ARGS(&source)))) {
        stream = source->Stream();
    }
    if (stream == nullptr) {
        stream = std::make_shared<const StreamParameters>(ParametersOf(Type()));
    }
    return m_owner.Connect(std::move(stream));
}

void DecoderFilter::Input::OnDisconnect() {
    m_owner.Disconnect();
    InputPin::OnDisconnect();
}

HRESULT DecoderFilter::Input::OnSample(IMediaSample& sample) {
    return Guarded([&] { return m_owner.TakeSample(sample); });
}

HRESULT DecoderFilter::Input::OnEndOfStream() {
    return Guarded([&] { return m_owner.EndStream(); });
}

HRESULT DecoderFilter::Input::OnBeginFlush() {
    return m_owner.m_output.DeliverBeginFlush();
}

HRESULT DecoderFilter::Input::OnEndFlush() {
    m_owner.m_isFlushed = true;
    return m_owner.m_output.DeliverEndFlush();
}

HRESULT DecoderFilter::Input::OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
    Guarded([&] {
        m_owner.TakeMark();
        SampleSegment segment;
        segment.start = start;
        segment.stop = stop > start ? stop : kNever;
        segment.rate = rate > 0 ? rate : 1;
        const HRESULT hr = m_owner.Place(segment, start);
        m_owner.OnPlace(); // also when it is the segment before once more
        return hr;
    });
    return m_owner.m_output.DeliverNewSegment(start, stop, rate);
}

// The output

HRESULT STDMETHODCALLTYPE DecoderFilter::Output::Connect(IPin* peer, const AM_MEDIA_TYPE* type) {
    if (peer != nullptr && !IsConnected()) {
        m_owner.OnConnecting(*peer);
    }
    return OutputPin::Connect(peer, type);
}

HRESULT STDMETHODCALLTYPE DecoderFilter::Output::Notify(IBaseFilter*, Quality quality) {
    m_owner.OnQuality(quality);
    return S_OK;
}

bool DecoderFilter::Output::PreferredType(unsigned index, ymdshow::MediaType& type) {
    return m_owner.OutputType(index, type);
}

void* DecoderFilter::Output::Interface(REFIID iid) {
    return iid == IID_IMediaSeeking ? static_cast<IMediaSeeking*>(&m_seeking)
                                    : OutputPin::Interface(iid);
}

HRESULT DecoderFilter::Output::CheckType(const AM_MEDIA_TYPE& type) {
    return m_owner.CheckOutputType(type);
}

ALLOCATOR_PROPERTIES DecoderFilter::Output::BufferNeeds() const {
    return m_owner.OutputNeeds(Type());
}

// Connection

std::shared_ptr<const StreamParameters> DecoderFilter::ConnectedStream() {
    const std::lock_guard lock(m_openedMutex);
    return m_opened.stream;
}

CodecPtr DecoderFilter::Open(const StreamParameters& stream) {
    if (!IsDecodable(stream, m_kind)) {
        return nullptr;
    }
    const AVCodec* const decoder = avcodec_find_decoder(stream.codec->codec_id);
    CodecPtr codec(avcodec_alloc_context3(decoder));
    if (codec == nullptr || avcodec_parameters_to_context(codec.get(), stream.codec.get()) < 0) {
        return nullptr;
    }
    codec->pkt_timebase = kMediaTime;
    Configure(*codec);
    return avcodec_open2(codec.get(), decoder, nullptr) < 0 ? nullptr : std::move(codec);
}

HRESULT DecoderFilter::Connect(std::shared_ptr<const StreamParameters> stream) {
    CodecPtr codec = Open(*stream);
    if (codec == nullptr) {
        return VFW_E_TYPE_NOT_ACCEPTED;
    }
    const std::lock_guard lock(m_openedMutex);
    m_opened = {std::move(stream), std::move(codec)};
    return S_OK;
}

void DecoderFilter::Disconnect() {
    Opened old; // freed without the mutex
    const std::lock_guard lock(m_openedMutex);
    std::swap(old, m_opened);
}

// Streaming

void DecoderFilter::TakeMark() {
    if (!m_isFlushed.exchange(false)) {
        return;
    }
    std::shared_ptr<const StreamParameters> stream;
    CodecPtr codec;
    {
        const std::lock_guard lock(m_openedMutex);
        codec = std::move(m_opened.codec);
        stream = m_opened.stream;
    }
    if (codec != nullptr) {
        m_codec = std::move(codec);
        m_stream = std::move(stream);
        m_packets = m_frames = m_errors = 0;
    } else if (m_codec != nullptr && m_isCodecFed) {
        avcodec_flush_buffers(m_codec.get());
    }
    m_isCodecFed = false;
    if (m_stream == nullptr) { // nothing is connected
        return;
    }
    if (m_isStarted.exchange(false)) {
        OnStart();
    }
    OnFlush();
}

HRESULT DecoderFilter::TakeSample(IMediaSample& sample) {
    TakeMark();
    ComPtr<IPacketSample> own;
    return SUCCEEDED(sample.QueryInterface(IID_PPV_ARGS(&own))) ? TakeOwnSample(sample, *own.Get())
                                                                : TakeForeignSample(sample);
}

HRESULT DecoderFilter::TakeOwnSample(IMediaSample& sample, IPacketSample& own) {
    const SampleSegment segment = own.Segment();
    const LONGLONG target = std::max(segment.start, own.Target());
    std::shared_ptr<const StreamParameters> stream = own.Stream();
    if (stream != nullptr && stream != m_stream) {
        const HRESULT hr = SwitchTo(std::move(stream), target);
        if (hr != S_OK) {
            return hr;
        }
    }
    const HRESULT hr = Place(segment, target);
    if (hr != S_OK) {
        return hr;
    }
    if (const AVPacket* const packet = own.Packet(); packet != nullptr) {
        ++m_packets;
        return OnPacket(*packet);
    }
    REFERENCE_TIME from = 0;
    REFERENCE_TIME to = 0;
    if (sample.GetTime(&from, &to) != S_OK) {
        return S_OK;
    }
    const auto mediaTime = [&](REFERENCE_TIME time) {
        return segment.start + Scaled(time - segment.base, segment.rate);
    };
    return OnGap(mediaTime(from), mediaTime(to));
}

HRESULT DecoderFilter::TakeForeignSample(IMediaSample& sample) {
    ymdshow::OwnedMediaType type;
    if (sample.GetMediaType(type.Put()) == S_OK && type.Get() != nullptr) {
        const HRESULT hr =
            SwitchTo(std::make_shared<const StreamParameters>(ParametersOf(*type)), m_segment.stop);
        if (hr != S_OK) {
            return hr;
        }
    }
    const long size = sample.GetActualDataLength();
    BYTE* data = nullptr;
    if (size <= 0 || FAILED(sample.GetPointer(&data)) || data == nullptr) {
        return S_OK;
    }
    const PacketPtr packet(av_packet_alloc());
    if (packet == nullptr || av_new_packet(packet.get(), static_cast<int>(size)) < 0) {
        return E_OUTOFMEMORY;
    }
    std::copy_n(data, size, packet->data);
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    const HRESULT time = sample.GetTime(&start, &stop);
    if (SUCCEEDED(time)) {
        packet->pts = m_segment.start + Scaled(start, m_segment.rate);
    }
    if (time == S_OK && stop > start) {
        packet->duration = Scaled(stop - start, m_segment.rate);
    }
    if (sample.IsSyncPoint() == S_OK) {
        packet->flags |= AV_PKT_FLAG_KEY;
    }
    ++m_packets;
    return OnPacket(*packet);
}

// What the stream before still gives ends where the new one begins.
HRESULT DecoderFilter::SwitchTo(std::shared_ptr<const StreamParameters> stream, LONGLONG target) {
    const LONGLONG stop = std::exchange(m_segment.stop, std::min(m_segment.stop, target));
    const HRESULT hr = Drain();
    m_segment.stop = stop;
    if (hr != S_OK) {
        return hr;
    }
    m_codec = Open(*stream);
    {
        const std::lock_guard lock(m_openedMutex);
        m_opened.stream = stream;
    }
    m_stream = std::move(stream);
    m_packets = m_frames = m_errors = 0;
    OnPlace();
    return S_OK;
}

HRESULT DecoderFilter::Place(const SampleSegment& segment, LONGLONG target) {
    const bool isSameSegment = segment == m_segment;
    if (!isSameSegment) {
        const HRESULT hr = IsStreaming() ? Drain() : S_OK;
        if (hr != S_OK) {
            return hr;
        }
    }
    if (!isSameSegment || target != m_target) {
        m_segment = segment;
        m_target = target;
        OnPlace();
    }
    return S_OK;
}

HRESULT DecoderFilter::Drain() {
    HRESULT hr = OnDraining();
    if (hr == S_OK && m_isCodecFed) {
        hr = Decode(nullptr);
        if (m_codec != nullptr) {
            avcodec_flush_buffers(m_codec.get());
        }
        m_isCodecFed = false;
    }
    return hr == S_OK ? OnDrained() : hr;
}

HRESULT DecoderFilter::Decode(const AVPacket* packet) {
    // FFmpeg takes an empty packet for the end of all.
    if (m_codec == nullptr || (packet != nullptr && packet->size == 0)) {
        return S_OK;
    }
    m_isCodecFed = true;
    bool isSent = false;
    for (int errors = 0; errors < kMostDrainErrors;) {
        if (!isSent) {
            const int sent = avcodec_send_packet(m_codec.get(), packet);
            isSent = sent != AVERROR(EAGAIN);
            m_errors += isSent && sent < 0 && sent != AVERROR_EOF ? 1 : 0;
        }
        FramePtr frame(av_frame_alloc());
        if (frame == nullptr) {
            return E_OUTOFMEMORY;
        }
        const int got = avcodec_receive_frame(m_codec.get(), frame.get());
        if (!IsStreaming()) {
            return S_FALSE;
        }
        if (got >= 0) {
            ++m_frames;
            const HRESULT hr = OnFrame(std::move(frame));
            if (hr != S_OK) {
                return hr;
            }
        } else if (got == AVERROR_EOF || (got == AVERROR(EAGAIN) && isSent)) {
            break;
        } else {
            // A damaged packet; those behind it may be sound.
            ++errors;
            ++m_errors;
        }
    }
    return S_OK;
}

HRESULT DecoderFilter::EndStream() {
    TakeMark();
    const HRESULT hr = Drain();
    if (!IsStreaming()) {
        return hr;
    }
    const bool isFutile = m_errors > 0 || m_packets >= kFutilePackets || m_codec == nullptr;
    if (m_packets > 0 && m_frames == 0 && isFutile) {
        Notify(EC_ERRORABORT,
               m_kind == AVMEDIA_TYPE_VIDEO ? VFW_E_UNSUPPORTED_VIDEO : VFW_E_UNSUPPORTED_AUDIO, 0);
    }
    return m_output.DeliverEndOfStream();
}

REFERENCE_TIME DecoderFilter::StreamTimeOf(LONGLONG time) const {
    return m_segment.base + Scaled(time - m_segment.start, 1 / m_segment.rate);
}

ymdshow::MediaType DecoderFilter::OutputConnection() {
    ymdshow::MediaType type;
    m_output.ConnectionMediaType(type.Put());
    return type;
}

HRESULT DecoderFilter::GetBuffer(IMediaSample** sample, ymdshow::MediaType& type) {
    type.Reset();
    const HRESULT hr = m_output.GetBuffer(sample);
    if (FAILED(hr)) {
        return IsStreaming() ? hr : S_FALSE;
    }
    ymdshow::OwnedMediaType wanted;
    if ((*sample)->GetMediaType(wanted.Put()) == S_OK && wanted.Get() != nullptr &&
        CheckOutputType(*wanted) == S_OK) {
        type.Assign(*wanted);
        m_output.SetType(*wanted);
    }
    return S_OK;
}

bool DecoderFilter::ChangeType(IMediaSample& sample, const AM_MEDIA_TYPE& type) {
    ComPtr<IPin> peer;
    AM_MEDIA_TYPE offered = type;
    return SUCCEEDED(m_output.ConnectedTo(&peer)) && peer->QueryAccept(&type) == S_OK &&
           SUCCEEDED(sample.SetMediaType(&offered)) && SUCCEEDED(m_output.SetType(type));
}

bool DecoderFilter::IsPeersType(const AM_MEDIA_TYPE& type) {
    ComPtr<IPin> peer;
    ymdshow::MediaType own;
    return SUCCEEDED(m_output.ConnectedTo(&peer)) &&
           SUCCEEDED(peer->ConnectionMediaType(own.Put())) &&
           CheckSameType(own.Get(), type) == S_OK;
}

} // namespace ymfilters
