#include "media/SourcePin.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "BaseClasses/ComTypes.h"
#include "base/Formats.h"
#include "media/MediaSource.h"
#include "media/StreamTypes.h"

using Microsoft::WRL::ComPtr;

namespace ymfilters {

namespace {

const wchar_t* PinName(StreamKind kind) {
    switch (kind) {
    case StreamKind::Video:
        return L"Video";
    case StreamKind::Audio:
        return L"Audio";
    default:
        return L"Text";
    }
}

bool IsPcm(AVCodecID codec) {
    return av_get_exact_bits_per_sample(codec) >= 8 && codec >= AV_CODEC_ID_FIRST_AUDIO &&
           codec < AV_CODEC_ID_ADPCM_IMA_QT;
}

BitstreamFilterPtr MakeFilter(const StreamParameters& stream, const AM_MEDIA_TYPE& type) {
    const AVBitStreamFilter* const wanted = FilterFor(stream, type);
    AVBSFContext* context = nullptr;
    if (wanted == nullptr || av_bsf_alloc(wanted, &context) < 0) {
        return nullptr;
    }
    BitstreamFilterPtr filter(context);
    context->time_base_in = kMediaTime;
    if (avcodec_parameters_copy(context->par_in, stream.codec.get()) < 0 ||
        av_bsf_init(context) < 0) {
        return nullptr;
    }
    return filter;
}

/// The stream as it leaves `filter`.
std::shared_ptr<const StreamParameters>
Filtered(const std::shared_ptr<const StreamParameters>& stream, const BitstreamFilterPtr& filter) {
    if (filter == nullptr) {
        return stream;
    }
    auto filtered = std::make_shared<StreamParameters>();
    filtered->codec.reset(avcodec_parameters_alloc());
    if (filtered->codec == nullptr ||
        avcodec_parameters_copy(filtered->codec.get(), filter->par_out) < 0) {
        return stream;
    }
    filtered->frameTime = stream->frameTime;
    filtered->pixelAspect = stream->pixelAspect;
    filtered->rotation = stream->rotation;
    return filtered;
}

} // namespace

SourcePin::SourcePin(MediaSource& source, StreamKind kind)
    : OutputPin(source, PinName(kind)), m_source(source), m_kind(kind) {}

void* SourcePin::Interface(REFIID iid) {
    if (iid == IID_IMediaSeeking) {
        return static_cast<IMediaSeeking*>(this);
    }
    return iid == __uuidof(IStreamPin) ? static_cast<IStreamPin*>(this) : OutputPin::Interface(iid);
}

std::shared_ptr<const StreamParameters> STDMETHODCALLTYPE SourcePin::Stream() {
    const auto stream = m_source.SelectedStream(m_kind);
    return IsConnected() && stream != nullptr ? Filtered(stream, MakeFilter(*stream, Type()))
                                              : stream;
}

bool SourcePin::PreferredType(unsigned index, ymdshow::MediaType& type) {
    const auto stream = m_source.SelectedStream(m_kind);
    if (stream == nullptr) {
        return false;
    }
    std::vector<ymdshow::MediaType> types = TypesOf(*stream);
    if (index >= types.size()) {
        return false;
    }
    type = std::move(types[index]);
    return true;
}

HRESULT SourcePin::CheckType(const AM_MEDIA_TYPE& type) {
    const auto stream = m_source.SelectedStream(m_kind);
    const auto isIt = [&](const ymdshow::MediaType& own) {
        return type.majortype == own->majortype && type.subtype == own->subtype &&
               type.formattype == own->formattype;
    };
    const auto types = stream != nullptr ? TypesOf(*stream) : std::vector<ymdshow::MediaType>();
    return std::any_of(types.begin(), types.end(), isIt) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

bool SourcePin::Accepts(const StreamParameters& stream) {
    ComPtr<IPin> peer;
    if (FAILED(ConnectedTo(&peer))) {
        return true;
    }
    const std::vector<ymdshow::MediaType> types = TypesOf(stream);
    return std::any_of(types.begin(), types.end(), [&](const ymdshow::MediaType& type) {
        return peer->QueryAccept(&type.Get()) == S_OK;
    });
}

// For a peer with an allocator of its own.
ALLOCATOR_PROPERTIES SourcePin::BufferNeeds() const {
    const bool isVideo = m_kind == StreamKind::Video;
    return {isVideo ? 4 : 16, isVideo ? 4 << 20 : 256 << 10, 1, 0};
}

ComPtr<IMemAllocator> SourcePin::OwnAllocator() {
    ComPtr<IMemAllocator> allocator;
    ymdshow::Adopt<IMemAllocator>(allocator, new PacketAllocator());
    return allocator;
}

void SourcePin::BeginSegment(const SampleSegment& segment) {
    m_filter.reset();
    m_sent.reset();
    const LONGLONG duration = m_source.Duration();
    const LONGLONG stop = segment.stop < kNoStop ? segment.stop : std::max(duration, segment.start);
    DeliverNewSegment(segment.start, stop, segment.rate);
}

/// The connection's type is one of the stream's own.
bool SourcePin::IsTyped(const StreamParameters& stream) const {
    const std::vector<ymdshow::MediaType> types = TypesOf(stream);
    return std::any_of(types.begin(), types.end(), [&](const ymdshow::MediaType& type) {
        return CheckSameType(Type(), type.Get()) == S_OK;
    });
}

/// Makes ready for packets of a stream; `newType` when the peer has to be told of it.
HRESULT SourcePin::Prepare(const std::shared_ptr<const StreamParameters>& stream,
                           const AM_MEDIA_TYPE*& newType) {
    if (stream == m_sent) {
        return S_OK;
    }
    if (!IsTyped(*stream)) {
        ComPtr<IPin> peer;
        HRESULT hr = ConnectedTo(&peer);
        if (FAILED(hr)) {
            return hr;
        }
        for (ymdshow::MediaType& type : TypesOf(*stream)) {
            if (peer->QueryAccept(&type.Get()) == S_OK) {
                m_newType = std::move(type);
                newType = &m_newType.Get();
                break;
            }
        }
        if (newType == nullptr) {
            return VFW_E_TYPE_NOT_ACCEPTED;
        }
        SetType(*newType);
    }
    m_filter = MakeFilter(*stream, Type());
    m_filtered = Filtered(stream, m_filter);
    m_sent = stream;
    return S_OK;
}

void SourcePin::SetTimes(SampleContents& contents) {
    const AVPacket& packet = *contents.packet;
    const std::int64_t time = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
    if (time != AV_NOPTS_VALUE) {
        contents.start = contents.segment.StreamTime(time);
        contents.stop =
            contents.segment.StreamTime(time + std::max<std::int64_t>(packet.duration, 1));
    }
}

/// Sound that needs no decoder may go to a renderer as it is, so that it is cut here. False when
/// nothing is left.
bool SourcePin::CutPcm(SampleContents& contents) const {
    const AVCodecParameters& codec = *contents.stream->codec;
    AVPacket& packet = *contents.packet;
    const std::int64_t frame =
        std::int64_t{codec.ch_layout.nb_channels} * av_get_bits_per_sample(codec.codec_id) / 8;
    if (!IsPcm(codec.codec_id) || frame <= 0 || packet.pts == AV_NOPTS_VALUE) {
        return true;
    }
    const auto bytesOf = [&](LONGLONG time) {
        return av_rescale_rnd(time, codec.sample_rate, kSecond, AV_ROUND_UP) * frame;
    };
    if (packet.pts < contents.target) {
        const std::int64_t drop = bytesOf(contents.target - packet.pts);
        if (drop >= packet.size) {
            return false;
        }
        packet.data += drop;
        packet.size -= static_cast<int>(drop);
        const LONGLONG time = av_rescale(drop / frame, kSecond, codec.sample_rate);
        packet.pts += time;
        packet.dts = packet.pts;
        packet.duration = std::max<std::int64_t>(packet.duration - time, 0);
    }
    if (contents.segment.stop - packet.pts < kSecond) {
        packet.size = static_cast<int>(
            std::min<std::int64_t>(packet.size, bytesOf(contents.segment.stop - packet.pts)));
    }
    return packet.size > 0;
}

HRESULT SourcePin::Send(SampleContents&& contents) {
    const HRESULT hr = Prepare(contents.stream, contents.newType);
    if (FAILED(hr)) {
        return hr;
    }
    contents.stream = m_filtered;
    if (m_filter == nullptr) {
        return CutPcm(contents) ? SendWhole(std::move(contents)) : S_OK;
    }
    if (av_bsf_send_packet(m_filter.get(), contents.packet.get()) < 0) {
        return S_OK; // a damaged packet
    }
    for (;;) {
        SampleContents out;
        out.packet.reset(av_packet_alloc());
        if (out.packet == nullptr || av_bsf_receive_packet(m_filter.get(), out.packet.get()) < 0) {
            return S_OK;
        }
        out.stream = contents.stream;
        out.segment = contents.segment;
        out.target = contents.target;
        out.newType = std::exchange(contents.newType, nullptr);
        out.isDiscontinuity = std::exchange(contents.isDiscontinuity, false);
        const HRESULT sent = SendWhole(std::move(out));
        if (sent != S_OK) {
            return sent;
        }
    }
}

HRESULT SourcePin::SendWhole(SampleContents&& contents) {
    SetTimes(contents);
    if (!UsesOwnAllocator()) {
        return SendCopy(contents);
    }
    return Deliver(*MakeSample(std::move(contents)).Get());
}

/// Into the buffers of an allocator that the peer has insisted on.
HRESULT SourcePin::SendCopy(const SampleContents& contents) {
    const AVPacket& packet = *contents.packet;
    for (int done = 0; done < packet.size;) {
        ComPtr<IMediaSample> sample;
        BYTE* data = nullptr;
        HRESULT hr = GetBuffer(&sample);
        if (FAILED(hr) || FAILED(hr = sample->GetPointer(&data))) {
            return hr;
        }
        const int size = std::min<int>(packet.size - done, sample->GetSize());
        if (size < packet.size && !IsPcm(contents.stream->codec->codec_id)) {
            return VFW_E_BUFFER_OVERFLOW;
        }
        std::memcpy(data, packet.data + done, static_cast<std::size_t>(size));
        const auto at = [&](int bytes) {
            return contents.start +
                   av_rescale(contents.stop - contents.start, bytes, std::max(packet.size, 1));
        };
        REFERENCE_TIME start = at(done);
        REFERENCE_TIME stop = at(done + size);
        const bool isTimed = contents.start <= contents.stop;
        sample->SetTime(isTimed ? &start : nullptr, isTimed ? &stop : nullptr);
        sample->SetActualDataLength(size);
        sample->SetSyncPoint((packet.flags & AV_PKT_FLAG_KEY) != 0 ? TRUE : FALSE);
        sample->SetDiscontinuity(contents.isDiscontinuity && done == 0 ? TRUE : FALSE);
        sample->SetPreroll(isTimed && stop <= 0 ? TRUE : FALSE);
        sample->SetMediaType(const_cast<AM_MEDIA_TYPE*>(done == 0 ? contents.newType : nullptr));
        hr = Deliver(*sample.Get());
        if (hr != S_OK) {
            return hr;
        }
        done += size;
    }
    return S_OK;
}

/// Only the project's decoders know what to do with one.
void SourcePin::SendGap(SampleContents&& contents) {
    ComPtr<IPin> peer;
    PIN_INFO info{};
    if (FAILED(ConnectedTo(&peer)) || FAILED(peer->QueryPinInfo(&info)) ||
        info.pFilter == nullptr) {
        return;
    }
    ComPtr<IBaseFilter> filter;
    ymdshow::Adopt(filter, info.pFilter);
    CLSID clsid{};
    filter->GetClassID(&clsid);
    if (UsesOwnAllocator() && MediaSource::IsOwnDecoder(clsid)) {
        Deliver(*MakeSample(std::move(contents)).Get());
    }
}

// IMediaSeeking

HRESULT STDMETHODCALLTYPE SourcePin::GetCapabilities(DWORD* capabilities) {
    if (capabilities == nullptr) {
        return E_POINTER;
    }
    *capabilities = m_source.Capabilities();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SourcePin::CheckCapabilities(DWORD* capabilities) {
    if (capabilities == nullptr) {
        return E_POINTER;
    }
    const DWORD asked = *capabilities;
    *capabilities &= m_source.Capabilities();
    return *capabilities == asked ? S_OK : *capabilities != 0 ? S_FALSE : E_FAIL;
}

HRESULT STDMETHODCALLTYPE SourcePin::IsFormatSupported(const GUID* format) {
    if (format == nullptr) {
        return E_POINTER;
    }
    return *format == TIME_FORMAT_MEDIA_TIME ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE SourcePin::QueryPreferredFormat(GUID* format) {
    if (format == nullptr) {
        return E_POINTER;
    }
    *format = TIME_FORMAT_MEDIA_TIME;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SourcePin::GetTimeFormat(GUID* format) {
    return QueryPreferredFormat(format);
}

HRESULT STDMETHODCALLTYPE SourcePin::IsUsingTimeFormat(const GUID* format) {
    return IsFormatSupported(format);
}

HRESULT STDMETHODCALLTYPE SourcePin::SetTimeFormat(const GUID* format) {
    const HRESULT hr = IsFormatSupported(format);
    return hr == S_FALSE ? E_INVALIDARG : hr;
}

HRESULT STDMETHODCALLTYPE SourcePin::ConvertTimeFormat(LONGLONG* target, const GUID* targetFormat,
                                                       LONGLONG source, const GUID* sourceFormat) {
    if (target == nullptr) {
        return E_POINTER;
    }
    const auto isMediaTime = [](const GUID* format) {
        return format == nullptr || *format == TIME_FORMAT_MEDIA_TIME;
    };
    if (!isMediaTime(targetFormat) || !isMediaTime(sourceFormat)) {
        return E_INVALIDARG;
    }
    *target = source;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SourcePin::GetDuration(LONGLONG* duration) {
    if (duration == nullptr) {
        return E_POINTER;
    }
    *duration = m_source.Duration();
    return *duration == 0 ? E_FAIL : m_source.IsDurationEstimated() ? VFW_S_ESTIMATED : S_OK;
}

HRESULT STDMETHODCALLTYPE SourcePin::GetStopPosition(LONGLONG* stop) {
    return GetPositions(nullptr, stop);
}

HRESULT STDMETHODCALLTYPE SourcePin::GetCurrentPosition(LONGLONG* current) {
    return GetPositions(current, nullptr);
}

HRESULT STDMETHODCALLTYPE SourcePin::GetPositions(LONGLONG* current, LONGLONG* stop) {
    if (current != nullptr) {
        *current = m_source.Flow().Delivered();
    }
    if (stop != nullptr) {
        const LONGLONG wanted = m_source.Flow().Wanted().segment.stop;
        *stop = wanted < kNoStop ? wanted : m_source.Duration();
    }
    return current == nullptr && stop == nullptr ? E_POINTER : S_OK;
}

HRESULT STDMETHODCALLTYPE SourcePin::SetPositions(LONGLONG* current, DWORD currentFlags,
                                                  LONGLONG* stop, DWORD stopFlags) {
    return m_source.SetPositions(*this, current, currentFlags, stop, stopFlags);
}

HRESULT STDMETHODCALLTYPE SourcePin::GetAvailable(LONGLONG* earliest, LONGLONG* latest) {
    if (earliest != nullptr) {
        *earliest = 0;
    }
    if (latest != nullptr) {
        *latest = m_source.Duration();
    }
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SourcePin::SetRate(double rate) {
    return m_source.SetRate(rate);
}

HRESULT STDMETHODCALLTYPE SourcePin::GetRate(double* rate) {
    if (rate == nullptr) {
        return E_POINTER;
    }
    *rate = m_source.Flow().Wanted().segment.rate;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SourcePin::GetPreroll(LONGLONG* preroll) {
    if (preroll == nullptr) {
        return E_POINTER;
    }
    *preroll = 0;
    return S_OK;
}

} // namespace ymfilters
