#include "fakes/FakeFilter.h"

namespace fakes {

FakePin::FakePin(FakeFilter& filter, const PinSpec& spec, const std::string& name)
    : FakeOf(filter.Name() + "." + name, &filter), types(spec.types), direction(spec.direction),
      pinName(name), m_filter(filter) {}

const MediaType* FakePin::Agree(const FakePin& out, const FakePin& in) {
    static const std::vector<MediaType> any(1);
    for (const MediaType& offered : out.types.empty() ? any : out.types) {
        for (const MediaType& taken : in.types.empty() ? any : in.types) {
            if (offered.Fits(taken)) {
                return out.types.empty() ? &taken : &offered;
            }
        }
    }
    return nullptr;
}

bool FakePin::CanJoin(const FakePin& out, const FakePin& in) {
    return !out.IsInput() && in.IsInput() && !out.IsConnected() && !in.IsConnected() &&
           &out.m_filter != &in.m_filter && Agree(out, in) != nullptr;
}

void Join(FakePin& out, FakePin& in) {
    const MediaType* const agreed = FakePin::Agree(out, in);
    out.connectionType = in.connectionType = agreed != nullptr ? *agreed : out.types.front();
    out.m_peer = HandOut(&in);
    in.m_peer = HandOut(&out);
}

void FakePin::Unjoin() {
    if (FakePin* const peer = std::exchange(m_peer, nullptr); peer != nullptr) {
        peer->Release();
    }
}

HRESULT FakePin::Disconnect() {
    return Call("Disconnect", [&] {
        const HRESULT result = m_peer != nullptr ? S_OK : S_FALSE;
        Unjoin();
        return result;
    });
}

HRESULT FakePin::ConnectedTo(IPin** peer) {
    *peer = nullptr;
    return Call("ConnectedTo", [&] {
        *peer = m_peer != nullptr ? HandOut(m_peer) : nullptr;
        return m_peer != nullptr ? S_OK : VFW_E_NOT_CONNECTED;
    });
}

HRESULT FakePin::ConnectionMediaType(AM_MEDIA_TYPE* type) {
    *type = AM_MEDIA_TYPE{};
    return Call("ConnectionMediaType", [&] {
        if (m_peer == nullptr) {
            return VFW_E_NOT_CONNECTED;
        }
        connectionType.CopyTo(type);
        return S_OK;
    });
}

HRESULT FakePin::QueryPinInfo(PIN_INFO* info) {
    *info = PIN_INFO{};
    return Call("QueryPinInfo", [&] {
        info->dir = direction;
        Widen(pinName).copy(info->achName, std::size(info->achName) - 1);
        info->pFilter = HandOut(&m_filter);
    });
}

HRESULT StreamSelectFacet::Info(long index, AM_MEDIA_TYPE** type, DWORD* flags, LCID* lcid,
                                DWORD* group, WCHAR** name, IUnknown** object, IUnknown** unknown) {
    return Call("Info", std::tie(index), [&]() -> HRESULT {
        const auto at = static_cast<std::size_t>(index);
        if (at >= streams.size() || FAILED(streams[at].info)) {
            return at < streams.size() ? streams[at].info : S_FALSE;
        }
        const SelectableStream& stream = streams[at];
        const std::size_t size = (stream.name.size() + 1) * sizeof(WCHAR);
        const auto give = [](auto* out, auto&& value) {
            if (out != nullptr) {
                *out = static_cast<std::remove_pointer_t<decltype(out)>>(value());
            }
        };
        give(type, [&] { return HandOut(stream.type); });
        give(flags, [&] { return stream.flags; });
        give(lcid, [] { return 0; });
        give(group, [&] { return stream.group; });
        give(name, [&] {
            return stream.name.empty() ? nullptr : NewTaskCopy(stream.name.c_str(), size, "a name");
        });
        give(object, [] { return nullptr; });
        give(unknown, [] { return nullptr; });
        return stream.info;
    });
}

HRESULT StreamSelectFacet::Enable(long index, DWORD flags) {
    return Call("Enable", std::tie(index, flags), [&] {
        const auto at = static_cast<std::size_t>(index);
        if (at >= streams.size()) {
            return E_INVALIDARG;
        }
        for (SelectableStream& stream : streams) {
            if (flags != 0 && stream.group == streams[at].group) {
                stream.flags = flags == AMSTREAMSELECTENABLE_ENABLEALL ? 1 : 0;
            }
        }
        streams[at].flags = flags != 0 ? 1 : 0;
        return S_OK;
    });
}

HRESULT PropertyPagesFacet::GetPages(CAUUID* out) {
    *out = CAUUID{};
    return Call("GetPages", [&] {
        out->cElems = static_cast<ULONG>(pages.size());
        out->pElems = static_cast<GUID*>(
            NewTaskCopy(pages.data(), pages.size() * sizeof(CLSID), "an array of property pages"));
    });
}

FakeFilter::FakeFilter(std::string name, const PinSpecs& pins, const GUID& id)
    : FakeOf(std::move(name)), clsid(id) {
    fileSource.present = streamSelect.present = propertyPages.present = false;
    std::for_each(pins.begin(), pins.end(), [&](const PinSpec& pin) { AddPin(pin); });
}

FakeFilter& FakeFilter::AcceptFiles(HRESULT result) {
    fileSource.present = true;
    fileSource.results["Load"] = result;
    return *this;
}

FakeFilter& FakeFilter::Select(const std::vector<SelectableStream>& streams) {
    streamSelect.present = true;
    streamSelect.streams = streams;
    return *this;
}

FakePin& FakeFilter::AddPin(const PinSpec& pin) {
    const auto like = [&](const FakePin& other) { return other.direction == pin.direction; };
    const auto number = 1 + std::count_if(m_pins.begin(), m_pins.end(), like);
    const std::string name =
        (pin.direction == PINDIR_INPUT ? "In" : "Out") + std::to_string(number);
    return m_pins.emplace_back(*this, pin, pin.name.empty() ? name : pin.name);
}

FakePin& FakeFilter::Pin(const std::string& name) {
    FakePin* const pin = FindIf([&](FakePin& each) { return each.pinName == name; });
    return pin != nullptr ? *pin : throw std::out_of_range(Name() + " has no pin " + name);
}

HRESULT FakeFilter::QueryFilterInfo(FILTER_INFO* info) {
    *info = FILTER_INFO{};
    return Call("QueryFilterInfo", [&] {
        const std::wstring name = m_graph != nullptr ? m_graphName : Widen(Name());
        name.copy(info->achName, std::size(info->achName) - 1);
        info->pGraph = m_graph != nullptr ? HandOut(m_graph) : nullptr;
    });
}

HRESULT FakeFilter::JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) {
    return Call("JoinFilterGraph", std::tie(graph, name), [&] {
        m_graph = graph;
        m_graphName = name != nullptr ? name : L"";
    });
}

ComPtr<FakeFilter> MakeFilter(std::string name, const PinSpecs& pins, GUID clsid) {
    static std::atomic<unsigned long> serial{0};
    const GUID next{++serial, 0xfa4e, 0x4f11, {0xa0, 0, 0, 0, 0, 0, 0, 1}};
    return Adopt(new FakeFilter(std::move(name), pins, clsid == GUID_NULL ? next : clsid));
}

void Join(FakeFilter& up, FakeFilter& down) {
    for (FakePin& out : up.Pins()) {
        if (FakePin* in = down.FindIf([&](FakePin& pin) { return FakePin::CanJoin(out, pin); })) {
            return Join(out, *in);
        }
    }
    throw std::logic_error(up.Name() + " and " + down.Name() + " do not fit");
}

void Chain(std::initializer_list<FakeFilter*> filters) {
    for (auto down = filters.begin() + 1; down < filters.end(); ++down) {
        Join(**(down - 1), **down);
    }
}

void Part(FakePin& pin) {
    if (FakePin* const peer = pin.m_peer; peer != nullptr) {
        peer->Unjoin();
        pin.Unjoin();
    }
}

} // namespace fakes
