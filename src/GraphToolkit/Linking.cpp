#include "GraphToolkit/PinList.h"
#include "GraphToolkit/Ranges.h"
#include "Guard.h"

#include <ymdshow/GraphToolkit.h>

#include <vector>

using namespace ymdshow;
using namespace ymdshow::toolkit;

namespace {

// Connects `out` with the first of `inputs` that will have it, which leaves the list.
bool ConnectWithFirst(IGraphBuilder* graph, IPin* out, PinList& inputs) {
    for (auto it = inputs.begin(); it != inputs.end(); ++it) {
        if (SUCCEEDED(graph->Connect(out, *it))) {
            inputs.Remove(it);
            return true;
        }
    }
    return false;
}

// The input pins of the graph's filters that are connected.
void CollectLinkedInputs(IGraphBuilder* graph, std::vector<ComPtr<IPin>>& linked) {
    for (auto& filter : Filters(graph)) {
        for (auto& pin : Pins(filter.Get())) {
            if (HasDirection(pin.Get(), PINDIR_INPUT) && IsLinked(pin.Get())) {
                linked.push_back(std::move(pin));
            }
        }
    }
}

} // namespace

int LinkPin(IGraphBuilder* graph, IPin* out, IPin* in) {
    if (graph == nullptr || out == nullptr || in == nullptr) {
        return 0;
    }
    return AnswerOr(0, [&] {
        {
            ComPtr<IPin> peer;
            if (SUCCEEDED(out->ConnectedTo(peer.GetAddressOf())) && peer.Get() == in) {
                return true;
            }
        }
        const HRESULT hr = graph->Connect(out, in);
        return hr == S_OK || hr == VFW_S_PARTIAL_RENDER;
    });
}

int LinkFilter(IGraphBuilder* graph, IBaseFilter* up, IBaseFilter* down) {
    if (graph == nullptr || up == nullptr || down == nullptr) {
        return 0;
    }
    return AnswerOr(0, [&] {
        PinList outputs;
        PinList inputs;
        GetUnlinkedPins(up, nullptr, outputs.Receive());
        GetUnlinkedPins(down, inputs.Receive(), nullptr);
        int links = 0;
        for (auto it = outputs.begin(); it != outputs.end() && !inputs.Empty();) {
            if (ConnectWithFirst(graph, *it, inputs)) {
                it = outputs.Remove(it);
                ++links;
            } else {
                ++it;
            }
        }
        return links > 0;
    });
}

int LinkFilter(IGraphBuilder* graph, IPin* out, IBaseFilter* down) {
    if (graph == nullptr || out == nullptr || down == nullptr) {
        return 0;
    }
    return AnswerOr(0, [&] {
        PinList inputs;
        GetUnlinkedPins(down, inputs.Receive(), nullptr);
        return ConnectWithFirst(graph, out, inputs);
    });
}

int LinkFilter(IGraphBuilder* graph, IBaseFilter* filter) {
    if (graph == nullptr || filter == nullptr) {
        return 0;
    }
    return AnswerOr(0, [&] {
        Filters filters(graph);
        int result = 0;
        for (auto& fetched : filters) {
            // Kept: the reference on each fetched filter is never released.
            IBaseFilter* const upstream = fetched.Detach();
            if (GetUnlinkedInputPinNum(filter) < 1) {
                break;
            }
            result |= LinkFilter(graph, upstream, filter);
        }
        if (result != 1) {
            return result;
        }
        filters.Rewind();
        for (auto& fetched : filters) {
            IBaseFilter* const downstream = fetched.Detach();
            // Kept: this counts free inputs, so outputs are linked only while an input is free.
            if (GetUnlinkedOutputPinNum(filter) < 1) {
                break;
            }
            LinkFilter(graph, filter, downstream);
        }
        return result;
    });
}

int UnlinkPin(IGraphBuilder* graph, IPin* pin) {
    if (graph == nullptr || pin == nullptr) {
        return 0;
    }
    return AnswerOr(0, [&] {
        ComPtr<IPin> peer;
        if (FAILED(pin->ConnectedTo(peer.GetAddressOf())) || peer == nullptr) {
            return true;
        }
        // The peer goes first, and both are disconnected even when the first fails.
        const HRESULT first = graph->Disconnect(peer.Get());
        const HRESULT second = graph->Disconnect(pin);
        return SUCCEEDED(first) && SUCCEEDED(second);
    });
}

int UnlinkFilter(IGraphBuilder* graph, IBaseFilter* filter) {
    if (graph == nullptr || filter == nullptr) {
        return 0;
    }
    return AnswerOr(0, [&] {
        Pins pins(filter);
        for (auto& pin : pins) {
            if (UnlinkPin(graph, pin.Get()) == 0) {
                return false;
            }
        }
        return !pins.Failed();
    });
}

int UnlinkGraphBuilder(IGraphBuilder* graph) {
    if (graph == nullptr) {
        return 0;
    }
    return AnswerOr(0, [&] {
        std::vector<ComPtr<IPin>> linked;
        CollectLinkedInputs(graph, linked);
        for (; !linked.empty(); linked.pop_back()) {
            UnlinkPin(graph, linked.back().Get());
        }
        return 1;
    });
}
