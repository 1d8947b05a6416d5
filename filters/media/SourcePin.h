#pragma once

#include "base/OutputPin.h"
#include "media/PacketAllocator.h"
#include "media/Streaming.h"

namespace ymfilters {

class MediaSource;

/// The output pin of one kind of stream. A thread of Streaming delivers through it, seeks go to
/// Streaming.
class SourcePin final : public OutputPin, public IMediaSeeking, public IStreamPin {
public:
    SourcePin(MediaSource& source, StreamKind kind);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        return OutputPin::QueryInterface(iid, out);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return OutputPin::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return OutputPin::Release(); }

    std::shared_ptr<const StreamParameters> STDMETHODCALLTYPE Stream() override;

    HRESULT STDMETHODCALLTYPE GetCapabilities(DWORD* capabilities) override;
    HRESULT STDMETHODCALLTYPE CheckCapabilities(DWORD* capabilities) override;
    HRESULT STDMETHODCALLTYPE IsFormatSupported(const GUID* format) override;
    HRESULT STDMETHODCALLTYPE QueryPreferredFormat(GUID* format) override;
    HRESULT STDMETHODCALLTYPE GetTimeFormat(GUID* format) override;
    HRESULT STDMETHODCALLTYPE IsUsingTimeFormat(const GUID* format) override;
    HRESULT STDMETHODCALLTYPE SetTimeFormat(const GUID* format) override;
    HRESULT STDMETHODCALLTYPE GetDuration(LONGLONG* duration) override;
    HRESULT STDMETHODCALLTYPE GetStopPosition(LONGLONG* stop) override;
    HRESULT STDMETHODCALLTYPE GetCurrentPosition(LONGLONG* current) override;
    HRESULT STDMETHODCALLTYPE ConvertTimeFormat(LONGLONG* target, const GUID* targetFormat,
                                                LONGLONG source, const GUID* sourceFormat) override;
    HRESULT STDMETHODCALLTYPE SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop,
                                           DWORD stopFlags) override;
    HRESULT STDMETHODCALLTYPE GetPositions(LONGLONG* current, LONGLONG* stop) override;
    HRESULT STDMETHODCALLTYPE GetAvailable(LONGLONG* earliest, LONGLONG* latest) override;
    HRESULT STDMETHODCALLTYPE SetRate(double rate) override;
    HRESULT STDMETHODCALLTYPE GetRate(double* rate) override;
    HRESULT STDMETHODCALLTYPE GetPreroll(LONGLONG* preroll) override;

    // What the delivering thread calls.
    void BeginSegment(const SampleSegment& segment);
    HRESULT Send(SampleContents&& contents);
    void SendGap(SampleContents&& contents);

    bool PreferredType(unsigned index, ymdshow::MediaType& type) override;

    StreamKind Kind() const { return m_kind; }

    /// The peer takes packets of another stream.
    bool Accepts(const StreamParameters& stream);

protected:
    void* Interface(REFIID iid) override;
    HRESULT CheckType(const AM_MEDIA_TYPE& type) override;
    ALLOCATOR_PROPERTIES BufferNeeds() const override;
    Microsoft::WRL::ComPtr<IMemAllocator> OwnAllocator() override;

private:
    bool IsTyped(const StreamParameters& stream) const;
    HRESULT Prepare(const std::shared_ptr<const StreamParameters>& stream,
                    const AM_MEDIA_TYPE*& newType);
    HRESULT SendWhole(SampleContents&& contents);
    HRESULT SendCopy(const SampleContents& contents);
    bool CutPcm(SampleContents& contents) const;
    static void SetTimes(SampleContents& contents);

    MediaSource& m_source;
    const StreamKind m_kind;

    // The delivering thread's own.
    std::shared_ptr<const StreamParameters> m_sent;     ///< the stream of the last packet
    std::shared_ptr<const StreamParameters> m_filtered; ///< as it leaves the bit stream filter
    BitstreamFilterPtr m_filter;
    ymdshow::MediaType m_newType;
};

} // namespace ymfilters
