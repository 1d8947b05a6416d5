#pragma once

#include <deque>
#include <stdexcept>

#include "fakes/FakeObject.h"
#include "fakes/MediaType.h"

namespace fakes {

class FakeFilter;

/// A pin to be made; without types it takes and gives any.
struct PinSpec {
    PIN_DIRECTION direction;
    std::vector<MediaType> types;
};

template <class... Types> PinSpec In(Types... types) {
    return {PINDIR_INPUT, {std::move(types)...}};
}
template <class... Types> PinSpec Out(Types... types) {
    return {PINDIR_OUTPUT, {std::move(types)...}};
}
using PinSpecs = std::vector<PinSpec>;

/// A pin. Its references count on its filter too, as those of the base classes do; a
/// connection holds a reference on the peer. Journal name: "Filter.Pin".
class FakePin final : public FakeOf<IPin> {
public:
    FakePin(FakeFilter& filter, const PinSpec& spec, const std::string& name);
    ~FakePin() override { Unjoin(); }

    std::vector<MediaType> types; ///< EnumMediaTypes gives them
    MediaType connectionType;     ///< of the connection
    PIN_DIRECTION direction;
    std::string pinName;

    FakePin* Peer() const { return m_peer; } ///< without a reference
    bool IsConnected() const { return m_peer != nullptr; }
    bool IsInput() const { return direction == PINDIR_INPUT; }

    /// The type that both agree on, null without one.
    static const MediaType* Agree(const FakePin& out, const FakePin& in);
    /// Whether both are free, of different filters, and agree on a type.
    static bool CanJoin(const FakePin& out, const FakePin& in);

    STDMETHODIMP Disconnect() override {
        return Call("Disconnect", [&] { return Unjoin(); });
    }
    STDMETHODIMP ConnectedTo(IPin** peer) override {
        *peer = nullptr;
        return Call("ConnectedTo", [&] {
            *peer = m_peer != nullptr ? HandOut(m_peer) : nullptr;
            return m_peer != nullptr ? S_OK : VFW_E_NOT_CONNECTED;
        });
    }
    STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE* type) override {
        *type = AM_MEDIA_TYPE{};
        return Call("ConnectionMediaType", [&] {
            if (m_peer != nullptr) {
                connectionType.CopyTo(type);
            }
            return m_peer != nullptr ? S_OK : VFW_E_NOT_CONNECTED;
        });
    }
    STDMETHODIMP QueryPinInfo(PIN_INFO* info) override;
    FAKE_GIVE(QueryDirection, PIN_DIRECTION, direction)
    STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** out) override {
        return Enumerate<AM_MEDIA_TYPE>("EnumMediaTypes", out, types);
    }
    STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE* type) override {
        return Call("QueryAccept", [&] {
            return std::ranges::any_of(
                       types, [=](const MediaType& own) { return own.major == type->majortype; })
                       ? S_OK
                       : S_FALSE;
        });
    }
    FAKE_UNEXPECTED(Connect(IPin*, const AM_MEDIA_TYPE*), QueryId(LPWSTR*),
                    ReceiveConnection(IPin*, const AM_MEDIA_TYPE*),
                    QueryInternalConnections(IPin**, ULONG*), EndOfStream(), BeginFlush(),
                    EndFlush(), NewSegment(REFERENCE_TIME, REFERENCE_TIME, double))

private:
    friend void Join(FakePin& out, FakePin& in);
    friend void Part(FakePin& pin);
    HRESULT Unjoin() {
        FakePin* const peer = std::exchange(m_peer, nullptr);
        return peer != nullptr ? peer->Release(), S_OK : S_FALSE;
    }

    FakeFilter& m_filter;
    FakePin* m_peer = nullptr;
};

inline IPin* HandOut(FakePin& pin) {
    return HandOut<IPin>(&pin);
}

/// IFileSourceFilter of a FakeFilter; results["Load"] refuses.
class FileSourceFacet final : public Facet<IFileSourceFilter, IID_IFileSourceFilter> {
public:
    using Facet::Facet;
    STDMETHODIMP Load(LPCOLESTR file, const AM_MEDIA_TYPE* type) override {
        return Call("Load", std::tuple(file, type != nullptr), [] {});
    }
    FAKE_UNEXPECTED(GetCurFile(LPOLESTR*, AM_MEDIA_TYPE*))
};

/// A stream of IAMStreamSelect.
struct SelectableStream {
    MediaType type;
    std::wstring name;
    DWORD flags = 0;
    HRESULT info = S_OK; ///< of Info
};

