#pragma once

#include <windows.h>

#include <dshow.h>

#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "fakes/FakeObject.h"
#include "fakes/MediaType.h"

namespace fakes {

class FakeFilter;

/// A pin to be made; without types it takes and gives any.
struct PinSpec {
    PIN_DIRECTION direction;
    std::vector<MediaType> types;
    std::string name; ///< "In1", "Out1" and so on when empty
};

template <class... Types> PinSpec In(Types... types) {
    return {PINDIR_INPUT, {std::move(types)...}, {}};
}
template <class... Types> PinSpec Out(Types... types) {
    return {PINDIR_OUTPUT, {std::move(types)...}, {}};
}
inline PinSpec Named(std::string name, PinSpec pin) {
    pin.name = std::move(name);
    return pin;
}
using PinSpecs = std::vector<PinSpec>;

/// A pin. Its references count on its filter too, as those of the base classes do; a
/// connection holds a reference on the peer. Journal name: "Filter.Pin".
class FakePin final : public FakeCom<IPin> {
public:
    FakePin(FakeFilter& filter, const PinSpec& spec, std::string name);
    ~FakePin() override;

    std::vector<MediaType> types; ///< EnumMediaTypes gives them
    MediaType connectionType;     ///< of the connection
    PIN_DIRECTION direction;
    std::wstring pinName;

    FakeFilter& Filter() const { return m_filter; }
    IPin* Peer() const { return m_peer; } ///< without a reference
    bool IsConnected() const { return m_peer != nullptr; }
    bool IsInput() const { return direction == PINDIR_INPUT; }

    /// The type that both would agree on; false when there is none.
    static bool Agree(const FakePin& out, const FakePin& in, MediaType& type);
    /// Connects both ends without any call that is journalled or may fail.
    static void Join(FakePin& out, FakePin& in, const MediaType& type);
    void Unjoin(); ///< this end only

    std::string Describe() const override {
        return FakeCom::Describe() + (IsConnected() ? " (connected)" : "");
    }
    void Abandon() override;
    IUnknown* FindInterface(REFIID iid) override;

