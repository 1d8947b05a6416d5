#include "testtransform/TestTransform.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "BaseClasses/FilterModule.h"
#include "Clsids.h"
#include "Formats.h"

using Microsoft::WRL::ComPtr;

namespace ymfilters {

namespace {

constexpr int kDecodedBits = 32;

const VIDEOINFOHEADER* CodedHeader(const AM_MEDIA_TYPE& type) {
    const bool isCoded = type.majortype == MEDIATYPE_Video &&
                         type.subtype == MEDIASUBTYPE_TestCoded &&
                         type.formattype == FORMAT_VideoInfo &&
                         type.cbFormat >= sizeof(VIDEOINFOHEADER) && type.pbFormat != nullptr;
    return isCoded ? reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat) : nullptr;
}

PictureFormat DecodedPicture(const VIDEOINFOHEADER& header) {
    return {static_cast<int>(header.bmiHeader.biWidth),
            std::abs(static_cast<int>(header.bmiHeader.biHeight)), kDecodedBits};
}

long PictureSize(const PictureFormat& picture) {
    return static_cast<long>(DibStride(picture.width, picture.bits)) * picture.height;
}

void CopyProperties(IMediaSample& from, IMediaSample& to) {
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    const HRESULT hr = from.GetTime(&start, &stop);
    to.SetTime(SUCCEEDED(hr) ? &start : nullptr, hr == S_OK ? &stop : nullptr);
    LONGLONG first = 0;
    LONGLONG last = 0;
    const bool hasMediaTime = SUCCEEDED(from.GetMediaTime(&first, &last));
    to.SetMediaTime(hasMediaTime ? &first : nullptr, hasMediaTime ? &last : nullptr);
    to.SetSyncPoint(from.IsSyncPoint() == S_OK);
    to.SetPreroll(from.IsPreroll() == S_OK);
    to.SetDiscontinuity(from.IsDiscontinuity() == S_OK);
}

} // namespace

TransformInput::TransformInput(TestTransform& transform)
    : InputPin(transform, L"In"), m_transform(transform) {}

HRESULT TransformInput::CheckType(const AM_MEDIA_TYPE& type) {
    return TestTransform::KindOf(type) != TestTransform::Kind::None ? S_OK
                                                                    : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT TransformInput::OnConnected() {
    const VIDEOINFOHEADER* const header = CodedHeader(Type());
    m_transform.m_painter.reset();
    if (header != nullptr) {
        const PictureFormat picture = DecodedPicture(*header);
        m_transform.m_painter =
            std::make_unique<FramePainter>(picture.width, picture.height, picture.bits);
    }
    return S_OK;
}

HRESULT TransformInput::OnSample(IMediaSample& sample) {
    return m_transform.Transform(sample);
}

HRESULT TransformInput::OnEndOfStream() {
    const std::lock_guard lock(m_transform.m_receiveMutex);
    return m_transform.m_output.DeliverEndOfStream();
}

HRESULT TransformInput::OnBeginFlush() {
    return m_transform.m_output.DeliverBeginFlush();
}
HRESULT TransformInput::OnEndFlush() {
    return m_transform.m_output.DeliverEndFlush();
}

HRESULT TransformInput::OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
    const std::lock_guard lock(m_transform.m_receiveMutex);
    return m_transform.m_output.DeliverNewSegment(start, stop, rate);
}

TransformOutput::TransformOutput(TestTransform& transform)
    : OutputPin(transform, L"Out"), m_transform(transform),
      m_seeking(*static_cast<IPin*>(this), transform.m_input) {}

void* TransformOutput::Interface(REFIID iid) {
    return iid == IID_IMediaSeeking ? static_cast<IMediaSeeking*>(&m_seeking)
                                    : OutputPin::Interface(iid);
}

bool TransformOutput::PreferredType(unsigned index, ymdshow::MediaType& type) {
    if (index != 0 || !m_transform.m_input.IsConnected()) {
        return false;
    }
    const AM_MEDIA_TYPE& in = m_transform.m_input.Type();
    const VIDEOINFOHEADER* const header = CodedHeader(in);
    if (header == nullptr) {
        return SUCCEEDED(type.Assign(in));
    }
    const PictureFormat picture = DecodedPicture(*header);
    return MakeVideoType(MEDIASUBTYPE_RGB32, picture, header->AvgTimePerFrame,
                         static_cast<ULONG>(PictureSize(picture)), type);
}

