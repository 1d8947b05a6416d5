#pragma once

// Lean graphs for the toolkit's benchmark: filters and pins without a journal, in one block
// of memory each, whose calls cost about what those of real filters do. An enumerator is an
// object on the heap, as everywhere.

#include <windows.h>

#include <dshow.h>

#include <memory>
#include <vector>

namespace lean {

enum class Shape { Chain, Fan, Tree };

// How many enumerators were made: the only memory that the fakes take during a walk.
inline size_t g_enumerators = 0;

class Filter;

// What no walk of the toolkit calls.
#define LEAN_REFUSE                                                                                \
    override {                                                                                     \
        return E_NOTIMPL;                                                                          \
    }

template <typename Interface> class Counted : public Interface {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** out) override {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_references; }
    ULONG References() const { return m_references; }

protected:
    ULONG m_references = 1;
};

class Pin final : public Counted<IPin> {
public:
    Pin(Filter* filter, PIN_DIRECTION direction) : m_filter(filter), m_direction(direction) {}

    static void Join(Pin& out, Pin& in) {
        out.m_peer = &in;
        in.m_peer = &out;
    }
    void Part() { m_peer = nullptr; }

    HRESULT STDMETHODCALLTYPE ConnectedTo(IPin** peer) override {
        if (!m_peer) {
            return VFW_E_NOT_CONNECTED;
        }
        m_peer->AddRef();
        *peer = m_peer;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE QueryDirection(PIN_DIRECTION* direction) override {
        *direction = m_direction;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE QueryPinInfo(PIN_INFO* info) override;
    HRESULT STDMETHODCALLTYPE ConnectionMediaType(AM_MEDIA_TYPE* type) override {
        *type = AM_MEDIA_TYPE{};
        if (!m_peer) {
            return VFW_E_NOT_CONNECTED;
        }
        type->majortype = MEDIATYPE_Video;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Connect(IPin*,
                                      const AM_MEDIA_TYPE*) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        ReceiveConnection(IPin*, const AM_MEDIA_TYPE*) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        Disconnect() LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        QueryId(LPWSTR*) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        QueryAccept(const AM_MEDIA_TYPE*) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        EnumMediaTypes(IEnumMediaTypes**) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        QueryInternalConnections(IPin**, ULONG*) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        EndOfStream() LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        BeginFlush() LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        EndFlush() LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) LEAN_REFUSE

        private : Filter* m_filter;
    Pin* m_peer = nullptr;
    PIN_DIRECTION m_direction;
};

// Hands out `count` items that lie one behind the other.
template <typename Interface, typename Item, typename Handed>
class Enumerator final : public Interface {
public:
    Enumerator(Item* items, ULONG count) : m_items(items), m_count(count) { ++g_enumerators; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) LEAN_REFUSE ULONG STDMETHODCALLTYPE
        AddRef() override {
        return ++m_references;
    }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --m_references;
        if (left == 0) {
            delete this;
        }
        return left;
    }
    HRESULT STDMETHODCALLTYPE Next(ULONG, Handed** item, ULONG*) override {
        if (m_next == m_count) {
            return S_FALSE;
        }
        Item& found = m_items[m_next++];
        found.AddRef();
        *item = &found;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Skip(ULONG) LEAN_REFUSE HRESULT STDMETHODCALLTYPE Reset() override {
        m_next = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Clone(Interface**) LEAN_REFUSE

        private : ~Enumerator() = default;

    Item* m_items;
    ULONG m_count;
    ULONG m_next = 0;
    ULONG m_references = 1;
};

class Filter final : public Counted<IBaseFilter> {
public:
    void SetPins(Pin* first, ULONG count) {
        m_pins = first;
        m_count = count;
    }
    Pin& operator[](ULONG index) { return m_pins[index]; }

    HRESULT STDMETHODCALLTYPE EnumPins(IEnumPins** pins) override {
        *pins = new Enumerator<IEnumPins, Pin, IPin>(m_pins, m_count);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE QueryFilterInfo(FILTER_INFO*) LEAN_REFUSE

        HRESULT STDMETHODCALLTYPE GetClassID(CLSID*) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        Stop() LEAN_REFUSE HRESULT STDMETHODCALLTYPE Pause() LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        Run(REFERENCE_TIME) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        GetState(DWORD, FILTER_STATE*) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        SetSyncSource(IReferenceClock*) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        GetSyncSource(IReferenceClock**) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        FindPin(LPCWSTR, IPin**) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        JoinFilterGraph(IFilterGraph*, LPCWSTR) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        QueryVendorInfo(LPWSTR*) LEAN_REFUSE

        private : Pin* m_pins = nullptr;
    ULONG m_count = 0;
};

inline HRESULT STDMETHODCALLTYPE Pin::QueryPinInfo(PIN_INFO* info) {
    info->pFilter = m_filter;
    info->dir = m_direction;
    info->achName[0] = L'\0';
    m_filter->AddRef();
    return S_OK;
}

// A graph of one source with `size` filters in all. Filter 0 is the source.
class Graph final : public Counted<IGraphBuilder> {
public:
    // `openLeaves` gives each filter that ends a branch a free output pin.
    Graph(Shape shape, ULONG size, bool openLeaves);
    // A source whose `count` outputs are free, and `count` renderers.
    static std::unique_ptr<Graph> Unconnected(ULONG count);

    IBaseFilter* Source() { return &m_filters[0]; }
    Filter& operator[](ULONG index) { return m_filters[index]; }
    ULONG Filters() const { return static_cast<ULONG>(m_filters.size()); }
    ULONG Pins() const { return static_cast<ULONG>(m_pins.size()); }
    // False when somebody kept or lost a reference.
    bool IsBalanced() const;
    void PartAll();

    // Joins the pins when `accepts` is set.
    HRESULT STDMETHODCALLTYPE Connect(IPin* out, IPin* in) override {
        if (!accepts) {
            return VFW_E_CANNOT_CONNECT;
        }
        Pin::Join(*static_cast<Pin*>(out), *static_cast<Pin*>(in));
        return S_OK;
    }
    // Says so, but leaves the pins joined, so that each round finds the same graph.
    HRESULT STDMETHODCALLTYPE Disconnect(IPin*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE EnumFilters(IEnumFilters** filters) override {
        *filters = new Enumerator<IEnumFilters, Filter, IBaseFilter>(m_filters.data(), Filters());
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE AddFilter(IBaseFilter*, LPCWSTR) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        RemoveFilter(IBaseFilter*) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        FindFilterByName(LPCWSTR, IBaseFilter**) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        ConnectDirect(IPin*, IPin*, const AM_MEDIA_TYPE*) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        Reconnect(IPin*) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        SetDefaultSyncSource() LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        Render(IPin*) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        RenderFile(LPCWSTR, LPCWSTR) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        AddSourceFilter(LPCWSTR, LPCWSTR, IBaseFilter**) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        SetLogFile(DWORD_PTR) LEAN_REFUSE HRESULT STDMETHODCALLTYPE
        Abort() LEAN_REFUSE HRESULT STDMETHODCALLTYPE ShouldOperationContinue() LEAN_REFUSE

        bool accepts = false;

private:
    Graph() = default;
    // Gives filter i inputs[i] input pins and outputs[i] output pins, inputs first.
    void MakePins(const std::vector<ULONG>& inputs, const std::vector<ULONG>& outputs);

    std::vector<Filter> m_filters;
    std::vector<Pin> m_pins;
};

#undef LEAN_REFUSE

inline void Graph::MakePins(const std::vector<ULONG>& inputs, const std::vector<ULONG>& outputs) {
    size_t total = 0;
    for (size_t i = 0; i < inputs.size(); ++i) {
        total += inputs[i] + outputs[i];
    }
    m_filters.resize(inputs.size());
    m_pins.reserve(total);
    for (size_t i = 0; i < inputs.size(); ++i) {
        const size_t first = m_pins.size();
        m_pins.insert(m_pins.end(), inputs[i], Pin(&m_filters[i], PINDIR_INPUT));
        m_pins.insert(m_pins.end(), outputs[i], Pin(&m_filters[i], PINDIR_OUTPUT));
        m_filters[i].SetPins(m_pins.data() + first, inputs[i] + outputs[i]);
    }
}

inline Graph::Graph(Shape shape, ULONG size, bool openLeaves) {
    std::vector<ULONG> inputs(size, 1);
    std::vector<ULONG> outputs(size, 0);
    std::vector<ULONG> parent(size, 0);
    inputs[0] = 0;
    for (ULONG i = 1; i < size; ++i) {
        parent[i] = shape == Shape::Chain ? i - 1 : shape == Shape::Fan ? 0 : (i - 1) / 2;
        ++outputs[parent[i]];
    }
    std::vector<ULONG> used(size, 0);
    std::vector<ULONG> made = outputs;
    for (ULONG& count : made) {
        count = openLeaves && count == 0 ? 1 : count;
    }
    MakePins(inputs, made);
    for (ULONG i = 1; i < size; ++i) {
        const ULONG up = parent[i];
        Pin::Join(m_filters[up][inputs[up] + used[up]++], m_filters[i][0]);
    }
}

inline std::unique_ptr<Graph> Graph::Unconnected(ULONG count) {
    std::unique_ptr<Graph> graph(new Graph());
    std::vector<ULONG> inputs(count + 1, 1);
    std::vector<ULONG> outputs(count + 1, 0);
    inputs[0] = 0;
    outputs[0] = count;
    graph->MakePins(inputs, outputs);
    graph->accepts = true;
    return graph;
}

inline bool Graph::IsBalanced() const {
    for (const Filter& filter : m_filters) {
        if (filter.References() != 1) {
            return false;
        }
    }
    for (const Pin& pin : m_pins) {
        if (pin.References() != 1) {
            return false;
        }
    }
    return true;
}

inline void Graph::PartAll() {
    for (Pin& pin : m_pins) {
        pin.Part();
    }
}

} // namespace lean
