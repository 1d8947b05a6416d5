#include "fakes/FakeGraph.h"

#include <algorithm>
#include <cwchar>

#include "fakes/FakeEnum.h"

namespace fakes {

namespace {

std::string FacetName(const std::string& graph, const char* facet) {
    return graph == "graph" ? std::string(facet) : graph + "." + facet;
}

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

FakeGraph::FakeGraph(std::string name)
    : FakeCom(std::move(name)), config(*this, FacetName(Name(), "config")),
      control(*this, FacetName(Name(), "control")),
      mediaFilter(*this, FacetName(Name(), "mediaFilter")),
      seeking(*this, FacetName(Name(), "seeking")), events(*this, FacetName(Name(), "events")),
      video(*this, FacetName(Name(), "video")), audio(*this, FacetName(Name(), "audio")),
      window(*this, FacetName(Name(), "window")), step(*this, FacetName(Name(), "step")) {}

FakeGraph::~FakeGraph() {
    Silence silence;
    config.Empty();
    while (!m_filters.empty()) {
        Leave(m_filters.back().filter);
    }
}

void FakeGraph::Abandon() {
    m_filters.clear();
    config.Abandon();
    for (ComPtr<FakeFilter>& transform : transforms) {
        transform.Detach();
    }
}

ComPtr<FakeGraph> MakeGraph(std::string name) {
    return Adopt(new FakeGraph(std::move(name)));
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
    return std::any_of(m_filters.rbegin(), m_filters.rend(),
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

HRESULT FakeGraph::Attach(FakePin& out, FakePin& in) {
    return out.Connect(&in, nullptr);
}

bool FakeGraph::JoinThrough(FakePin& out, FakeFilter& middle, FakePin& in) {
    FakePin* const middleIn =
        FreePin(middle, PINDIR_INPUT, [&](FakePin& pin) { return CanJoin(out, pin); });
    FakePin* const middleOut =
        FreePin(middle, PINDIR_OUTPUT, [&](FakePin& pin) { return CanJoin(pin, in); });
    if (middleIn == nullptr || middleOut == nullptr || FAILED(Attach(out, *middleIn))) {
        return false;
    }
    if (FAILED(Attach(*middleOut, in))) {
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
    if (CanJoin(out, in) && SUCCEEDED(Attach(out, in))) {
        return S_OK;
    }
    for (IBaseFilter* cached : std::vector<IBaseFilter*>(config.Cached())) {
        auto* middle = AsFake<FakeFilter>(cached);
        if (middle != nullptr && JoinThrough(out, *middle, in)) {
            const ComPtr<IBaseFilter> filter = config.Withdraw(cached);
            Enter(filter.Get(), Widen(middle->Name()).c_str());
            return S_OK;
        }
    }
    for (auto member = m_filters.rbegin(); member != m_filters.rend(); ++member) {
        auto* middle = AsFake<FakeFilter>(member->filter);
        if (middle != nullptr && middle != &out.Filter() && middle != &in.Filter() &&
            JoinThrough(out, *middle, in)) {
            return S_OK;
        }
    }
    for (auto transform = transforms.begin(); transform != transforms.end(); ++transform) {
        if (JoinThrough(out, *transform->Get(), in)) {
            Enter(transform->Get(), Widen((*transform)->Name()).c_str());
            transforms.erase(transform);
            return S_OK;
        }
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
    if (!makeRenderers) {
        return VFW_E_CANNOT_RENDER;
    }
    PinSpec input = In();
    input.types = out.types;
    FakeFilter& renderer =
        Add(std::string(KindName(out)) + "Renderer" + std::to_string(m_nextRenderer++), {input});
    return Attach(out, renderer.InPin());
}

std::string FakeGraph::Describe() const {
    std::string text = Name() + ": " + std::to_string(Refs()) + " references";
    const auto add = [&text](const auto& facet) {
        if (facet.Refs() != 0) {
            text += ", " + std::to_string(facet.Refs()) + " on " + facet.Name();
        }
    };
    add(config);
    add(control);
    add(mediaFilter);
    add(seeking);
    add(events);
    add(video);
    add(audio);
    add(window);
    add(step);
    return text;
}

IUnknown* FakeGraph::FindInterface(REFIID iid) {
    if (iid == IID_IUnknown || iid == IID_IFilterGraph || iid == IID_IGraphBuilder) {
        return this;
    }
    IUnknown* found = nullptr;
    const auto offer = [&](const IID& known, auto& facet) {
        if (iid == known && facet.present) {
            found = &facet;
        }
    };
    offer(IID_IGraphConfig, config);
    offer(IID_IMediaControl, control);
    offer(IID_IMediaFilter, mediaFilter);
    offer(IID_IMediaSeeking, seeking);
    offer(IID_IMediaEvent, events);
    offer(IID_IMediaEventEx, events);
    offer(IID_IBasicVideo, video);
    offer(IID_IBasicAudio, audio);
    offer(IID_IVideoWindow, window);
    offer(IID_IVideoFrameStep, step);
    return found;
}

HRESULT FakeGraph::AddFilter(IBaseFilter* filter, LPCWSTR name) {
    return Call(
        "AddFilter",
        [&]() -> HRESULT {
            if (filter == nullptr) {
                return E_POINTER;
            }
            if (Contains(filter)) {
                return VFW_E_DUPLICATE_NAME;
            }
            const bool duplicate = name != nullptr && m_names.contains(name);
            Enter(filter, name);
            return duplicate ? VFW_S_DUPLICATE_NAME : S_OK;
        },
        filter, name);
}

HRESULT FakeGraph::RemoveFilter(IBaseFilter* filter) {
    return Call(
        "RemoveFilter",
        [&]() -> HRESULT {
            if (!Contains(filter)) {
                return VFW_E_NOT_FOUND;
            }
            Leave(filter);
            return S_OK;
        },
        filter);
}

HRESULT FakeGraph::EnumFilters(IEnumFilters** out) {
    *out = nullptr;
    return Call("EnumFilters", [&]() -> HRESULT {
        *out = new FakeEnum<IEnumFilters, IBaseFilter>(
            *this, ".EnumFilters", IID_IEnumFilters,
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

HRESULT FakeGraph::FindFilterByName(LPCWSTR name, IBaseFilter** out) {
    *out = nullptr;
    return Call(
        "FindFilterByName",
        [&]() -> HRESULT {
            for (const Member& member : m_filters) {
                if (member.name == name) {
                    *out = member.filter;
                    member.filter->AddRef();
                    return S_OK;
                }
            }
            return VFW_E_NOT_FOUND;
        },
        name);
}

HRESULT FakeGraph::ConnectDirect(IPin* out, IPin* in, const AM_MEDIA_TYPE* type) {
    return Call(
        "ConnectDirect", [&] { return out->Connect(in, type); }, out, in);
}

HRESULT FakeGraph::Disconnect(IPin* pin) {
    return Call(
        "Disconnect", [&] { return pin->Disconnect(); }, pin);
}

HRESULT FakeGraph::SetDefaultSyncSource() {
    return Call("SetDefaultSyncSource", [&]() -> HRESULT {
        mediaFilter.hasClock = true;
        return S_OK;
    });
}

HRESULT FakeGraph::Connect(IPin* out, IPin* in) {
    return Call(
        "Connect",
        [&]() -> HRESULT {
            auto* fakeOut = AsFake<FakePin>(out);
            auto* fakeIn = AsFake<FakePin>(in);
            if (fakeOut == nullptr || fakeIn == nullptr) {
                return out->Connect(in, nullptr);
            }
            return onConnect ? onConnect(*fakeOut, *fakeIn) : ConnectPins(*fakeOut, *fakeIn);
        },
        out, in);
}

HRESULT FakeGraph::Render(IPin* out) {
    return Call(
        "Render",
        [&]() -> HRESULT {
            auto* fake = AsFake<FakePin>(out);
            if (fake == nullptr) {
                return VFW_E_CANNOT_RENDER;
            }
            return onRender ? onRender(*fake) : RenderPin(*fake);
        },
        out);
}

HRESULT FakeGraph::AddSourceFilter(LPCWSTR path, LPCWSTR name, IBaseFilter** out) {
    *out = nullptr;
    return Call(
        "AddSourceFilter",
        [&]() -> HRESULT {
            const ComPtr<FakeFilter> source = makeSource ? makeSource(path) : nullptr;
            if (!source) {
                return VFW_E_UNKNOWN_FILE_TYPE;
            }
            Enter(source.Get(), name);
            *out = source.Get();
            (*out)->AddRef();
            return S_OK;
        },
        path, name);
}

} // namespace fakes
