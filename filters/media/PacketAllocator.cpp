#include "media/PacketAllocator.h"

#include <algorithm>
#include <utility>

#include "BaseClasses/ComTypes.h"
#include "BaseClasses/InterfaceIds.h"
#include "BaseClasses/MediaType.h"

using Microsoft::WRL::ComPtr;

namespace ymfilters {

namespace {

class PacketSample final : public IMediaSample, public IPacketSample {
public:
    explicit PacketSample(SampleContents&& contents) : m_contents(std::move(contents)) {
        if (m_contents.newType != nullptr) {
            m_type.Assign(*m_contents.newType);
            m_hasType = true;
        }
        m_size = m_contents.packet != nullptr ? m_contents.packet->size : 0;
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        void* found = nullptr;
        if (iid == IID_IUnknown || iid == IID_IMediaSample) {
            found = static_cast<IMediaSample*>(this);
        } else if (iid == __uuidof(IPacketSample)) {
            found = static_cast<IPacketSample*>(this);
        }
        return ymdshow::AnswerQuery(*this, found, out);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --m_references;
        if (left == 0) {
            delete this;
        }
        return left;
    }

    const AVPacket* STDMETHODCALLTYPE Packet() override { return m_contents.packet.get(); }
    std::shared_ptr<const StreamParameters> STDMETHODCALLTYPE Stream() override {
        return m_contents.stream;
    }
    SampleSegment STDMETHODCALLTYPE Segment() override { return m_contents.segment; }
    LONGLONG STDMETHODCALLTYPE Target() override { return m_contents.target; }

    HRESULT STDMETHODCALLTYPE GetPointer(BYTE** buffer) override {
        if (buffer == nullptr) {
            return E_POINTER;
        }
        *buffer = m_contents.packet != nullptr ? m_contents.packet->data : nullptr;
        return S_OK;
    }
    long STDMETHODCALLTYPE GetSize() override {
        return m_contents.packet != nullptr ? m_contents.packet->size : 0;
    }
    HRESULT STDMETHODCALLTYPE GetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) override {
        if (start == nullptr || end == nullptr) {
            return E_POINTER;
        }
        *start = m_contents.start;
        *end = m_contents.stop;
        return m_contents.start <= m_contents.stop ? S_OK : VFW_E_SAMPLE_TIME_NOT_SET;
    }
    HRESULT STDMETHODCALLTYPE SetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) override {
        m_contents.start = start != nullptr ? *start : 0;
        m_contents.stop = start == nullptr ? -1 : end != nullptr ? *end : *start + 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE IsSyncPoint() override {
        const bool isKey =
            m_contents.packet != nullptr && (m_contents.packet->flags & AV_PKT_FLAG_KEY) != 0;
        return isKey ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE SetSyncPoint(BOOL isOn) override {
        return SetFlag(AV_PKT_FLAG_KEY, isOn);
    }
    HRESULT STDMETHODCALLTYPE IsPreroll() override {
        return m_contents.start <= m_contents.stop && m_contents.stop <= 0 ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE SetPreroll(BOOL) override { return S_OK; }
    long STDMETHODCALLTYPE GetActualDataLength() override { return m_size; }
    HRESULT STDMETHODCALLTYPE SetActualDataLength(long length) override {
        if (length < 0 || length > GetSize()) {
            return VFW_E_BUFFER_OVERFLOW;
        }
        m_size = length;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetMediaType(AM_MEDIA_TYPE** type) override {
        if (type == nullptr) {
            return E_POINTER;
        }
        *type = nullptr;
        if (!m_hasType) {
            return S_FALSE;
        }
        auto* const copy = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
        if (copy == nullptr) {
            return E_OUTOFMEMORY;
        }
        const HRESULT hr = ymdshow::CopyMediaType(*copy, m_type.Get());
        if (FAILED(hr)) {
            CoTaskMemFree(copy);
            return hr;
        }
        *type = copy;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetMediaType(AM_MEDIA_TYPE* type) override {
        m_hasType = type != nullptr;
        m_type.Reset();
        return m_hasType ? m_type.Assign(*type) : S_OK;
    }
    HRESULT STDMETHODCALLTYPE IsDiscontinuity() override {
        return m_contents.isDiscontinuity ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE SetDiscontinuity(BOOL isOn) override {
        m_contents.isDiscontinuity = isOn != FALSE;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetMediaTime(LONGLONG*, LONGLONG*) override {
        return VFW_E_MEDIA_TIME_NOT_SET;
    }
    HRESULT STDMETHODCALLTYPE SetMediaTime(LONGLONG*, LONGLONG*) override { return S_OK; }

private:
    ~PacketSample() = default;

    HRESULT SetFlag(int flag, BOOL isOn) {
        if (m_contents.packet != nullptr) {
            int& flags = m_contents.packet->flags;
            flags = isOn != FALSE ? flags | flag : flags & ~flag;
        }
        return S_OK;
    }

    std::atomic<ULONG> m_references{1};
    SampleContents m_contents;
    ymdshow::MediaType m_type;
    bool m_hasType = false;
    long m_size = 0;
};

} // namespace

ComPtr<IMediaSample> MakeSample(SampleContents&& contents) {
    ComPtr<IMediaSample> sample;
    ymdshow::Adopt<IMediaSample>(sample, new PacketSample(std::move(contents)));
    return sample;
}

HRESULT STDMETHODCALLTYPE PacketAllocator::SetProperties(ALLOCATOR_PROPERTIES* request,
                                                         ALLOCATOR_PROPERTIES* actual) {
    if (request == nullptr || actual == nullptr) {
        return E_POINTER;
    }
    // A peer that needs room before or between the bytes gets an allocator of the usual kind.
    if (request->cbAlign > 1 || request->cbPrefix > 0) {
        return VFW_E_BADALIGN;
    }
    m_properties = {std::max(request->cBuffers, 1L), std::max(request->cbBuffer, 1L), 1, 0};
    *actual = m_properties;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE PacketAllocator::GetProperties(ALLOCATOR_PROPERTIES* properties) {
    if (properties == nullptr) {
        return E_POINTER;
    }
    *properties = m_properties;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE PacketAllocator::Commit() {
    m_isCommitted = true;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE PacketAllocator::Decommit() {
    m_isCommitted = false;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE PacketAllocator::GetBuffer(IMediaSample** buffer, REFERENCE_TIME*,
                                                     REFERENCE_TIME*, DWORD) {
    if (buffer == nullptr) {
        return E_POINTER;
    }
    *buffer = nullptr;
    if (!m_isCommitted) {
        return VFW_E_NOT_COMMITTED;
    }
    SampleContents contents;
    contents.packet.reset(av_packet_alloc());
    if (contents.packet == nullptr ||
        av_new_packet(contents.packet.get(), static_cast<int>(m_properties.cbBuffer)) < 0) {
        return E_OUTOFMEMORY;
    }
    *buffer = MakeSample(std::move(contents)).Detach();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE PacketAllocator::ReleaseBuffer(IMediaSample*) {
    return S_OK;
}

} // namespace ymfilters
