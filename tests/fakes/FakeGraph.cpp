#include "fakes/FakeGraph.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

namespace fakes {

namespace {

const char* KindName(const FakePin& pin) {
    const GUID major = pin.types.empty() ? GUID_NULL : pin.types.front().major;
    return major == MEDIATYPE_Video   ? "Video"
           : major == MEDIATYPE_Audio ? "Audio"
           : major == MEDIATYPE_Text  ? "Text"
                                      : "Any";
}

bool IsRenderer(FakeFilter& filter) {
    return filter.PinCount() != 0 && std::all_of(filter.Pins().begin(), filter.Pins().end(),
                                                 [](const FakePin& pin) { return pin.IsInput(); });
}

} // namespace

FakeGraph::~FakeGraph() {
    const Silence silence;
    while (!config.Cached().empty()) {
        config.Withdraw(config.Cached().back());
    }
    while (!m_filters.empty()) {
        Leave(m_filters.front());
    }
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
        wchar_t number[16];
        swprintf(number, std::size(number), L" %04u", m_nextName++);
        unique = wanted + number;
    }
    m_names[filter] = unique;
    m_filters.insert(m_filters.begin(), HandOut(filter));
    filter->JoinFilterGraph(this, unique.c_str());
    ++m_version;
}

void FakeGraph::Leave(IBaseFilter* filter) {
    if (m_names.erase(filter) == 0) {
        return;
    }
    std::erase(m_filters, filter);
    ++m_version;
    if (auto* const fake = AsFake<FakeFilter>(filter); fake != nullptr) {
        for (FakePin& pin : fake->Pins()) {
            Part(pin);
        }
    }
    filter->JoinFilterGraph(nullptr, nullptr);
    filter->Release();
}

FakeFilter* FakeGraph::Find(std::string_view name) const {
    for (IBaseFilter* filter : m_filters) {
        if (NameOf(filter) == name) {
            return AsFake<FakeFilter>(filter);
        }
    }
    return nullptr;
}

std::vector<std::string> FakeGraph::FilterNames() const {
    std::vector<std::string> names;
    std::transform(m_filters.begin(), m_filters.end(), std::back_inserter(names), &NameOf);
    return names;
}

std::vector<std::string> FakeGraph::Connections() const {
    std::vector<std::string> texts;
    for (IBaseFilter* filter : m_filters) {
        auto* const fake = AsFake<FakeFilter>(filter);
        for (std::size_t i = 0; fake != nullptr && i < fake->PinCount(); ++i) {
            if (const FakePin& pin = fake->Pin(i); !pin.IsInput() && pin.IsConnected()) {
                texts.push_back(pin.Name() + " -> " + NameOf(pin.Peer()));
            }
        }
    }
    std::sort(texts.begin(), texts.end());
    return texts;
}

bool FakeGraph::IsNamed(const std::wstring& name) const {
    return std::any_of(m_names.begin(), m_names.end(),
                       [&](const auto& entry) { return entry.second == name; });
}

bool FakeGraph::CanJoin(FakePin& out, FakePin& in) const {
    return canConnect ? canConnect(out, in) : FakePin::Agree(out, in).has_value();
}

bool FakeGraph::JoinThrough(FakePin& out, FakeFilter& middle, FakePin& in) {
    FakePin* const middleIn =
        middle.FreePin(PINDIR_INPUT, [&](FakePin& pin) { return CanJoin(out, pin); });
    FakePin* const middleOut =
        middle.FreePin(PINDIR_OUTPUT, [&](FakePin& pin) { return CanJoin(pin, in); });
    if (middleIn == nullptr || middleOut == nullptr || FAILED(out.Connect(middleIn, nullptr))) {
        return false;
    }
    if (FAILED(middleOut->Connect(&in, nullptr))) {
        Part(out);
        return false;
    }
    return true;
}

HRESULT FakeGraph::ConnectPins(FakePin& out, FakePin& in) {
    if (out.IsInput() || !in.IsInput()) {
        return VFW_E_INVALID_DIRECTION;
    }
    if (out.IsConnected() || in.IsConnected()) {
        return VFW_E_ALREADY_CONNECTED;
    }
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
        if (middle == nullptr || middle == &out.Filter() || middle == &in.Filter() ||
            !JoinThrough(out, *middle, in)) {
            continue;
        }
        if (!Contains(candidate)) {
            Add(candidate, Widen(middle->Name()).c_str());
            config.Withdraw(candidate);
            std::erase_if(transforms, [&](auto& one) { return one.Get() == middle; });
        }
        return S_OK;
    }
    return VFW_E_CANNOT_CONNECT;
}

HRESULT FakeGraph::RenderPin(FakePin& out) {
    if (out.IsInput()) {
        return VFW_E_INVALID_DIRECTION;
    }
    if (out.IsConnected()) {
        return VFW_E_ALREADY_CONNECTED;
    }
    for (IBaseFilter* member : std::vector<IBaseFilter*>(m_filters)) {
        auto* const filter = AsFake<FakeFilter>(member);
        FakePin* const in = filter != nullptr && IsRenderer(*filter)
                                ? filter->FreePin(PINDIR_INPUT, [](FakePin&) { return true; })
                                : nullptr;
        if (in != nullptr && SUCCEEDED(ConnectPins(out, *in))) {
            return S_OK;
        }
    }
    const std::string name = KindName(out) + ("Renderer" + std::to_string(m_nextRenderer++));
    return out.Connect(&Add(name, {{PINDIR_INPUT, out.types}}).InPin(), nullptr);
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
        const HRESULT result = Contains(filter) ? S_OK : VFW_E_NOT_FOUND;
        Leave(filter);
        return result;
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
    if (std::erase(m_cache, filter) == 0) {
        return nullptr;
    }
    ++m_version;
    return Adopt(filter);
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

HRESULT ConfigFacet::EnumCacheFilter(IEnumFilters** out) {
    return Enumerate<IBaseFilter>("EnumCacheFilter", out, m_cache, m_version);
}

HRESULT ConfigFacet::RemoveFilterFromCache(IBaseFilter* filter) {
    return Call("RemoveFilterFromCache", std::tie(filter), [&] {
        ComPtr<IBaseFilter> taken = Withdraw(filter);
        if (!taken) {
            return S_FALSE;
        }
        for (int i = 0; i < removeRefDelta; ++i) {
            filter->AddRef();
        }
        if (removeRefDelta >= 0) {
            taken.Detach(); // its reference is the caller's now
        }
        return S_OK;
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
        if ((currentFlags & AM_SEEKING_PositioningBitsMask) != 0) {
            current = *newCurrent;
        }
        if ((stopFlags & AM_SEEKING_PositioningBitsMask) != 0) {
            stop = *newStop;
        }
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
        const Event& event = m_events[m_popped % m_events.size()];
        *code = event.code;
        *param1 = event.param1;
        *param2 = event.param2;
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
        if (dib != nullptr) {
            std::memcpy(dib, image.data(), image.size());
        }
        return S_OK;
    });
}

} // namespace fakes
