#include "fakes/GraphFacets.h"

#include <algorithm>
#include <cstring>

#include "fakes/FakeEnum.h"
#include "fakes/FakeGraph.h"

namespace fakes {

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
    return Call("AddFilterToCache", std::tie(filter), [&]() -> HRESULT {
        if (IsCached(filter)) {
            return S_FALSE;
        }
        filter->AddRef();
        m_cache.push_back(filter);
        ++m_version;
        return S_OK;
    });
}

HRESULT ConfigFacet::EnumCacheFilter(IEnumFilters** out) {
    *out = nullptr;
    return Call("EnumCacheFilter", [&]() -> HRESULT {
        *out = new FakeEnum<IEnumFilters, IBaseFilter>(
            *Owner(), ".EnumCacheFilter",
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
    return Call("RemoveFilterFromCache", std::tie(filter), [&]() -> HRESULT {
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
    });
}

HRESULT ControlFacet::GetState(long timeout, OAFilterState* out) {
    return Call("GetState", std::tie(timeout), [&]() -> HRESULT {
        *out = state;
        return S_OK;
    });
}

HRESULT MediaFilterFacet::SetSyncSource(IReferenceClock* clock) {
    return Call("SetSyncSource", std::tie(clock), [&]() -> HRESULT {
        hasClock = clock != nullptr;
        return S_OK;
    });
}

void SeekingFacet::OnlyFormat(const GUID& only, LONGLONG duration) {
    durations.clear();
    durations[only] = duration;
    format = only;
}

HRESULT SeekingFacet::IsUsingTimeFormat(const GUID* asked) {
    return Call("IsUsingTimeFormat", std::tie(*asked),
                [&]() -> HRESULT { return *asked == format ? S_OK : S_FALSE; });
}

HRESULT SeekingFacet::SetTimeFormat(const GUID* wanted) {
    return Call("SetTimeFormat", std::tie(*wanted), [&]() -> HRESULT {
        if (!durations.contains(*wanted)) {
            return E_INVALIDARG;
        }
        format = *wanted;
        return S_OK;
    });
}

HRESULT SeekingFacet::GetDuration(LONGLONG* out) {
    return Call("GetDuration", [&]() -> HRESULT {
        const auto found = durations.find(format);
        *out = found != durations.end() ? found->second : 0;
        return found != durations.end() ? S_OK : E_NOTIMPL;
    });
}

/// A position as the journal shows it.
static void Write(Line& line, const LONGLONG* position) {
    if (position == nullptr) {
        line.Text("null");
    } else {
        line.Number(*position);
    }
}

HRESULT SeekingFacet::SetPositions(LONGLONG* newCurrent, DWORD currentFlags, LONGLONG* newStop,
                                   DWORD stopFlags) {
    return Call("SetPositions", std::tie(newCurrent, currentFlags, newStop, stopFlags),
                [&]() -> HRESULT {
                    if ((currentFlags & AM_SEEKING_PositioningBitsMask) != 0) {
                        current = *newCurrent;
                    }
                    if ((stopFlags & AM_SEEKING_PositioningBitsMask) != 0) {
                        stop = *newStop;
                    }
                    return S_OK;
                });
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

HRESULT EventsFacet::GetEvent(long* code, LONG_PTR* param1, LONG_PTR* param2, long timeout) {
    return Call("GetEvent", std::tie(timeout), [&]() -> HRESULT {
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
    });
}

HRESULT EventsFacet::FreeEventParams(long code, LONG_PTR param1, LONG_PTR param2) {
    return Call("FreeEventParams", std::tie(code, param1, param2), [&]() -> HRESULT {
        --m_unfreed;
        return S_OK;
    });
}

HRESULT VideoFacet::GetCurrentImage(long* size, long* dib) {
    return Call("GetCurrentImage", std::tuple(size != nullptr ? *size : -1, dib != nullptr),
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
                });
}

} // namespace fakes
