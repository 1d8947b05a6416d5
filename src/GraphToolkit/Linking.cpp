#include "GraphToolkit/Answer.h"
#include "GraphToolkit/PinList.h"
#include "GraphToolkit/Ranges.h"

#include <ymdshow/GraphToolkit.h>

#include <vector>

using namespace ymdshow::toolkit;

namespace {

// The peer goes first, and both are disconnected even when the first fails.
bool DisconnectBoth(IGraphBuilder* graph, IPin* peer, IPin* pin) {
    const HRESULT first = graph->Disconnect(peer);
    const HRESULT second = graph->Disconnect(pin);
    return SUCCEEDED(first) && SUCCEEDED(second);
}

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
    if (!graph || !out || !in) {
        return 0;
    }
    {
        ComPtr<IPin> peer;
        if (SUCCEEDED(out->ConnectedTo(peer.GetAddressOf())) && peer.Get() == in) {
            return 1;
        }
    }
    const HRESULT hr = graph->Connect(out, in);
    return hr == S_OK || hr == VFW_S_PARTIAL_RENDER;
}

int LinkFilter(IGraphBuilder* graph, IBaseFilter* up, IBaseFilter* down) {
    if (!graph || !up || !down) {
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
        return links > 0 ? 1 : 0;
    });
}

int LinkFilter(IGraphBuilder* graph, IPin* out, IBaseFilter* down) {
    if (!graph || !out || !down) {
        return 0;
    }
    return AnswerOr(0, [&] {
        PinList inputs;
        GetUnlinkedPins(down, inputs.Receive(), nullptr);
        return ConnectWithFirst(graph, out, inputs) ? 1 : 0;
    });
}

int LinkFilter(IGraphBuilder* graph, IBaseFilter* filter) {
    if (!graph || !filter) {
        return 0;
    }
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
}

int UnlinkPin(IGraphBuilder* graph, IPin* pin) {
    if (!graph || !pin) {
        return 0;
    }
    ComPtr<IPin> peer;
    if (FAILED(pin->ConnectedTo(peer.GetAddressOf())) || !peer) {
        return 1;
    }
    return DisconnectBoth(graph, peer.Get(), pin);
}

int UnlinkFilter(IGraphBuilder* graph, IBaseFilter* filter) {
    if (!graph || !filter) {
        return 0;
    }
    Pins pins(filter);
    if (pins.Failed()) {
        return 0;
    }
    for (auto& pin : pins) {
        if (!UnlinkPin(graph, pin.Get())) {
            return 0;
        }
    }
    return 1;
}

int UnlinkGraphBuilder(IGraphBuilder* graph) {
    if (!graph) {
        return 0;
    }
    return AnswerOr(0, [graph] {
        std::vector<ComPtr<IPin>> linked;
        CollectLinkedInputs(graph, linked);
        for (; !linked.empty(); linked.pop_back()) {
            UnlinkPin(graph, linked.back().Get());
        }
        return 1;
    });
}
