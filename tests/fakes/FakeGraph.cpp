#include "fakes/FakeGraph.h"

namespace fakes {

static std::deque<FakePin>& PinsOf(IBaseFilter* filter) {
    static std::deque<FakePin> none; // of a foreign filter
    auto* const fake = AsFake<FakeFilter>(filter);
    return fake != nullptr ? fake->Pins() : none;
}

FakeGraph::~FakeGraph() {
    const Silence silence;
    results.Clear();
    while (!config.Cached().empty()) {
        config.Withdraw(config.Cached().back());
    }
    while (!m_filters.empty()) {
        RemoveFilter(m_filters.front());
    }
}

Lines FakeGraph::Connections() const {
    Lines texts;
    for (IBaseFilter* filter : m_filters) {
        for (const FakePin& pin : PinsOf(filter)) {
            if (!pin.IsInput() && pin.IsConnected()) {
                texts.push_back(pin.Name() + " -> " + pin.Peer()->Name());
            }
        }
    }
    std::ranges::sort(texts);
    return texts;
}

HRESULT FakeGraph::ConnectPins(FakePin& out, FakePin& in) {
    if (FakePin::CanJoin(out, in)) {
        return Join(out, in), S_OK;
    }
    std::vector<IBaseFilter*> middles = config.Cached();
    middles.insert(middles.end(), m_filters.begin(), m_filters.end());
    std::ranges::transform(transforms, std::back_inserter(middles), &ComPtr<FakeFilter>::Get);
    for (IBaseFilter* middle : middles) {
        std::deque<FakePin>& pins = PinsOf(middle);
        const auto first = std::ranges::find_if(
            pins, [&](const FakePin& pin) { return FakePin::CanJoin(out, pin); });
        const auto last = std::ranges::find_if(
            pins, [&](const FakePin& pin) { return FakePin::CanJoin(pin, in); });
        if (first != pins.end() && last != pins.end()) {
            Join(out, *first);
            Join(*last, in);
            if (!Contains(middle)) {
                Add(middle, Widen(NameOf(middle)).c_str());
                config.Withdraw(middle);
                std::erase_if(transforms, [&](auto& one) { return one.Get() == middle; });
            }
            return S_OK;
        }
    }
    return VFW_E_CANNOT_CONNECT;
}

HRESULT FakeGraph::RenderPin(FakePin& out) {
    for (IBaseFilter* filter : std::vector(m_filters)) {
        std::deque<FakePin>& pins = PinsOf(filter);
        const bool renders = std::ranges::all_of(pins, &FakePin::IsInput);
        for (FakePin& in : pins) {
            if (renders && ConnectPins(out, in) == S_OK) {
                return S_OK;
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

HRESULT FakeGraph::RemoveFilter(IBaseFilter* filter) {
    return Call("RemoveFilter", std::tie(filter), [&] {
        if (std::erase(m_filters, filter) == 0) {
            return VFW_E_NOT_FOUND;
        }
        ++m_version;
        std::ranges::for_each(PinsOf(filter), &Part);
        filter->JoinFilterGraph(nullptr, nullptr);
        filter->Release();
        return S_OK;
    });
}

} // namespace fakes
