#pragma once

#include <windows.h>

#include <dshow.h>
#include <wrl/client.h>

#include <atomic>
#include <memory>

#include "BaseClasses/ComObject.h"
#include "media/PacketSample.h"

namespace ymfilters {

/// What goes into a sample of the source.
struct SampleContents {
    PacketPtr packet; ///< null for a gap; its times are media times
    std::shared_ptr<const StreamParameters> stream;
    SampleSegment segment;
    LONGLONG target = 0;
    REFERENCE_TIME start = 0; ///< stream times; the packet has none when start > stop
    REFERENCE_TIME stop = -1;
    bool isDiscontinuity = false;
    const AM_MEDIA_TYPE* newType = nullptr; ///< copied; null when it is the one before
};

/// A sample around a packet: no copy, whatever its size.
Microsoft::WRL::ComPtr<IMediaSample> MakeSample(SampleContents&& contents);

/// The allocator of a connection whose samples come from MakeSample. A filter that wants one
/// of its buffers gets plain memory.
class PacketAllocator final : public ymdshow::ComObject<IMemAllocator> {
public:
    HRESULT STDMETHODCALLTYPE SetProperties(ALLOCATOR_PROPERTIES* request,
                                            ALLOCATOR_PROPERTIES* actual) override;
    HRESULT STDMETHODCALLTYPE GetProperties(ALLOCATOR_PROPERTIES* properties) override;
    HRESULT STDMETHODCALLTYPE Commit() override;
    HRESULT STDMETHODCALLTYPE Decommit() override;
    HRESULT STDMETHODCALLTYPE GetBuffer(IMediaSample** buffer, REFERENCE_TIME* start,
                                        REFERENCE_TIME* end, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE ReleaseBuffer(IMediaSample* buffer) override;

private:
    ALLOCATOR_PROPERTIES m_properties{1, 1, 1, 0};
    std::atomic<bool> m_isCommitted{false};
};

} // namespace ymfilters
