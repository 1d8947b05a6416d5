#include "fakes/FakeGraph.h"

#include <set>

namespace fakes {

FakeGraph::~FakeGraph() {
    while (!config.Cached().empty()) {
        config.Withdraw(config.Cached().back());
    }
    while (!m_filters.empty()) {
        Leave(m_filters.front());
    }
}

ComPtr<FakeGraph> MakeGraph() {
    return Adopt(new FakeGraph);
}

FakeFilter& FakeGraph::Add(std::string name, const PinSpecs& pins) {
    const ComPtr<FakeFilter> filter = MakeFilter(std::move(name), pins);
    Add(filter.Get(), Widen(filter->Name()).c_str());
    return *filter.Get();
}

void FakeGraph::Add(IBaseFilter* filter, const wchar_t* name) {
    const Silence silence;
    m_filters.insert(m_filters.begin(), HandOut(filter));
    filter->JoinFilterGraph(this, name);
    ++m_version;
}

void FakeGraph::Leave(IBaseFilter* filter) {
    const Silence silence;
    std::erase(m_filters, filter);
    ++m_version;
    if (auto* const fake = AsFake<FakeFilter>(filter); fake != nullptr) {
        std::ranges::for_each(fake->Pins(), &Part);
    }
    filter->JoinFilterGraph(nullptr, nullptr);
    filter->Release();
}

FakeFilter* FakeGraph::Find(std::string_view name) const {
    const auto found = std::ranges::find(m_filters, name, &NameOf);
    return found != m_filters.end() ? AsFake<FakeFilter>(*found) : nullptr;
}

Lines FakeGraph::FilterNames() const {
    Lines names;
    std::ranges::transform(m_filters, std::back_inserter(names), &NameOf);
    return names;
}

Lines FakeGraph::Connections() const {
    std::set<std::string> texts;
    for (IBaseFilter* filter : m_filters) {
        if (auto* const fake = AsFake<FakeFilter>(filter); fake != nullptr) {
            for (const FakePin& pin : fake->Pins()) {
                texts.insert(pin.IsInput() || !pin.IsConnected()
                                 ? ""
                                 : pin.Name() + " -> " + pin.Peer()->Name());
            }
        }
    }
    texts.erase("");
    return {texts.begin(), texts.end()};
}

HRESULT FakeGraph::ConnectPins(FakePin& out, FakePin& in) {
    if (FakePin::CanJoin(out, in)) {
        return Join(out, in), S_OK;
    }
    std::vector<IBaseFilter*> middles = config.Cached();
    middles.insert(middles.end(), m_filters.begin(), m_filters.end());
    for (const ComPtr<FakeFilter>& transform : transforms) {
        middles.push_back(transform.Get());
    }
    for (IBaseFilter* candidate : middles) {
        auto* const middle = AsFake<FakeFilter>(candidate);
        const auto find = [&](auto&& fits) {
            return middle != nullptr ? middle->FindIf(fits) : nullptr;
        };
        FakePin* const first = find([&](FakePin& pin) { return FakePin::CanJoin(out, pin); });
        FakePin* const last = find([&](FakePin& pin) { return FakePin::CanJoin(pin, in); });
        if (first != nullptr && last != nullptr) {
            Join(out, *first);
            Join(*last, in);
            if (!Contains(middle)) {
                Add(middle, Widen(middle->Name()).c_str());
                config.Withdraw(middle);
                std::erase_if(transforms, [&](auto& one) { return one.Get() == middle; });
            }
            return S_OK;
        }
    }
    return VFW_E_CANNOT_CONNECT;
}

HRESULT FakeGraph::RenderPin(FakePin& out) {
    for (IBaseFilter* member : std::vector(m_filters)) {
        auto* const filter = AsFake<FakeFilter>(member);
        if (filter != nullptr && std::ranges::all_of(filter->Pins(), &FakePin::IsInput)) {
            for (FakePin& in : filter->Pins()) {
                if (ConnectPins(out, in) == S_OK) {
                    return S_OK;
                }
            }
        }
    }
    const GUID major = out.types.empty() ? GUID_NULL : out.types.front().major;
    const std::string kind = major == MEDIATYPE_Video   ? "Video"
                             : major == MEDIATYPE_Audio ? "Audio"
                             : major == MEDIATYPE_Text  ? "Text"
                                                        : "Any";
    const std::string name = kind + "Renderer" + std::to_string(m_nextRenderer++);
    return ConnectPins(out, Add(name, {{PINDIR_INPUT, out.types}}).InPin());
}

HRESULT FakeGraph::AddFilter(IBaseFilter* filter, LPCWSTR name) {
    return Call("AddFilter", std::tie(filter, name), [&] {
        if (Contains(filter)) {
            return VFW_E_DUPLICATE_NAME;
        }
        Add(filter, name);
        return S_OK;
    });
}

HRESULT FakeGraph::RemoveFilter(IBaseFilter* filter) {
    return Call("RemoveFilter", std::tie(filter), [&] {
        if (!Contains(filter)) {
            return VFW_E_NOT_FOUND;
        }
        Leave(filter);
        return S_OK;
    });
}

HRESULT FakeGraph::AddSourceFilter(LPCWSTR path, LPCWSTR name, IBaseFilter** out) {
    *out = nullptr;
    return Call("AddSourceFilter", std::tie(path, name), [&]() -> HRESULT {
        const ComPtr<FakeFilter> source = makeSource ? makeSource(path) : nullptr;
        if (!source) {
            return VFW_E_UNKNOWN_FILE_TYPE;
        }
        Add(source.Get(), name);
        *out = HandOut(source.Get());
        return S_OK;
    });
}

ComPtr<IBaseFilter> ConfigFacet::Withdraw(IBaseFilter* filter) {
    const bool cached = std::erase(m_cache, filter) != 0;
    m_version += cached ? 1 : 0;
    return cached ? Adopt(filter) : nullptr;
}

HRESULT ConfigFacet::AddFilterToCache(IBaseFilter* filter) {
    return Call("AddFilterToCache", std::tie(filter), [&] {
        if (IsCached(filter)) {
            return S_FALSE;
        }
        m_cache.push_back(HandOut(filter));
        ++m_version;
        return S_OK;
    });
}

HRESULT ConfigFacet::RemoveFilterFromCache(IBaseFilter* filter) {
    return Call("RemoveFilterFromCache", std::tie(filter), [&] {
        const ComPtr<IBaseFilter> taken = Withdraw(filter);
        for (int i = -1; taken && i < removeRefDelta; ++i) {
            filter->AddRef(); // the first instead of the cache's, which is the caller's now
        }
        return taken ? S_OK : S_FALSE;
    });
}

HRESULT SeekingFacet::SetTimeFormat(const GUID* wanted) {
    return Call("SetTimeFormat", std::tie(*wanted), [&] {
        const bool known = durations.contains(*wanted);
        format = known ? *wanted : format;
        return known ? S_OK : E_INVALIDARG;
    });
}

HRESULT SeekingFacet::GetDuration(LONGLONG* out) {
    return Call("GetDuration", [&] {
        const auto found = durations.find(format);
        *out = found != durations.end() ? found->second : 0;
        return found != durations.end() ? S_OK : E_NOTIMPL;
    });
}

HRESULT SeekingFacet::SetPositions(LONGLONG* newCurrent, DWORD currentFlags, LONGLONG* newStop,
                                   DWORD stopFlags) {
    return Call("SetPositions", std::tie(newCurrent, currentFlags, newStop, stopFlags), [&] {
        current = (currentFlags & AM_SEEKING_PositioningBitsMask) != 0 ? *newCurrent : current;
        stop = (stopFlags & AM_SEEKING_PositioningBitsMask) != 0 ? *newStop : stop;
    });
}

void EventsFacet::Push(long code, LONG_PTR param1, LONG_PTR param2) {
    const std::lock_guard lock(m_pushing);
    if (Waiting() == m_events.size()) {
        return ReportFailure("the event queue of the fake graph is full");
    }
    m_events[m_pushed % m_events.size()] = {code, param1, param2};
    ++m_pushed;
    SetEvent(m_handle);
}

HRESULT EventsFacet::GetEvent(long* code, LONG_PTR* param1, LONG_PTR* param2, long timeout) {
    return Call("GetEvent", std::tie(timeout), [&] {
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
        std::tie(*code, *param1, *param2) = m_events[m_popped % m_events.size()];
        ++m_popped;
        ++m_unfreed;
        return S_OK;
    });
}

HRESULT VideoFacet::GetCurrentImage(long* size, long* dib) {
    const long given = size != nullptr ? *size : -1;
    return Call("GetCurrentImage", std::tuple(given, dib != nullptr), [&] {
        if (size == nullptr) {
            return E_POINTER;
        }
        *size = static_cast<long>(image.size());
        if (dib != nullptr && given < *size) {
            return E_OUTOFMEMORY;
        }
        std::memcpy(dib, image.data(), dib != nullptr ? image.size() : 0);
        return S_OK;
    });
}

} // namespace fakes
