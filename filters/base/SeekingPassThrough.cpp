#include "base/SeekingPassThrough.h"

using Microsoft::WRL::ComPtr;

namespace ymfilters {

HRESULT STDMETHODCALLTYPE SeekingPassThrough::QueryInterface(REFIID iid, void** out) {
    return m_outer.QueryInterface(iid, out);
}
ULONG STDMETHODCALLTYPE SeekingPassThrough::AddRef() {
    return m_outer.AddRef();
}
ULONG STDMETHODCALLTYPE SeekingPassThrough::Release() {
    return m_outer.Release();
}

template <class Call> HRESULT SeekingPassThrough::Forward(Call call) {
    ComPtr<IMediaSeeking> upstream;
    const HRESULT hr = m_input.UpstreamSeeking(&upstream);
    return FAILED(hr) ? E_NOTIMPL : call(*upstream.Get());
}

HRESULT STDMETHODCALLTYPE SeekingPassThrough::GetCapabilities(DWORD* capabilities) {
    return Forward([=](IMediaSeeking& up) { return up.GetCapabilities(capabilities); });
}

HRESULT STDMETHODCALLTYPE SeekingPassThrough::CheckCapabilities(DWORD* capabilities) {
    return Forward([=](IMediaSeeking& up) { return up.CheckCapabilities(capabilities); });
}

HRESULT STDMETHODCALLTYPE SeekingPassThrough::IsFormatSupported(const GUID* format) {
    return Forward([=](IMediaSeeking& up) { return up.IsFormatSupported(format); });
}

HRESULT STDMETHODCALLTYPE SeekingPassThrough::QueryPreferredFormat(GUID* format) {
    return Forward([=](IMediaSeeking& up) { return up.QueryPreferredFormat(format); });
}

HRESULT STDMETHODCALLTYPE SeekingPassThrough::GetTimeFormat(GUID* format) {
    return Forward([=](IMediaSeeking& up) { return up.GetTimeFormat(format); });
}

HRESULT STDMETHODCALLTYPE SeekingPassThrough::IsUsingTimeFormat(const GUID* format) {
    return Forward([=](IMediaSeeking& up) { return up.IsUsingTimeFormat(format); });
}

HRESULT STDMETHODCALLTYPE SeekingPassThrough::SetTimeFormat(const GUID* format) {
    return Forward([=](IMediaSeeking& up) { return up.SetTimeFormat(format); });
}

HRESULT STDMETHODCALLTYPE SeekingPassThrough::GetDuration(LONGLONG* duration) {
    return Forward([=](IMediaSeeking& up) { return up.GetDuration(duration); });
}

HRESULT STDMETHODCALLTYPE SeekingPassThrough::GetStopPosition(LONGLONG* stop) {
    return Forward([=](IMediaSeeking& up) { return up.GetStopPosition(stop); });
}

HRESULT STDMETHODCALLTYPE SeekingPassThrough::GetCurrentPosition(LONGLONG* current) {
    return Forward([=](IMediaSeeking& up) { return up.GetCurrentPosition(current); });
}

HRESULT STDMETHODCALLTYPE SeekingPassThrough::ConvertTimeFormat(LONGLONG* target,
                                                                const GUID* targetFormat,
                                                                LONGLONG source,
                                                                const GUID* sourceFormat) {
    return Forward([=](IMediaSeeking& up) {
        return up.ConvertTimeFormat(target, targetFormat, source, sourceFormat);
    });
}

HRESULT STDMETHODCALLTYPE SeekingPassThrough::SetPositions(LONGLONG* current, DWORD currentFlags,
                                                           LONGLONG* stop, DWORD stopFlags) {
    return Forward(
        [=](IMediaSeeking& up) { return up.SetPositions(current, currentFlags, stop, stopFlags); });
}

HRESULT STDMETHODCALLTYPE SeekingPassThrough::GetPositions(LONGLONG* current, LONGLONG* stop) {
    return Forward([=](IMediaSeeking& up) { return up.GetPositions(current, stop); });
}

HRESULT STDMETHODCALLTYPE SeekingPassThrough::GetAvailable(LONGLONG* earliest, LONGLONG* latest) {
    return Forward([=](IMediaSeeking& up) { return up.GetAvailable(earliest, latest); });
}

HRESULT STDMETHODCALLTYPE SeekingPassThrough::SetRate(double rate) {
    return Forward([=](IMediaSeeking& up) { return up.SetRate(rate); });
}

HRESULT STDMETHODCALLTYPE SeekingPassThrough::GetRate(double* rate) {
    return Forward([=](IMediaSeeking& up) { return up.GetRate(rate); });
}

HRESULT STDMETHODCALLTYPE SeekingPassThrough::GetPreroll(LONGLONG* preroll) {
    return Forward([=](IMediaSeeking& up) { return up.GetPreroll(preroll); });
}

} // namespace ymfilters
