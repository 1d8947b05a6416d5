#pragma once

#include <windows.h>

#include <dshow.h>

#include "base/InputPin.h"

namespace ymfilters {

/// The IMediaSeeking of a filter or pin that answers every call with what the pin above
/// its input answers; E_NOTIMPL when that pin does not seek. A part of its outer object.
class SeekingPassThrough : public IMediaSeeking {
public:
    SeekingPassThrough(IUnknown& outer, InputPin& input) : m_outer(outer), m_input(input) {}
    virtual ~SeekingPassThrough() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

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

private:
    template <class Call> HRESULT Forward(Call call);

    IUnknown& m_outer;
    InputPin& m_input;
};

} // namespace ymfilters
