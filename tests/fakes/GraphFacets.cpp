#include "fakes/GraphFacets.h"

#include <algorithm>
#include <cstring>

#include "fakes/FakeEnum.h"
#include "fakes/FakeGraph.h"

namespace fakes {

ConfigFacet::ConfigFacet(FakeGraph& graph, std::string name)
    : Facet(graph, std::move(name)), m_graph(graph) {}

void ConfigFacet::RefuseCache() {
    for (const char* method : {"AddFilterToCache", "EnumCacheFilter", "RemoveFilterFromCache"}) {
        results[method] = E_NOTIMPL;
    }
}

bool ConfigFacet::IsCached(IBaseFilter* filter) const {
    return std::find(m_cache.begin(), m_cache.end(), filter) != m_cache.end();
}

ComPtr<IBaseFilter> ConfigFacet::Withdraw(IBaseFilter* filter) {
    if (std::erase(m_cache, filter) == 0) {
        return nullptr;
    }
    ++m_version;
    return Adopt(filter);
}

void ConfigFacet::Empty() {
    while (!m_cache.empty()) {
        Withdraw(m_cache.back());
    }
}

HRESULT ConfigFacet::AddFilterToCache(IBaseFilter* filter) {
    return Call(
        "AddFilterToCache",
        [&]() -> HRESULT {
            if (IsCached(filter)) {
                return S_FALSE;
            }
            filter->AddRef();
            m_cache.push_back(filter);
            ++m_version;
            return S_OK;
        },
        filter);
}

HRESULT ConfigFacet::EnumCacheFilter(IEnumFilters** out) {
    *out = nullptr;
    return Call("EnumCacheFilter", [&]() -> HRESULT {
        *out = new FakeEnum<IEnumFilters, IBaseFilter>(
            m_graph, ".EnumCacheFilter", IID_IEnumFilters,
            [this](std::size_t index) -> IBaseFilter* {
                if (index >= m_cache.size()) {
                    return nullptr;
                }
                m_cache[index]->AddRef();
                return m_cache[index];
            },
            [this] { return m_version; });
        return S_OK;
    });
}

HRESULT ConfigFacet::RemoveFilterFromCache(IBaseFilter* filter) {
    return Call(
        "RemoveFilterFromCache",
        [&]() -> HRESULT {
            ComPtr<IBaseFilter> taken = Withdraw(filter);
            if (!taken) {
                return S_FALSE;
            }
            if (removeRefDelta >= 0) {
                IBaseFilter* const left = taken.Detach(); // its reference is the caller's now
                for (int i = 0; i < removeRefDelta; ++i) {
                    left->AddRef();
                }
            }
            return S_OK;
        },
        filter);
}

HRESULT ControlFacet::Run() {
    return Call("Run", [&]() -> HRESULT {
        state = State_Running;
        return S_OK;
    });
}

HRESULT ControlFacet::Pause() {
    return Call("Pause", [&]() -> HRESULT {
        state = State_Paused;
        return S_OK;
    });
}

HRESULT ControlFacet::Stop() {
    return Call("Stop", [&]() -> HRESULT {
        state = State_Stopped;
        return S_OK;
    });
}

HRESULT ControlFacet::StopWhenReady() {
    return Call("StopWhenReady", [&]() -> HRESULT {
        state = State_Stopped;
        return S_OK;
    });
}

HRESULT ControlFacet::GetState(long timeout, OAFilterState* out) {
    return Call(
        "GetState",
        [&]() -> HRESULT {
            *out = state;
            return S_OK;
        },
        timeout);
}

HRESULT MediaFilterFacet::SetSyncSource(IReferenceClock* clock) {
    return Call(
        "SetSyncSource",
        [&]() -> HRESULT {
            hasClock = clock != nullptr;
            return S_OK;
        },
        static_cast<IUnknown*>(clock));
}

SeekingFacet::SeekingFacet(FakeObject& owner, std::string name)
    : Facet(owner, std::move(name)),
      capabilities(AM_SEEKING_CanSeekAbsolute | AM_SEEKING_CanGetDuration),
      format(TIME_FORMAT_MEDIA_TIME) {
    durations[TIME_FORMAT_MEDIA_TIME] = 100000000;
}

bool SeekingFacet::Less::operator()(const GUID& a, const GUID& b) const {
    return std::memcmp(&a, &b, sizeof a) < 0;
}

void SeekingFacet::OnlyFormat(const GUID& only, LONGLONG duration) {
    durations.clear();
    durations[only] = duration;
    format = only;
}

HRESULT SeekingFacet::GetCapabilities(DWORD* out) {
    return Call("GetCapabilities", [&]() -> HRESULT {
        *out = capabilities;
        return S_OK;
    });
}

HRESULT SeekingFacet::GetTimeFormat(GUID* out) {
    return Call("GetTimeFormat", [&]() -> HRESULT {
        *out = format;
        return S_OK;
    });
}

HRESULT SeekingFacet::IsUsingTimeFormat(const GUID* asked) {
    return Call(
        "IsUsingTimeFormat", [&]() -> HRESULT { return *asked == format ? S_OK : S_FALSE; },
        *asked);
}

HRESULT SeekingFacet::SetTimeFormat(const GUID* wanted) {
    return Call(
        "SetTimeFormat",
        [&]() -> HRESULT {
            if (!durations.contains(*wanted)) {
                return E_INVALIDARG;
            }
            format = *wanted;
            return S_OK;
        },
        *wanted);
}

HRESULT SeekingFacet::GetDuration(LONGLONG* out) {
    return Call("GetDuration", [&]() -> HRESULT {
        const auto found = durations.find(format);
        *out = found != durations.end() ? found->second : 0;
        return found != durations.end() ? S_OK : E_NOTIMPL;
    });
}

HRESULT SeekingFacet::GetCurrentPosition(LONGLONG* out) {
    return Call("GetCurrentPosition", [&]() -> HRESULT {
        *out = current;
        return S_OK;
    });
}

namespace {

/// A position as the journal shows it.
struct PositionText {
    explicit PositionText(const LONGLONG* position) {
        if (position == nullptr) {
            line.Text("null");
        } else {
            line.Number(*position);
        }
    }
    Line line;
};

} // namespace

HRESULT SeekingFacet::SetPositions(LONGLONG* newCurrent, DWORD currentFlags, LONGLONG* newStop,
                                   DWORD stopFlags) {
    const PositionText currentText(newCurrent);
    const PositionText stopText(newStop);
    return Call(
        "SetPositions",
        [&]() -> HRESULT {
            if ((currentFlags & AM_SEEKING_PositioningBitsMask) != 0) {
                current = *newCurrent;
            }
            if ((stopFlags & AM_SEEKING_PositioningBitsMask) != 0) {
                stop = *newStop;
            }
            return S_OK;
        },
        currentText.line.View(), currentFlags, stopText.line.View(), stopFlags);
}

EventsFacet::EventsFacet(FakeObject& owner, std::string name)
    : DispatchFacet(owner, std::move(name)), m_handle(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      m_events(kCapacity) {}

EventsFacet::~EventsFacet() {
    CloseHandle(m_handle);
}

void EventsFacet::Push(long code, LONG_PTR param1, LONG_PTR param2) {
    const std::lock_guard lock(m_pushing);
    if (Waiting() == kCapacity) {
        ReportFailure("the event queue of the fake graph is full");
        return;
    }
    m_events[m_pushed % kCapacity] = {code, param1, param2};
    ++m_pushed;
    SetEvent(m_handle);
}

HRESULT EventsFacet::GetEventHandle(OAEVENT* out) {
    *out = 0;
    return Call("GetEventHandle", [&]() -> HRESULT {
        *out = reinterpret_cast<OAEVENT>(m_handle);
        return S_OK;
    });
}

HRESULT EventsFacet::GetEvent(long* code, LONG_PTR* param1, LONG_PTR* param2, long timeout) {
    return Call(
        "GetEvent",
        [&]() -> HRESULT {
            if (Waiting() == 0 && timeout != 0) {
                WaitForSingleObject(m_handle, static_cast<DWORD>(timeout));
            }
            if (Waiting() == 0) {
                ResetEvent(m_handle);
                if (Waiting() == 0) {
                    return E_ABORT;
                }
                SetEvent(m_handle); // one came in between
            }
            const Event& event = m_events[m_popped % kCapacity];
            *code = event.code;
            *param1 = event.param1;
            *param2 = event.param2;
            ++m_popped;
            ++m_unfreed;
            return S_OK;
        },
        timeout);
}

HRESULT EventsFacet::FreeEventParams(long code, LONG_PTR param1, LONG_PTR param2) {
    return Call(
        "FreeEventParams",
        [&]() -> HRESULT {
            --m_unfreed;
            return S_OK;
        },
        code, param1, param2);
}

HRESULT EventsFacet::SetNotifyWindow(OAHWND target, long message, LONG_PTR data) {
    return Call(
        "SetNotifyWindow", [] { return S_OK; }, target, message, data);
}

HRESULT VideoFacet::Put(const char* method, long& member, long value) {
    return Call(
        method,
        [&]() -> HRESULT {
            member = value;
            return S_OK;
        },
        value);
}

HRESULT VideoFacet::get_AvgTimePerFrame(REFTIME* out) {
    return Call("get_AvgTimePerFrame", [&]() -> HRESULT {
        *out = frameSeconds;
        return S_OK;
    });
}

HRESULT VideoFacet::get_SourceWidth(long* out) {
    return Call("get_SourceWidth", [&]() -> HRESULT {
        *out = source.width;
        return S_OK;
    });
}

HRESULT VideoFacet::get_SourceHeight(long* out) {
    return Call("get_SourceHeight", [&]() -> HRESULT {
        *out = source.height;
        return S_OK;
    });
}

HRESULT VideoFacet::put_SourceLeft(long value) {
    return Put("put_SourceLeft", source.left, value);
}
HRESULT VideoFacet::put_SourceTop(long value) {
    return Put("put_SourceTop", source.top, value);
}
HRESULT VideoFacet::put_SourceWidth(long value) {
    return Put("put_SourceWidth", source.width, value);
}
HRESULT VideoFacet::put_SourceHeight(long value) {
    return Put("put_SourceHeight", source.height, value);
}
HRESULT VideoFacet::put_DestinationLeft(long value) {
    return Put("put_DestinationLeft", destination.left, value);
}
HRESULT VideoFacet::put_DestinationTop(long value) {
    return Put("put_DestinationTop", destination.top, value);
}
HRESULT VideoFacet::put_DestinationWidth(long value) {
    return Put("put_DestinationWidth", destination.width, value);
}
HRESULT VideoFacet::put_DestinationHeight(long value) {
    return Put("put_DestinationHeight", destination.height, value);
}

HRESULT VideoFacet::SetSourcePosition(long left, long top, long width, long height) {
    return Call(
        "SetSourcePosition",
        [&]() -> HRESULT {
            source = {left, top, width, height};
            return S_OK;
        },
        left, top, width, height);
}

HRESULT VideoFacet::SetDestinationPosition(long left, long top, long width, long height) {
    return Call(
        "SetDestinationPosition",
        [&]() -> HRESULT {
            destination = {left, top, width, height};
            return S_OK;
        },
        left, top, width, height);
}

HRESULT VideoFacet::GetCurrentImage(long* size, long* dib) {
    return Call(
        "GetCurrentImage",
        [&]() -> HRESULT {
            if (size == nullptr) {
                return E_POINTER;
            }
            const long given = *size;
            *size = static_cast<long>(image.size());
            if (dib == nullptr) {
                return S_OK;
            }
            if (given < *size) {
                return E_OUTOFMEMORY;
            }
            std::memcpy(dib, image.data(), image.size());
            return S_OK;
        },
        size != nullptr ? *size : -1, dib != nullptr);
}

HRESULT AudioFacet::put_Volume(long value) {
    return Call(
        "put_Volume",
        [&]() -> HRESULT {
            volume = value;
            return S_OK;
        },
        value);
}

HRESULT AudioFacet::get_Volume(long* out) {
    return Call("get_Volume", [&]() -> HRESULT {
        *out = volume;
        return S_OK;
    });
}

HRESULT WindowFacet::put_WindowStyle(long value) {
    return Call(
        "put_WindowStyle",
        [&]() -> HRESULT {
            style = value;
            return S_OK;
        },
        value);
}

HRESULT WindowFacet::put_Visible(long value) {
    return Call(
        "put_Visible",
        [&]() -> HRESULT {
            visible = value;
            return S_OK;
        },
        value);
}

HRESULT WindowFacet::put_Owner(OAHWND value) {
    return Call(
        "put_Owner",
        [&]() -> HRESULT {
            owner = value;
            return S_OK;
        },
        value);
}

HRESULT WindowFacet::put_MessageDrain(OAHWND value) {
    return Call(
        "put_MessageDrain",
        [&]() -> HRESULT {
            drain = value;
            return S_OK;
        },
        value);
}

HRESULT WindowFacet::SetWindowForeground(long focus) {
    return Call(
        "SetWindowForeground", [] { return S_OK; }, focus);
}

HRESULT WindowFacet::SetWindowPosition(long left, long top, long width, long height) {
    return Call(
        "SetWindowPosition", [] { return S_OK; }, left, top, width, height);
}

HRESULT StepFacet::Step(DWORD frames, IUnknown* object) {
    return Call(
        "Step", [] { return S_OK; }, frames, object);
}

HRESULT StepFacet::CanStep(long multiple, IUnknown* object) {
    return Call(
        "CanStep", [] { return S_OK; }, multiple, object);
}

} // namespace fakes
