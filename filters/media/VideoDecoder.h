#pragma once

#include "media/DecoderFilter.h"
#include "media/PictureConverter.h"

namespace ymfilters {

/// Decodes every video stream to what the renderer takes. Of the pictures before the target none
/// is shown but the one that lasts into it.
///
/// Its IPropertyBag tells "Rotation", the stream's, and "AppliedRotation", in degrees clockwise. A
/// renderer whose filter takes "Rotation" in its own IPropertyBag turns the picture itself.
class VideoDecoder final : public DecoderFilter, public IPropertyBag {
public:
    VideoDecoder();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        return DecoderFilter::QueryInterface(iid, out);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return DecoderFilter::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return DecoderFilter::Release(); }

    HRESULT STDMETHODCALLTYPE Read(LPCOLESTR name, VARIANT* value, IErrorLog* log) override;
    HRESULT STDMETHODCALLTYPE Write(LPCOLESTR name, VARIANT* value) override;

protected:
    void* Interface(REFIID iid) override;

    bool OutputType(unsigned index, ymdshow::MediaType& type) override;
    HRESULT CheckOutputType(const AM_MEDIA_TYPE& type) override;
    ALLOCATOR_PROPERTIES OutputNeeds(const AM_MEDIA_TYPE& type) override;
    void OnConnecting(IPin& peer) override;
    void OnQuality(const Quality& quality) override;

    void Configure(AVCodecContext& codec) override;
    HRESULT OnPacket(const AVPacket& packet) override;
    HRESULT OnFrame(FramePtr frame) override;
    HRESULT OnDraining() override;
    HRESULT OnDrained() override;
    HRESULT OnGap(LONGLONG from, LONGLONG to) override;
    void OnStart() override;
    void OnFlush() override;
    void OnPlace() override;

private:
    int AppliedRotation(const StreamParameters& stream) const {
        return m_isTurnedByPeer ? 0 : stream.rotation;
    }
    bool IsBehind() const;
    HRESULT DecodePacket(const AVPacket& packet, bool isNeeded);
    HRESULT ShowHeld(LONGLONG end);
    HRESULT Show(const AVFrame& picture, LONGLONG start, LONGLONG stop);
    void Adapt(IMediaSample& sample, const AVFrame& picture);

    std::atomic<bool> m_isTurnedByPeer{false};
    std::atomic<REFERENCE_TIME> m_lateUntil{0}; ///< stream time; what ends before it comes too late

    // Streaming alone.
    PacketPtr m_ahead; ///< the last packet before the target, kept back
    FramePtr m_held;   ///< the last picture before the target
    LONGLONG m_heldTime = 0;
    LONGLONG m_nextTime = AV_NOPTS_VALUE; ///< expected
    bool m_isTargetReached = false;
    bool m_isFirst = true; ///< of a segment
    std::optional<PictureLayout> m_layout;
    PictureShape m_shape; ///< that the layout's type stands for
    PictureConverter m_converter;

    /// What becomes of types that change in mid-stream.
    enum class PeerTypes { Unknown, Asked, Followed, Fixed };
    PeerTypes m_peerTypes = PeerTypes::Unknown;
    ymdshow::MediaType m_offered;
};

} // namespace ymfilters