    HRESULT STDMETHODCALLTYPE Connect(IPin* receiver, const AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE ReceiveConnection(IPin* connector,
                                                const AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE Disconnect() override;
    HRESULT STDMETHODCALLTYPE ConnectedTo(IPin** peer) override;
    HRESULT STDMETHODCALLTYPE ConnectionMediaType(AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE QueryPinInfo(PIN_INFO* info) override;
    HRESULT STDMETHODCALLTYPE QueryDirection(PIN_DIRECTION* result) override {
        return Give("QueryDirection", result, direction);
    }
    HRESULT STDMETHODCALLTYPE EnumMediaTypes(IEnumMediaTypes** out) override;
    FAKE_UNEXPECTED(QueryId, LPWSTR*)
    FAKE_UNEXPECTED(QueryAccept, const AM_MEDIA_TYPE*)
    FAKE_UNEXPECTED(QueryInternalConnections, IPin**, ULONG*)
    FAKE_UNEXPECTED(EndOfStream)
    FAKE_UNEXPECTED(BeginFlush)
    FAKE_UNEXPECTED(EndFlush)
    FAKE_UNEXPECTED(NewSegment, REFERENCE_TIME, REFERENCE_TIME, double)

private:
    FakeFilter& m_filter;
    IPin* m_peer = nullptr;
};

/// IFileSourceFilter of a FakeFilter; results["Load"] refuses.
class FileSourceFacet final : public Facet<IFileSourceFilter> {
public:
    using Facet::Facet;
    std::wstring path; ///< what was loaded
    HRESULT STDMETHODCALLTYPE Load(LPCOLESTR file, const AM_MEDIA_TYPE* type) override;
    FAKE_UNEXPECTED(GetCurFile, LPOLESTR*, AM_MEDIA_TYPE*)
};

/// A stream of IAMStreamSelect.
struct SelectableStream {
    MediaType type;
    std::wstring name;
    DWORD flags = 0;
    DWORD group = 0;
    HRESULT info = S_OK; ///< of Info
};

class StreamSelectFacet final : public Facet<IAMStreamSelect> {
public:
    using Facet::Facet;
    std::vector<SelectableStream> streams;
    HRESULT STDMETHODCALLTYPE Count(DWORD* count) override {
        return Give("Count", count, static_cast<DWORD>(streams.size()));
    }
    HRESULT STDMETHODCALLTYPE Info(long index, AM_MEDIA_TYPE** type, DWORD* flags, LCID* lcid,
                                   DWORD* group, WCHAR** name, IUnknown** object,
                                   IUnknown** unknown) override;
    HRESULT STDMETHODCALLTYPE Enable(long index, DWORD flags) override;
};

class PropertyPagesFacet final : public Facet<ISpecifyPropertyPages> {
public:
    using Facet::Facet;
    std::vector<CLSID> pages;
    HRESULT STDMETHODCALLTYPE GetPages(CAUUID* out) override;
};

/// A filter. Journal names: "A.EnumPins", "A.Load(path, 0)".
class FakeFilter final : public FakeCom<IBaseFilter> {
public:
    FakeFilter(std::string name, const PinSpecs& pins);

    GUID clsid; ///< different for each filter

    // Optional interfaces; absent until `present` is set.
    FileSourceFacet fileSource{*this, Name(), IID_IFileSourceFilter};
    StreamSelectFacet streamSelect{*this, Name(), IID_IAMStreamSelect};
    PropertyPagesFacet propertyPages{*this, Name(), IID_ISpecifyPropertyPages};

    /// Makes IFileSourceFilter present, with `result` for Load.
    FakeFilter& AcceptFiles(HRESULT result = S_OK);
    /// Makes IAMStreamSelect present with these streams.
    FakeFilter& Select(std::vector<SelectableStream> streams);

    FakePin& AddPin(const PinSpec& pin);
    std::size_t PinCount() const { return m_pins.size(); }
    FakePin& Pin(std::size_t index) { return *m_pins.at(index); }
    FakePin& Pin(std::string_view name); ///< "In1"
    FakePin& InPin(std::size_t index = 0);
    FakePin& OutPin(std::size_t index = 0);
    bool IsRenderer() const;

    IFilterGraph* Graph() const { return m_graph; }

    std::string Describe() const override;
    IUnknown* FindInterface(REFIID iid) override;

    HRESULT STDMETHODCALLTYPE GetClassID(CLSID* out) override {
        return Give("GetClassID", out, clsid);
    }
    HRESULT STDMETHODCALLTYPE EnumPins(IEnumPins** out) override;
    HRESULT STDMETHODCALLTYPE QueryFilterInfo(FILTER_INFO* info) override;
    HRESULT STDMETHODCALLTYPE JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override;
    FAKE_UNEXPECTED(QueryVendorInfo, LPWSTR*)
    FAKE_UNEXPECTED(FindPin, LPCWSTR, IPin**)
    FAKE_UNEXPECTED(Stop)
    FAKE_UNEXPECTED(Pause)
    FAKE_UNEXPECTED(Run, REFERENCE_TIME)
    FAKE_UNEXPECTED(GetState, DWORD, FILTER_STATE*)
    FAKE_UNEXPECTED(SetSyncSource, IReferenceClock*)
    FAKE_UNEXPECTED(GetSyncSource, IReferenceClock**)

private:
    FakePin& PinOf(PIN_DIRECTION direction, std::size_t index);

    std::vector<std::unique_ptr<FakePin>> m_pins;
    IFilterGraph* m_graph = nullptr; ///< not referenced, as the rules are
    std::wstring m_graphName;
};

/// A filter with one reference for the caller.
ComPtr<FakeFilter> MakeFilter(std::string name, const PinSpecs& pins);

/// Connects quietly, with the type that both agree on (the output's first when they do not).
void Join(FakePin& out, FakePin& in);
/// The first free output of `up` with the first free input of `down` that agrees.
void Join(FakeFilter& up, FakeFilter& down);
/// Joins each with the next.
void Chain(std::initializer_list<FakeFilter*> filters);
/// Disconnects both ends quietly.
void Part(FakePin& pin);

std::wstring Widen(std::string_view text);

} // namespace fakes
