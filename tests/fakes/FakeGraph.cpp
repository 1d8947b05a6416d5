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
    const std::wstring wanted = name != nullptr ? name : L"";
    std::wstring unique = wanted;
    while (unique.empty() || IsNamed(unique)) {
        unique = wanted + L" " + std::to_wstring(m_nextName++);
    }
    m_names[filter] = unique;
    m_filters.insert(m_filters.begin(), HandOut(filter));
    filter->JoinFilterGraph(this, unique.c_str());
    ++m_version;
}

void FakeGraph::Leave(IBaseFilter* filter) {
    const Silence silence;
    m_names.erase(filter);
    std::erase(m_filters, filter);
    ++m_version;
    if (auto* const fake = AsFake<FakeFilter>(filter); fake != nullptr) {
        std::for_each(fake->Pins().begin(), fake->Pins().end(), &Part);
    }
    filter->JoinFilterGraph(nullptr, nullptr);
    filter->Release();
}

FakeFilter* FakeGraph::Find(std::string_view name) const {
    const auto found = std::find_if(m_filters.begin(), m_filters.end(),
                                    [&](IBaseFilter* each) { return NameOf(each) == name; });
    return found != m_filters.end() ? AsFake<FakeFilter>(*found) : nullptr;
}

Lines FakeGraph::FilterNames() const {
    Lines names;
    std::transform(m_filters.begin(), m_filters.end(), std::back_inserter(names), &NameOf);
    return names;
}

Lines FakeGraph::Connections() const {
    std::set<std::string> texts;
    for (IBaseFilter* filter : m_filters) {
        if (auto* const fake = AsFake<FakeFilter>(filter); fake != nullptr) {
            for (const FakePin& pin : fake->Pins()) {
                if (!pin.IsInput() && pin.IsConnected()) {
                    texts.insert(pin.Name() + " -> " + NameOf(pin.Peer()));
                }
            }
        }
    }
    return {texts.begin(), texts.end()};
}

bool FakeGraph::IsNamed(const std::wstring& name) const {
    return std::any_of(m_names.begin(), m_names.end(),
                       [&](const auto& entry) { return entry.second == name; });
}

bool FakeGraph::CanJoin(FakePin& out, FakePin& in) const {
    return !out.IsInput() && in.IsInput() &&
           (canConnect ? canConnect(out, in) : FakePin::Agree(out, in).has_value());
}

bool FakeGraph::JoinThrough(FakePin& out, FakeFilter& middle, FakePin& in) {
    FakePin* const middleIn =
        middle.FreePin(PINDIR_INPUT, [&](FakePin& pin) { return CanJoin(out, pin); });
    FakePin* const middleOut =
        middle.FreePin(PINDIR_OUTPUT, [&](FakePin& pin) { return CanJoin(pin, in); });
    if (middleIn == nullptr || middleOut == nullptr || FAILED(out.Connect(middleIn, nullptr))) {
        return false;
    }
    const bool joined = SUCCEEDED(middleOut->Connect(&in, nullptr));
    if (!joined) {
        Part(out);
    }
    return joined;
}

HRESULT FakeGraph::ConnectPins(FakePin& out, FakePin& in) {
    if (CanJoin(out, in) && SUCCEEDED(out.Connect(&in, nullptr))) {
        return S_OK;
    }
    std::vector<IBaseFilter*> middles = config.Cached();
    middles.insert(middles.end(), m_filters.begin(), m_filters.end());
    for (const ComPtr<FakeFilter>& transform : transforms) {
        middles.push_back(transform.Get());
    }
    for (IBaseFilter* candidate : middles) {
        auto* const middle = AsFake<FakeFilter>(candidate);
        if (middle != nullptr && JoinThrough(out, *middle, in)) {
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
    if (out.IsInput() || out.IsConnected()) {
        return VFW_E_ALREADY_CONNECTED;
    }
    for (IBaseFilter* member : std::vector(m_filters)) {
        auto* const filter = AsFake<FakeFilter>(member);
        const auto any = [](FakePin&) { return true; };
        const bool renders =
            filter != nullptr && std::all_of(filter->Pins().begin(), filter->Pins().end(),
                                             std::mem_fn(&FakePin::IsInput));
        FakePin* const in = renders ? filter->FreePin(PINDIR_INPUT, any) : nullptr;
        if (in != nullptr && SUCCEEDED(ConnectPins(out, *in))) {
            return S_OK;
        }
    }
    const GUID major = out.types.empty() ? GUID_NULL : out.types.front().major;
    const std::string kind = major == MEDIATYPE_Video   ? "Video"
                             : major == MEDIATYPE_Audio ? "Audio"
                             : major == MEDIATYPE_Text  ? "Text"
                                                        : "Any";
    FakeFilter& renderer =
        Add(kind + "Renderer" + std::to_string(m_nextRenderer++), {{PINDIR_INPUT, out.types}});
    return out.Connect(&renderer.InPin(), nullptr);
}

HRESULT FakeGraph::AddFilter(IBaseFilter* filter, LPCWSTR name) {
    return Call("AddFilter", std::tie(filter, name), [&]() -> HRESULT {
        if (filter == nullptr || Contains(filter)) {
            return filter == nullptr ? E_POINTER : VFW_E_DUPLICATE_NAME;
        }
        const bool duplicate = name != nullptr && IsNamed(name);
        Add(filter, name);
        return duplicate ? VFW_S_DUPLICATE_NAME : S_OK;
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

HRESULT FakeGraph::Connect(IPin* out, IPin* in) {
    return Call("Connect", std::tie(out, in), [&] {
        auto* const fakeOut = AsFake<FakePin>(out);
        auto* const fakeIn = AsFake<FakePin>(in);
        return fakeOut == nullptr || fakeIn == nullptr ? out->Connect(in, nullptr)
               : onConnect                             ? onConnect(*fakeOut, *fakeIn)
                                                       : ConnectPins(*fakeOut, *fakeIn);
    });
}

HRESULT FakeGraph::Render(IPin* out) {
    return Call("Render", std::tie(out), [&]() -> HRESULT {
        auto* const fake = AsFake<FakePin>(out);
        return fake == nullptr ? VFW_E_CANNOT_RENDER
               : onRender      ? onRender(*fake)
                               : RenderPin(*fake);
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

void ConfigFacet::RefuseCache() {
    for (const char* method : {"AddFilterToCache", "EnumCacheFilter", "RemoveFilterFromCache"}) {
        results[method] = E_NOTIMPL;
    }
}

bool ConfigFacet::IsCached(IBaseFilter* filter) const {
    return std::find(m_cache.begin(), m_cache.end(), filter) != m_cache.end();
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
