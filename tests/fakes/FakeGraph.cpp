#include "fakes/FakeGraph.h"

#include <algorithm>
#include <cwchar>

#include "fakes/FakeEnum.h"

namespace fakes {

namespace {

/// The filter's first free pin of a direction that `fits`; null without one.
template <class Fits> FakePin* FreePin(FakeFilter& filter, PIN_DIRECTION direction, Fits fits) {
    for (std::size_t i = 0; i < filter.PinCount(); ++i) {
        FakePin& pin = filter.Pin(i);
        if (pin.direction == direction && !pin.IsConnected() && fits(pin)) {
            return &pin;
        }
    }
    return nullptr;
}

const char* KindName(const FakePin& pin) {
    const GUID major = pin.types.empty() ? GUID_NULL : pin.types.front().major;
    return major == MEDIATYPE_Video   ? "Video"
           : major == MEDIATYPE_Audio ? "Audio"
           : major == MEDIATYPE_Text  ? "Text"
                                      : "Any";
}

} // namespace

FakeGraph::~FakeGraph() {
    Silence silence;
    config.Empty();
    while (!m_filters.empty()) {
        Leave(m_filters.back().filter);
    }
}

void FakeGraph::Abandon() {
    FakeCom::Abandon();
    m_filters.clear();
    for (ComPtr<FakeFilter>& transform : transforms) {
        transform.Detach();
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
    Silence silence;
    Enter(filter, name);
}

bool FakeGraph::Contains(IBaseFilter* filter) const {
    return std::any_of(m_filters.begin(), m_filters.end(),
                       [&](const Member& member) { return member.filter == filter; });
}

FakeFilter* FakeGraph::Find(std::string_view name) const {
    for (const Member& member : m_filters) {
        auto* fake = AsFake<FakeFilter>(member.filter);
        if (fake != nullptr && fake->Name() == name) {
            return fake;
        }
    }
    return nullptr;
}

std::vector<std::string> FakeGraph::FilterNames() const {
    std::vector<std::string> names;
    for (auto member = m_filters.rbegin(); member != m_filters.rend(); ++member) {
        const FakeObject* fake = AsFake(member->filter);
        names.push_back(fake != nullptr ? fake->Name() : "foreign");
    }
    return names;
}

std::vector<std::string> FakeGraph::Connections() const {
    std::vector<std::string> texts;
    for (const Member& member : m_filters) {
        auto* fake = AsFake<FakeFilter>(member.filter);
        for (std::size_t i = 0; fake != nullptr && i < fake->PinCount(); ++i) {
            const FakePin& pin = fake->Pin(i);
            if (!pin.IsInput() && pin.IsConnected()) {
                const FakeObject* peer = AsFake(pin.Peer());
                texts.push_back(pin.Name() + " -> " + (peer ? peer->Name() : "foreign"));
            }
        }
    }
    std::sort(texts.begin(), texts.end());
    return texts;
}

void FakeGraph::Enter(IBaseFilter* filter, const wchar_t* name) {
    std::wstring unique = name != nullptr ? name : L"";
    while (unique.empty() || m_names.contains(unique)) {
        wchar_t number[16];
        swprintf(number, std::size(number), L" %04u", m_nextName++);
        unique = (name != nullptr ? name : L"") + std::wstring(number);
    }
    m_names.insert(unique);
    m_filters.push_back({filter, unique});
    filter->AddRef();
    filter->JoinFilterGraph(this, unique.c_str());
    ++m_version;
}

void FakeGraph::Leave(IBaseFilter* filter) {
    const auto found = std::find_if(m_filters.rbegin(), m_filters.rend(),
                                    [&](const Member& member) { return member.filter == filter; });
    if (found == m_filters.rend()) {
        return;
    }
    m_names.erase(found->name);
    m_filters.erase(std::next(found).base());
    ++m_version;
    if (auto* fake = AsFake<FakeFilter>(filter); fake != nullptr) {
        for (std::size_t i = 0; i < fake->PinCount(); ++i) {
            Part(fake->Pin(i));
        }
    }
    filter->JoinFilterGraph(nullptr, nullptr);
    filter->Release();
}

bool FakeGraph::CanJoin(FakePin& out, FakePin& in) const {
    MediaType type;
    return canConnect ? canConnect(out, in) : FakePin::Agree(out, in, type);
}

bool FakeGraph::JoinThrough(FakePin& out, FakeFilter& middle, FakePin& in) {
    FakePin* const middleIn =
        FreePin(middle, PINDIR_INPUT, [&](FakePin& pin) { return CanJoin(out, pin); });
    FakePin* const middleOut =
        FreePin(middle, PINDIR_OUTPUT, [&](FakePin& pin) { return CanJoin(pin, in); });
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
    for (auto member = m_filters.rbegin(); member != m_filters.rend(); ++member) {
        middles.push_back(member->filter);
    }
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
            Enter(candidate, Widen(middle->Name()).c_str());
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
    for (const Member& member : std::vector<Member>(m_filters.rbegin(), m_filters.rend())) {
        auto* filter = AsFake<FakeFilter>(member.filter);
        if (filter == nullptr || !filter->IsRenderer()) {
            continue;
        }
        FakePin* const in = FreePin(*filter, PINDIR_INPUT, [](FakePin&) { return true; });
        if (in != nullptr && SUCCEEDED(ConnectPins(out, *in))) {
            return S_OK;
        }
    }
    PinSpec input = In();
    input.types = out.types;
    FakeFilter& renderer =
        Add(std::string(KindName(out)) + "Renderer" + std::to_string(m_nextRenderer++), {input});
    return out.Connect(&renderer.InPin(), nullptr);
}

IUnknown* FakeGraph::FindInterface(REFIID iid) {
    const bool own = iid == IID_IUnknown || iid == IID_IFilterGraph || iid == IID_IGraphBuilder;
    return own ? this : FindFurther(iid);
}

HRESULT FakeGraph::AddFilter(IBaseFilter* filter, LPCWSTR name) {
    return Call("AddFilter", std::tie(filter, name), [&]() -> HRESULT {
        if (filter == nullptr) {
            return E_POINTER;
        }
        if (Contains(filter)) {
            return VFW_E_DUPLICATE_NAME;
        }
        const bool duplicate = name != nullptr && m_names.contains(name);
        Enter(filter, name);
        return duplicate ? VFW_S_DUPLICATE_NAME : S_OK;
    });
}

HRESULT FakeGraph::RemoveFilter(IBaseFilter* filter) {
    return Call("RemoveFilter", std::tie(filter), [&]() -> HRESULT {
        if (!Contains(filter)) {
            return VFW_E_NOT_FOUND;
        }
        Leave(filter);
        return S_OK;
    });
}

HRESULT FakeGraph::EnumFilters(IEnumFilters** out) {
    *out = nullptr;
    return Call("EnumFilters", [&]() -> HRESULT {
        *out = new FakeEnum<IEnumFilters, IBaseFilter>(
            *this, ".EnumFilters",
            [this](std::size_t index) -> IBaseFilter* {
                if (index >= m_filters.size()) {
                    return nullptr;
                }
                IBaseFilter* const filter = m_filters[m_filters.size() - 1 - index].filter;
                filter->AddRef();
                return filter;
            },
            [this] { return m_version; });
        return S_OK;
    });
}

HRESULT FakeGraph::Disconnect(IPin* pin) {
    return Call("Disconnect", std::tie(pin), [&] { return pin->Disconnect(); });
}

HRESULT FakeGraph::SetDefaultSyncSource() {
    return Call("SetDefaultSyncSource", [&]() -> HRESULT {
        mediaFilter.hasClock = true;
        return S_OK;
    });
}

HRESULT FakeGraph::Connect(IPin* out, IPin* in) {
    return Call("Connect", std::tie(out, in), [&]() -> HRESULT {
        auto* fakeOut = AsFake<FakePin>(out);
        auto* fakeIn = AsFake<FakePin>(in);
        if (fakeOut == nullptr || fakeIn == nullptr) {
            return out->Connect(in, nullptr);
        }
        return onConnect ? onConnect(*fakeOut, *fakeIn) : ConnectPins(*fakeOut, *fakeIn);
    });
}

HRESULT FakeGraph::Render(IPin* out) {
    return Call("Render", std::tie(out), [&]() -> HRESULT {
        auto* fake = AsFake<FakePin>(out);
        if (fake == nullptr) {
            return VFW_E_CANNOT_RENDER;
        }
        return onRender ? onRender(*fake) : RenderPin(*fake);
    });
}

HRESULT FakeGraph::AddSourceFilter(LPCWSTR path, LPCWSTR name, IBaseFilter** out) {
    *out = nullptr;
    return Call("AddSourceFilter", std::tie(path, name), [&]() -> HRESULT {
        const ComPtr<FakeFilter> source = makeSource ? makeSource(path) : nullptr;
        if (!source) {
            return VFW_E_UNKNOWN_FILE_TYPE;
        }
        Enter(source.Get(), name);
        *out = source.Get();
        (*out)->AddRef();
        return S_OK;
    });
}

} // namespace fakes
