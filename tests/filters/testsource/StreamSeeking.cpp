// The IMediaSeeking of SourceStream, which knows media time alone.

#include <algorithm>

#include "testsource/SourceStream.h"

namespace ymfilters {

namespace {

constexpr DWORD kCapabilities = AM_SEEKING_CanSeekAbsolute | AM_SEEKING_CanSeekForwards |
                                AM_SEEKING_CanSeekBackwards | AM_SEEKING_CanGetCurrentPos |
                                AM_SEEKING_CanGetStopPos | AM_SEEKING_CanGetDuration;
constexpr double kMaxRate = 16;

bool IsMediaTime(const GUID* format) {
    return *format == TIME_FORMAT_MEDIA_TIME;
}

} // namespace

HRESULT STDMETHODCALLTYPE SourceStream::QueryInterface(REFIID iid, void** out) {
    return OutputPin::QueryInterface(iid, out);
}
ULONG STDMETHODCALLTYPE SourceStream::AddRef() {
    return OutputPin::AddRef();
}
ULONG STDMETHODCALLTYPE SourceStream::Release() {
    return OutputPin::Release();
}

void* SourceStream::Interface(REFIID iid) {
    if (iid == IID_IMediaSeeking && m_clip.isSeekable) {
        return static_cast<IMediaSeeking*>(this);
    }
    return OutputPin::Interface(iid);
}

HRESULT STDMETHODCALLTYPE SourceStream::GetCapabilities(DWORD* capabilities) {
    if (capabilities == nullptr) {
        return E_POINTER;
    }
    *capabilities = kCapabilities;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SourceStream::CheckCapabilities(DWORD* capabilities) {
    if (capabilities == nullptr) {
        return E_POINTER;
    }
    const DWORD wanted = *capabilities;
    *capabilities &= kCapabilities;
    if (*capabilities == 0) {
        return E_FAIL;
    }
    return *capabilities == wanted ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE SourceStream::IsFormatSupported(const GUID* format) {
    if (format == nullptr) {
        return E_POINTER;
    }
    return IsMediaTime(format) ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE SourceStream::QueryPreferredFormat(GUID* format) {
    return GetTimeFormat(format);
}

HRESULT STDMETHODCALLTYPE SourceStream::GetTimeFormat(GUID* format) {
    if (format == nullptr) {
        return E_POINTER;
    }
    *format = TIME_FORMAT_MEDIA_TIME;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SourceStream::IsUsingTimeFormat(const GUID* format) {
    return IsFormatSupported(format);
}

HRESULT STDMETHODCALLTYPE SourceStream::SetTimeFormat(const GUID* format) {
    if (format == nullptr) {
        return E_POINTER;
    }
    return IsMediaTime(format) ? S_OK : E_INVALIDARG;
}

HRESULT STDMETHODCALLTYPE SourceStream::GetDuration(LONGLONG* duration) {
    if (duration == nullptr) {
        return E_POINTER;
    }
    *duration = m_clip.duration;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SourceStream::GetStopPosition(LONGLONG* stop) {
    return stop == nullptr ? E_POINTER : GetPositions(nullptr, stop);
}

HRESULT STDMETHODCALLTYPE SourceStream::GetCurrentPosition(LONGLONG* current) {
    return current == nullptr ? E_POINTER : GetPositions(current, nullptr);
}

HRESULT STDMETHODCALLTYPE SourceStream::ConvertTimeFormat(LONGLONG* target,
                                                          const GUID* targetFormat, LONGLONG source,
                                                          const GUID* sourceFormat) {
    if (target == nullptr) {
        return E_POINTER;
    }
    if ((targetFormat != nullptr && !IsMediaTime(targetFormat)) ||
        (sourceFormat != nullptr && !IsMediaTime(sourceFormat))) {
        return E_INVALIDARG;
    }
    *target = source;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SourceStream::SetPositions(LONGLONG* current, DWORD currentFlags,
                                                     LONGLONG* stop, DWORD stopFlags) {
    const DWORD currentMode = currentFlags & AM_SEEKING_PositioningBitsMask;
    const DWORD stopMode = stopFlags & AM_SEEKING_PositioningBitsMask;
    if ((currentMode != AM_SEEKING_NoPositioning && current == nullptr) ||
        (stopMode != AM_SEEKING_NoPositioning && stop == nullptr)) {
        return E_POINTER;
    }
    if (currentMode == AM_SEEKING_IncrementalPositioning) {
        return E_INVALIDARG;
    }
    Segment segment = m_shared.Get();
    LONGLONG newStart = m_position;
    if (currentMode != AM_SEEKING_NoPositioning) {
        newStart = currentMode == AM_SEEKING_RelativePositioning ? newStart + *current : *current;
        newStart = std::clamp<LONGLONG>(newStart, 0, m_clip.duration);
    }
    if (stopMode != AM_SEEKING_NoPositioning) {
        const LONGLONG base = stopMode == AM_SEEKING_RelativePositioning      ? m_stop.load()
                              : stopMode == AM_SEEKING_IncrementalPositioning ? newStart
                                                                              : 0;
        segment.stop = std::clamp<LONGLONG>(base + *stop, 0, m_clip.duration);
        if (currentMode != AM_SEEKING_NoPositioning && newStart > segment.stop) {
            return E_INVALIDARG;
        }
    }
    if (currentMode != AM_SEEKING_NoPositioning) {
        segment.start = newStart;
        Seek(segment);
    } else if (stopMode != AM_SEEKING_NoPositioning) {
        // What plays goes on, to its new end.
        m_shared.Set(segment);
        m_stop = segment.stop;
    }
    if (current != nullptr && (currentFlags & AM_SEEKING_ReturnTime) != 0) {
        *current = newStart;
    }
    if (stop != nullptr && (stopFlags & AM_SEEKING_ReturnTime) != 0) {
        *stop = segment.stop;
    }
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SourceStream::GetPositions(LONGLONG* current, LONGLONG* stop) {
    if (current != nullptr) {
        *current = m_position;
    }
    if (stop != nullptr) {
        *stop = m_shared.Get().stop;
    }
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SourceStream::GetAvailable(LONGLONG* earliest, LONGLONG* latest) {
    if (earliest != nullptr) {
        *earliest = 0;
    }
    if (latest != nullptr) {
        *latest = m_clip.duration;
    }
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SourceStream::SetRate(double rate) {
    if (!(rate > 0 && rate <= kMaxRate)) {
        return E_INVALIDARG;
    }
    Segment segment = m_shared.Get();
    if (rate != segment.rate) {
        segment.rate = rate;
        segment.start = m_position;
    } else if (rate == OwnRate()) {
        return S_OK;
    }
    // Else another pin was told first, and this one follows it to the same place.
    Seek(segment);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SourceStream::GetRate(double* rate) {
    if (rate == nullptr) {
        return E_POINTER;
    }
    *rate = m_shared.Get().rate;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SourceStream::GetPreroll(LONGLONG* preroll) {
    if (preroll == nullptr) {
        return E_POINTER;
    }
    *preroll = 0;
    return S_OK;
}

} // namespace ymfilters
