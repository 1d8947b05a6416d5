#include "media/VideoDecoder.h"

#include <algorithm>
#include <utility>

#include "BaseClasses/ComTypes.h"
#include "media/MediaFilters.h"

extern "C" {
#include <libavutil/imgutils.h>
}

using Microsoft::WRL::ComPtr;

namespace ymfilters {

namespace {

constexpr LONGLONG kUsualFrameTime = kSecond / 25;
constexpr wchar_t kRotation[] = L"Rotation";
constexpr wchar_t kAppliedRotation[] = L"AppliedRotation";

// AM_SAMPLE2_PROPERTIES::dwTypeSpecificFlags of a video sample.
constexpr DWORD kField1First = 0x04;
constexpr DWORD kWeave = 0x08;
constexpr DWORD kRepeatField = 0x40;

LONGLONG DurationOf(const AVFrame& picture) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 30, 100)
    return picture.duration;
#else
    return picture.pkt_duration;
#endif
}

DWORD FieldFlags(const AVFrame& picture) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(58, 7, 100)
    const bool isInterlaced = (picture.flags & AV_FRAME_FLAG_INTERLACED) != 0;
    const bool isTopFirst = (picture.flags & AV_FRAME_FLAG_TOP_FIELD_FIRST) != 0;
#else
    const bool isInterlaced = picture.interlaced_frame != 0;
    const bool isTopFirst = picture.top_field_first != 0;
#endif
    return (isInterlaced ? 0 : kWeave) | (isTopFirst ? kField1First : 0) |
           (picture.repeat_pict > 0 ? kRepeatField : 0);
}

void SetFieldFlags(IMediaSample& sample, DWORD flags) {
    ComPtr<IMediaSample2> sample2;
    if (FAILED(sample.QueryInterface(IID_PPV_ARGS(&sample2)))) {
        return;
    }
    constexpr DWORD kSize = offsetof(AM_SAMPLE2_PROPERTIES, lActual);
    AM_SAMPLE2_PROPERTIES properties{};
    if (SUCCEEDED(sample2->GetProperties(kSize, reinterpret_cast<BYTE*>(&properties)))) {
        properties.cbData = sizeof(properties);
        properties.dwTypeSpecificFlags = flags;
        sample2->SetProperties(kSize, reinterpret_cast<BYTE*>(&properties));
    }
}

} // namespace

VideoDecoder::VideoDecoder() : DecoderFilter(CLSID_MediaVideoDecoder, AVMEDIA_TYPE_VIDEO) {}

void* VideoDecoder::Interface(REFIID iid) {
    return iid == IID_IPropertyBag ? static_cast<IPropertyBag*>(this)
                                   : DecoderFilter::Interface(iid);
}

HRESULT STDMETHODCALLTYPE VideoDecoder::Read(LPCOLESTR name, VARIANT* value, IErrorLog*) {
    if (name == nullptr || value == nullptr) {
        return E_POINTER;
    }
    const bool isStreams = std::wstring_view(name) == kRotation;
    if (!isStreams && std::wstring_view(name) != kAppliedRotation) {
        return E_INVALIDARG;
    }
    const std::shared_ptr<const StreamParameters> stream = ConnectedStream();
    if (stream == nullptr) {
        return VFW_E_NOT_CONNECTED;
    }
    const VARTYPE wanted = value->vt;
    VARIANT degrees{};
    degrees.vt = VT_I4;
    degrees.lVal = isStreams ? stream->rotation : AppliedRotation(*stream);
    return VariantChangeType(value, &degrees, 0, wanted == VT_EMPTY ? VARTYPE{VT_I4} : wanted);
}

HRESULT STDMETHODCALLTYPE VideoDecoder::Write(LPCOLESTR, VARIANT*) {
    return E_ACCESSDENIED;
}

// The output's types

bool VideoDecoder::OutputType(unsigned index, ymdshow::MediaType& type) {
    const std::shared_ptr<const StreamParameters> stream = ConnectedStream();
    return stream != nullptr &&
           PictureType(ShapeOf(*stream, nullptr, AppliedRotation(*stream)), index, type);
}

