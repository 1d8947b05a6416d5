#pragma once

#include <windows.h>

#include <dshow.h>
#include <wrl/client.h>

#include <atomic>
#include <limits>
#include <memory>
#include <mutex>

#include "base/InputPin.h"
#include "base/OutputPin.h"
#include "base/SeekingPassThrough.h"
#include "media/FFmpeg.h"
#include "media/PacketSample.h"

namespace ymfilters {

/// A decoder: one input, one output, a codec between them.
///
/// Streaming calls come one at a time, in the thread of the filter upstream, and what they use is
/// theirs alone: no lock. A flush and a start leave a mark, which the next streaming call obeys.
/// Inside, times are media time.
class DecoderFilter : public Filter {
protected:
    DecoderFilter(const CLSID& clsid, AVMediaType kind);

    static constexpr LONGLONG kNever = std::numeric_limits<LONGLONG>::max();

    /// The stream of the input's connection; null without one. From any thread.
    std::shared_ptr<const StreamParameters> ConnectedStream();

    // What the output pin asks for, from any thread.
    virtual bool OutputType(unsigned index, ymdshow::MediaType& type) = 0;
    virtual HRESULT CheckOutputType(const AM_MEDIA_TYPE& type) = 0;
    virtual ALLOCATOR_PROPERTIES OutputNeeds(const AM_MEDIA_TYPE& type) = 0;
    virtual void OnConnecting(IPin&) {} ///< before types are tried with a peer
    virtual void OnQuality(const Quality&) {}

    /// Settings of a codec that is about to be opened.
    virtual void Configure(AVCodecContext&) {}

    // Streaming; S_OK to go on.
    virtual HRESULT OnPacket(const AVPacket& packet) { return Decode(&packet); }
    virtual HRESULT OnFrame(FramePtr frame) = 0;  ///< its best-effort time stamp is set
    virtual HRESULT OnDraining() { return S_OK; } ///< packets held back are to be decoded
    virtual HRESULT OnDrained() = 0;              ///< pictures and sound held back go out
    virtual HRESULT OnGap(LONGLONG from, LONGLONG to) = 0;
    virtual void OnStart() = 0; ///< the output's type may be another; OnFlush follows
    virtual void OnFlush() = 0; ///< all that is held is void
    virtual void OnPlace() = 0; ///< another segment or target

    /// Decodes a packet; null: all that the codec still holds.
    HRESULT Decode(const AVPacket* packet);
    HRESULT Drain();
    bool IsStreaming() const { return m_input.IsActive() && !m_input.IsFlushing(); }

    const SampleSegment& Segment() const { return m_segment; }
    LONGLONG Target() const { return m_target; }
    REFERENCE_TIME StreamTimeOf(LONGLONG time) const;
    AVCodecContext* Codec() const { return m_codec.get(); } ///< null when the stream's failed
    const StreamParameters& Stream() const { return *m_stream; }

    bool IsOutputConnected() const { return m_output.IsConnected(); }

    /// The type of the output's connection, a copy.
    ymdshow::MediaType OutputConnection();

    /// A buffer; `type` is the one that the peer wants from it on, empty when that is as before.
    HRESULT GetBuffer(IMediaSample** sample, ymdshow::MediaType& type);
    HRESULT Deliver(IMediaSample& sample) { return m_output.Deliver(sample); }

    /// Attaches a new type to a sample if the peer takes it.
    bool ChangeType(IMediaSample& sample, const AM_MEDIA_TYPE& type);

    /// Whether it is also by the peer's word the connection's type.
    bool IsPeersType(const AM_MEDIA_TYPE& type);

private:
    class Input final : public InputPin {
    public:
        explicit Input(DecoderFilter& owner) : InputPin(owner, L"In"), m_owner(owner) {}
        HRESULT Activate() override;

    protected:
        HRESULT CheckType(const AM_MEDIA_TYPE& type) override;
        HRESULT OnConnected() override;
        void OnDisconnect() override;
        HRESULT OnSample(IMediaSample& sample) override;
        HRESULT OnEndOfStream() override;
        HRESULT OnBeginFlush() override;
        HRESULT OnEndFlush() override;
        HRESULT OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

    private:
        DecoderFilter& m_owner;
    };

    class Output final : public OutputPin {
    public:
        explicit Output(DecoderFilter& owner) : OutputPin(owner, L"Out"), m_owner(owner) {}

        HRESULT STDMETHODCALLTYPE Connect(IPin* peer, const AM_MEDIA_TYPE* type) override;
        HRESULT STDMETHODCALLTYPE Notify(IBaseFilter* self, Quality quality) override;
        bool PreferredType(unsigned index, ymdshow::MediaType& type) override;
        using OutputPin::SetType;

    protected:
        void* Interface(REFIID iid) override;
        HRESULT CheckType(const AM_MEDIA_TYPE& type) override;
        ALLOCATOR_PROPERTIES BufferNeeds() const override;

    private:
        DecoderFilter& m_owner;
        SeekingPassThrough m_seeking{static_cast<IPin&>(*this), m_owner.m_input};
    };

    /// A stream and the codec that was opened for it.
    struct Opened {
        std::shared_ptr<const StreamParameters> stream;
        CodecPtr codec;
    };

    CodecPtr Open(const StreamParameters& stream);
    HRESULT Connect(std::shared_ptr<const StreamParameters> stream);
    void Disconnect();

    void TakeMark();
    HRESULT TakeSample(IMediaSample& sample);
    HRESULT TakeOwnSample(IMediaSample& sample, IPacketSample& own);
    HRESULT TakeForeignSample(IMediaSample& sample);
    HRESULT SwitchTo(std::shared_ptr<const StreamParameters> stream, LONGLONG target);
    HRESULT Place(const SampleSegment& segment, LONGLONG target);
    HRESULT EndStream();

    const AVMediaType m_kind;
    Input m_input{*this};
    Output m_output{*this};

    std::mutex m_openedMutex; // held for a moment only
    Opened m_opened;          // of the connection; the codec until streaming takes it
    std::atomic<bool> m_isStarted{false};
    std::atomic<bool> m_isFlushed{false};

    // Streaming alone.
    std::shared_ptr<const StreamParameters> m_stream;
    CodecPtr m_codec;
    SampleSegment m_segment{.start = 0, .stop = kNever, .base = 0, .rate = 1};
    LONGLONG m_target = 0;
    bool m_isCodecFed = false; // since its last flush
    // Of the connection and stream, to tell damage from silence.
    unsigned m_packets = 0;
    unsigned m_frames = 0;
    unsigned m_errors = 0;
};

} // namespace ymfilters