/// Info takes no null pointer but for the objects, which it does not have.
class StreamSelectFacet final : public Facet<IAMStreamSelect, IID_IAMStreamSelect> {
public:
    using Facet::Facet;
    std::vector<SelectableStream> streams;
    FAKE_GIVE(Count, DWORD, static_cast<DWORD>(streams.size()))
    STDMETHODIMP Info(long index, AM_MEDIA_TYPE** type, DWORD* flags, LCID* lcid, DWORD* group,
                      WCHAR** name, IUnknown**, IUnknown**) override {
        return Call("Info", std::tie(index), [&] {
            const SelectableStream& stream = streams.at(static_cast<std::size_t>(index));
            if (SUCCEEDED(stream.info)) {
                const std::size_t size = (stream.name.size() + 1) * sizeof(WCHAR);
                *type = HandOut(stream.type);
                *flags = stream.flags;
                *lcid = *group = 0;
                *name = static_cast<WCHAR*>(NewTaskCopy(stream.name.c_str(), size, "a name"));
            }
            return stream.info;
        });
    }
    STDMETHODIMP Enable(long index, DWORD flags) override { return Note("Enable", index, flags); }
};

class PropertyPagesFacet final : public Facet<ISpecifyPropertyPages, IID_ISpecifyPropertyPages> {
public:
    using Facet::Facet;
    std::vector<CLSID> pages;
    STDMETHODIMP GetPages(CAUUID* out) override {
        *out = CAUUID{};
        return Call("GetPages", [&] {
            out->cElems = static_cast<ULONG>(pages.size());
            out->pElems = static_cast<GUID*>(NewTaskCopy(pages.data(), pages.size() * sizeof(CLSID),
                                                         "an array of property pages"));
        });
    }
};

/// A filter. Journal names: "A.EnumPins", "A.Load(path, 0)".
class FakeFilter final : public FakeOf<IBaseFilter, IMediaFilter, IPersist> {
public:
    FakeFilter(std::string name, const PinSpecs& pins, const GUID& id);

    GUID clsid; ///< different for each filter that is made without

    // Optional interfaces; absent until `present` is set.
    FileSourceFacet fileSource{*this, Name()};
    StreamSelectFacet streamSelect{*this, Name()};
    PropertyPagesFacet propertyPages{*this, Name()};

    /// Makes IFileSourceFilter present, with `result` for Load.
    FakeFilter& AcceptFiles(HRESULT result = S_OK) {
        fileSource.present = true;
        fileSource.results["Load"] = result;
        return *this;
    }
    /// Makes IAMStreamSelect present with these streams.
    FakeFilter& Select(const std::vector<SelectableStream>& streams) {
        streamSelect.present = true;
        streamSelect.streams = streams;
        return *this;
    }

    FakePin& AddPin(const PinSpec& pin) {
        const auto number = 1 + std::ranges::count(m_pins, pin.direction, &FakePin::direction);
        const std::string kind = pin.direction == PINDIR_INPUT ? "In" : "Out";
        return m_pins.emplace_back(*this, pin, kind + std::to_string(number));
    }
    std::deque<FakePin>& Pins() { return m_pins; }
    /// "In1"
    FakePin& Pin(const std::string& name) {
        const auto found = std::ranges::find(m_pins, name, &FakePin::pinName);
        return found != m_pins.end() ? *found : throw std::out_of_range(Name() + " has no " + name);
    }
    FakePin& InPin(std::size_t index = 0) { return Pin("In" + std::to_string(index + 1)); }
    FakePin& OutPin(std::size_t index = 0) { return Pin("Out" + std::to_string(index + 1)); }

    STDMETHODIMP EnumPins(IEnumPins** out) override {
        return Enumerate<IPin>("EnumPins", out, m_pins);
    }
    STDMETHODIMP QueryFilterInfo(FILTER_INFO* info) override {
        *info = FILTER_INFO{};
        return Call("QueryFilterInfo", [&] {
            const std::wstring name = m_graph != nullptr ? m_graphName : Widen(Name());
            name.copy(info->achName, std::size(info->achName) - 1);
            info->pGraph = m_graph != nullptr ? HandOut(m_graph) : nullptr;
        });
    }
    STDMETHODIMP JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override {
        return Call("JoinFilterGraph", std::tie(graph, name), [&] {
            m_graph = graph;
            m_graphName = name != nullptr ? name : L"";
        });
    }
    FAKE_GIVE(GetClassID, CLSID, clsid)
    FAKE_UNEXPECTED(QueryVendorInfo(LPWSTR*), FindPin(LPCWSTR, IPin**), Stop(), Pause(),
                    Run(REFERENCE_TIME), GetState(DWORD, FILTER_STATE*),
                    SetSyncSource(IReferenceClock*), GetSyncSource(IReferenceClock**))

private:
    std::deque<FakePin> m_pins;
    IFilterGraph* m_graph = nullptr; ///< not referenced, as the rules are
    std::wstring m_graphName;
};

/// A filter with one reference for the caller.
ComPtr<FakeFilter> MakeFilter(std::string name, const PinSpecs& pins, GUID clsid = GUID_NULL);

/// Connects quietly, with the type that both agree on (the output's first when they do not).
void Join(FakePin& out, FakePin& in);
/// The first free output of `up` with the first free input of `down` that agrees.
void Join(FakeFilter& up, FakeFilter& down);
/// Disconnects both ends quietly.
void Part(FakePin& pin);

} // namespace fakes