HRESULT VideoDecoder::CheckOutputType(const AM_MEDIA_TYPE& type) {
    const std::shared_ptr<const StreamParameters> stream = ConnectedStream();
    if (stream == nullptr) {
        return VFW_E_NOT_CONNECTED;
    }
    const PictureShape shape = ShapeOf(*stream, nullptr, AppliedRotation(*stream));
    const std::optional<PictureLayout> layout = ReadPictureLayout(type, shape);
    if (!layout) {
        return VFW_E_TYPE_NOT_ACCEPTED;
    }
    if (layout->width == shape.width && layout->height == shape.height) {
        return S_OK;
    }
    // Pictures that have changed in mid-stream.
    const std::optional<PictureLayout> now = ReadPictureLayout(OutputConnection().Get(), shape);
    const bool isSameSize = now && now->width == layout->width && now->height == layout->height;
    return isSameSize ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

ALLOCATOR_PROPERTIES VideoDecoder::OutputNeeds(const AM_MEDIA_TYPE& type) {
    constexpr long kBuffers = 4;
    const std::shared_ptr<const StreamParameters> stream = ConnectedStream();
    const std::optional<PictureLayout> layout =
        stream != nullptr
            ? ReadPictureLayout(type, ShapeOf(*stream, nullptr, AppliedRotation(*stream)))
            : std::nullopt;
    return {kBuffers, layout ? static_cast<long>(layout->Size()) : 1, 1, 0};
}

void VideoDecoder::OnConnecting(IPin& peer) {
    const std::shared_ptr<const StreamParameters> stream = ConnectedStream();
    const bool wasTurned = m_isTurnedByPeer.exchange(false);
    if (stream == nullptr || (stream->rotation == 0 && !wasTurned)) {
        return;
    }
    PIN_INFO info{};
    if (FAILED(peer.QueryPinInfo(&info)) || info.pFilter == nullptr) {
        return;
    }
    ComPtr<IBaseFilter> renderer;
    ymdshow::Adopt(renderer, info.pFilter);
    ComPtr<IPropertyBag> properties;
    if (SUCCEEDED(renderer.As(&properties))) {
        VARIANT degrees{};
        degrees.vt = VT_I4;
        degrees.lVal = stream->rotation;
        m_isTurnedByPeer = properties->Write(kRotation, &degrees) == S_OK;
    }
}

void VideoDecoder::OnQuality(const Quality& quality) {
    // A little late is usual.
    constexpr REFERENCE_TIME kTolerated = kUsualFrameTime;
    if (quality.Late <= 0) {
        m_lateUntil = 0;
    } else if (quality.Late > kTolerated || m_lateUntil > 0) {
        m_lateUntil = quality.TimeStamp + quality.Late;
    }
}

// Decoding

void VideoDecoder::Configure(AVCodecContext& codec) {
    codec.thread_count = 0; // as many as there are processors, and one
    codec.thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
}

bool VideoDecoder::IsBehind() const {
    return m_lateUntil > 0 && m_isTargetReached && !m_isFirst && State() == State_Running;
}

// A picture that no other depends on need not be decoded when the next packet's, which is shown
// after it, is not past the target either.
HRESULT VideoDecoder::OnPacket(const AVPacket& packet) {
    const bool isBefore =
        !m_isTargetReached && packet.pts != AV_NOPTS_VALUE && packet.pts < Target();
    if (m_ahead != nullptr) {
        const PacketPtr ahead = std::move(m_ahead);
        const bool isCovered = packet.pts != AV_NOPTS_VALUE && packet.pts > ahead->pts &&
                               packet.pts <= Target() && (packet.flags & AV_PKT_FLAG_DISCARD) == 0;
        const HRESULT hr = DecodePacket(*ahead, !isCovered);
        if (hr != S_OK) {
            return hr;
        }
    }
    if (!isBefore) {
        const bool isLate =
            IsBehind() && (packet.pts == AV_NOPTS_VALUE || StreamTimeOf(packet.pts) < m_lateUntil);
        return DecodePacket(packet, !isLate);
    }
    m_ahead.reset(av_packet_clone(&packet));
    return m_ahead != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT VideoDecoder::DecodePacket(const AVPacket& packet, bool isNeeded) {
    if (Codec() != nullptr) {
        Codec()->skip_frame = isNeeded ? AVDISCARD_DEFAULT : AVDISCARD_NONREF;
    }
    return Decode(&packet);
}

HRESULT VideoDecoder::OnDraining() {
    if (m_ahead == nullptr) {
        return S_OK;
    }
    const PacketPtr ahead = std::move(m_ahead);
    return DecodePacket(*ahead, true);
}

HRESULT VideoDecoder::OnDrained() {
    return ShowHeld(kNever);
}

HRESULT VideoDecoder::OnGap(LONGLONG, LONGLONG to) {
    // Before the target something may still come.
    if (to <= Target()) {
        return S_OK;
    }
    return Drain();
}

HRESULT VideoDecoder::OnFrame(FramePtr frame) {
    const LONGLONG duration = DurationOf(*frame) > 0   ? DurationOf(*frame)
                              : Stream().frameTime > 0 ? Stream().frameTime
                                                       : kUsualFrameTime;
    LONGLONG time = frame->best_effort_timestamp;
    if (time == AV_NOPTS_VALUE) {
        time = m_nextTime != AV_NOPTS_VALUE ? m_nextTime : Target();
    }
    m_nextTime = time + duration;
    if (!m_isTargetReached && time < Target()) {
        m_held = std::move(frame);
        m_heldTime = time;
        return S_OK;
    }
    if (!m_isTargetReached) {
        if (time > Target()) {
            const HRESULT hr = ShowHeld(time);
            if (hr != S_OK) {
                return hr;
            }
        }
        m_held.reset();
        m_isTargetReached = true;
    }
    return time < Segment().stop ? Show(*frame, time, m_nextTime) : S_OK;
}

// Ends no later than what follows begins, and lasts into the target.
HRESULT VideoDecoder::ShowHeld(LONGLONG end) {
    if (m_held == nullptr) {
        return S_OK;
    }
    const FramePtr held = std::move(m_held);
    m_isTargetReached = true;
    const LONGLONG stop = std::max(m_nextTime, Target() + kUsualFrameTime);
    return Show(*held, m_heldTime, std::min(stop, end));
}

void VideoDecoder::OnStart() {
    m_peerTypes = PeerTypes::Unknown;
    m_shape = ShapeOf(Stream(), nullptr, AppliedRotation(Stream()));
    m_layout = ReadPictureLayout(OutputConnection().Get(), m_shape);
    if (m_layout) { // of another size when the last run has left one
        m_shape.width = m_layout->width;
        m_shape.height = m_layout->height;
    }
}

void VideoDecoder::OnFlush() {
    m_ahead.reset();
    m_held.reset();
    m_nextTime = AV_NOPTS_VALUE;
    OnPlace();
}

void VideoDecoder::OnPlace() {
    m_isTargetReached = false;
    m_isFirst = true;
    m_lateUntil = 0;
}

// Output

HRESULT VideoDecoder::Show(const AVFrame& picture, LONGLONG start, LONGLONG stop) {
    if (!m_layout ||
        av_image_check_size(unsigned(picture.width), unsigned(picture.height), 0, nullptr) < 0) {
        return S_OK;
    }
    REFERENCE_TIME from = StreamTimeOf(start);
    REFERENCE_TIME to = StreamTimeOf(std::min(stop, Segment().stop));
    if (IsBehind() && to < m_lateUntil) {
        return S_OK;
    }
    ComPtr<IMediaSample> sample;
    ymdshow::MediaType wanted;
    HRESULT hr = GetBuffer(&sample, wanted);
    if (hr != S_OK) {
        return hr;
    }
    if (const auto layout = ReadPictureLayout(wanted.Get(), m_shape); layout) {
        m_layout = layout;
    }
    Adapt(*sample.Get(), picture);
    BYTE* data = nullptr;
    const auto size = static_cast<long>(m_layout->Size());
    if (FAILED(hr = sample->GetPointer(&data))) {
        return hr;
    }
    if (data == nullptr || sample->GetSize() < size) {
        return VFW_E_BUFFER_OVERFLOW;
    }
    if (!m_converter.Convert(picture, AppliedRotation(Stream()), *m_layout, data)) {
        return S_OK;
    }
    sample->SetActualDataLength(size);
    sample->SetTime(&from, &to);
    sample->SetMediaTime(nullptr, nullptr);
    sample->SetSyncPoint(TRUE);
    sample->SetPreroll(FALSE);
    sample->SetDiscontinuity(std::exchange(m_isFirst, false) ? TRUE : FALSE);
    if (m_layout->hasFields) {
        SetFieldFlags(*sample.Get(), FieldFlags(picture));
    }
    hr = Deliver(*sample.Get());
    if (m_peerTypes == PeerTypes::Asked) {
        m_peerTypes = IsPeersType(m_offered.Get()) ? PeerTypes::Followed : PeerTypes::Fixed;
    }
    return hr;
}

// A peer that does not follow gets pictures of the size it was connected with. Some take every type
// that is offered and go on as before: what they do with one for the same picture tells.
void VideoDecoder::Adapt(IMediaSample& sample, const AVFrame& picture) {
    const PictureShape shape = ShapeOf(Stream(), &picture, AppliedRotation(Stream()));
    const bool isSameSize = shape.width == m_shape.width && shape.height == m_shape.height;
    const bool isSameAspect = av_cmp_q(shape.pixelAspect, m_shape.pixelAspect) == 0;
    if (m_peerTypes == PeerTypes::Fixed || (isSameSize && (isSameAspect || !m_layout->hasFields))) {
        return;
    }
    const ymdshow::MediaType now = OutputConnection();
    if (m_peerTypes == PeerTypes::Unknown) {
        m_peerTypes = PeerTypes::Fixed;
        if (SUCCEEDED(m_offered.Assign(now.Get()))) {
            ++reinterpret_cast<VIDEOINFOHEADER*>(m_offered->pbFormat)->AvgTimePerFrame;
            m_peerTypes = ChangeType(sample, m_offered.Get()) ? PeerTypes::Asked : PeerTypes::Fixed;
        }
        return;
    }
    const ymdshow::MediaType type = PictureTypeLike(now.Get(), shape);
    const std::optional<PictureLayout> layout = ReadPictureLayout(type.Get(), shape);
    if (layout && static_cast<long>(layout->Size()) <= sample.GetSize() &&
        ChangeType(sample, type.Get())) {
        m_layout = layout;
    }
    m_shape = shape;
}

} // namespace ymfilters