HRESULT TransformOutput::CheckType(const AM_MEDIA_TYPE& type) {
    ymdshow::MediaType own;
    if (!PreferredType(0, own)) {
        return VFW_E_NOT_CONNECTED;
    }
    const bool isSame = type.majortype == own->majortype && type.subtype == own->subtype &&
                        type.formattype == own->formattype && type.cbFormat == own->cbFormat &&
                        std::memcmp(type.pbFormat, own->pbFormat, own->cbFormat) == 0;
    return isSame ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

ALLOCATOR_PROPERTIES TransformOutput::BufferNeeds() const {
    PictureFormat picture{};
    if (ReadPictureFormat(Type(), picture)) {
        return {4, PictureSize(picture), 1, 0};
    }
    const WAVEFORMATEX* const sound = ReadPcmFormat(Type());
    return {8, sound != nullptr ? static_cast<long>(sound->nAvgBytesPerSec) : 1, 1, 0};
}

TestTransform::TestTransform() : Filter(CLSID_TestTransform), m_input(*this), m_output(*this) {
    SetPins({&m_input, &m_output});
}

// The connections may go once the filter has stopped, so nothing may be on its way then.
void TestTransform::OnDeactivate() {
    Filter::OnDeactivate();
    const std::lock_guard lock(m_receiveMutex);
}

TestTransform::Kind TestTransform::KindOf(const AM_MEDIA_TYPE& type) {
    PictureFormat picture{};
    if (CodedHeader(type) != nullptr) {
        return Kind::Decode;
    }
    if (ReadPictureFormat(type, picture)) {
        return Kind::Invert;
    }
    return ReadPcmFormat(type) != nullptr ? Kind::Halve : Kind::None;
}

HRESULT TestTransform::Transform(IMediaSample& sample) {
    const std::lock_guard lock(m_receiveMutex);
    if (!m_output.IsConnected()) {
        return VFW_E_NOT_CONNECTED;
    }
    ComPtr<IMediaSample> out;
    HRESULT hr = m_output.GetBuffer(&out);
    if (FAILED(hr)) {
        return hr;
    }
    BYTE* from = nullptr;
    BYTE* to = nullptr;
    hr = sample.GetPointer(&from);
    if (SUCCEEDED(hr)) {
        hr = out->GetPointer(&to);
    }
    long made = 0;
    if (SUCCEEDED(hr)) {
        hr = Convert(from, sample.GetActualDataLength(), to, out->GetSize(), made);
    }
    if (FAILED(hr)) {
        return hr;
    }
    out->SetActualDataLength(made);
    CopyProperties(sample, *out.Get());
    return m_output.Deliver(*out.Get());
}

HRESULT TestTransform::Convert(const BYTE* in, long size, BYTE* out, long capacity,
                               long& made) const {
    const Kind kind = KindOf(m_input.Type());
    made = kind == Kind::Decode ? static_cast<long>(m_painter->Size()) : size;
    if (made > capacity) {
        return VFW_E_BUFFER_OVERFLOW;
    }
    if (kind == Kind::Decode) {
        CodedFrame coded{};
        if (size < static_cast<long>(sizeof(coded))) {
            return VFW_E_INVALIDMEDIATYPE;
        }
        std::memcpy(&coded, in, sizeof(coded));
        m_painter->Paint(coded.frame, out);
    } else if (kind == Kind::Invert) {
        std::transform(in, in + size, out, [](BYTE value) { return static_cast<BYTE>(~value); });
    } else {
        const auto* const sound = reinterpret_cast<const std::int16_t*>(in);
        std::transform(sound, sound + size / 2, reinterpret_cast<std::int16_t*>(out),
                       [](std::int16_t value) { return static_cast<std::int16_t>(value / 2); });
    }
    return S_OK;
}

} // namespace ymfilters

namespace {

constexpr ymdshow::ClassObject kClasses[] = {{&ymfilters::CLSID_TestTransform, L"Test Transform",
                                              &ymfilters::Create<ymfilters::TestTransform>}};

} // namespace

YMD_FILTER_MODULE(kClasses)
