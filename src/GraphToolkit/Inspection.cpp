#include "BaseClasses/MediaType.h"
#include "GraphToolkit/Answer.h"
#include "GraphToolkit/DownstreamWalk.h"
#include "GraphToolkit/MediaKind.h"
#include "GraphToolkit/Ranges.h"

#include <ymdshow/GraphToolkit.h>

#include <algorithm>

using namespace ymdshow;
using namespace ymdshow::toolkit;

namespace {

// The first kind that `wanted` accepts: of the connection alone when there is one, else of
// the pin's preferred types in their order.
template <typename Wanted> DSPinMediaType FirstKind(IPin* pin, Wanted wanted) {
    {
        MediaType connection;
        if (pin->ConnectionMediaType(connection.Put()) == S_OK) {
            const DSPinMediaType kind = KindOfMajorType(connection->majortype);
            return wanted(kind) ? kind : DSPMT_UNKNOWN;
        }
    }
    ComPtr<IEnumMediaTypes> types;
    if (FAILED(pin->EnumMediaTypes(types.GetAddressOf())) || !types) {
        return DSPMT_UNKNOWN;
    }
    OwnedMediaType type;
    ULONG fetched = 0;
    while (types->Next(1, type.Put(), &fetched) == S_OK && type) {
        const DSPinMediaType kind = KindOfMajorType(type->majortype);
        if (wanted(kind)) {
            return kind;
        }
    }
    return DSPMT_UNKNOWN;
}

int CarriesKind(IPin* pin, DSPinMediaType kind) {
    return pin && FirstKind(pin, [kind](DSPinMediaType found) { return found == kind; }) == kind;
}

// True unless ConnectedTo answers exactly S_OK with a peer.
bool LacksPeer(IPin* pin) {
    ComPtr<IPin> peer;
    return pin->ConnectedTo(peer.GetAddressOf()) != S_OK || !peer;
}

// The list is given the pin's reference.
void AppendTo(std::vector<IPin*>& list, ComPtr<IPin>& pin) {
    list.push_back(pin.Get());
    pin.Detach();
}

int QueryFor(IUnknown* object, const GUID& iid, void** ppv) {
    *ppv = nullptr;
    if (SUCCEEDED(object->QueryInterface(iid, ppv))) {
        return 1;
    }
    *ppv = nullptr;
    return 0;
}

} // namespace

DSFilterType CheckFilterType(IBaseFilter* filter) {
    if (!filter) {
        return DSFT_UNKNOWN;
    }
    Pins pins(filter);
    if (pins.Failed()) {
        return DSFT_UNKNOWN;
    }
    int inputs = 0;
    int outputs = 0;
    for (auto& pin : pins) {
        PIN_DIRECTION direction{};
        if (SUCCEEDED(pin->QueryDirection(&direction))) {
            ++(direction == PINDIR_OUTPUT ? outputs : inputs);
        }
    }
    if (inputs == 0) {
        return DSFT_SOURCE;
    }
    return outputs > 0 ? DSFT_TRANSFORM : DSFT_RENDER;
}

int CountFilterPins(IBaseFilter* filter, int& inputs, int& outputs, int& unlinked, int& reserved) {
    inputs = outputs = unlinked = reserved = 0;
    if (!filter) {
        return 0;
    }
    for (auto& pin : Pins(filter)) {
        PIN_DIRECTION direction{};
        if (FAILED(pin->QueryDirection(&direction))) {
            continue;
        }
        // Kept: the first answer is ignored, and the peers of a linked pin are not released,
        // so each call leaves two references on every peer.
        IPin* ignored = nullptr;
        pin->ConnectedTo(&ignored);
        if (direction == PINDIR_INPUT) {
            ++inputs;
        } else if (direction == PINDIR_OUTPUT) {
            ++outputs;
        } else {
            continue;
        }
        IPin* peer = nullptr;
        const HRESULT hr = pin->ConnectedTo(&peer);
        if (hr != S_OK || !peer) {
            ++unlinked;
            if (peer) {
                peer->Release();
            }
        }
    }
    return inputs + outputs;
}

void GetFilterPins(IBaseFilter* filter, _PinDirection dir, int& count, IPin** pins) {
    if (pins) {
        pins[0] = nullptr;
    }
    count = 0;
    if (!filter) {
        return;
    }
    for (auto& pin : Pins(filter)) {
        if (HasDirection(pin.Get(), dir)) {
            if (pins) {
                pins[count] = pin.Detach();
            }
            ++count;
        }
    }
}

DSPinMediaType GetPinMediaType(IPin* pin) {
    if (!pin) {
        return DSPMT_UNKNOWN;
    }
    return FirstKind(pin, [](DSPinMediaType kind) { return kind != DSPMT_UNKNOWN; });
}

int IsAudioPin(IPin* pin) {
    return CarriesKind(pin, DSPMT_AUDIO);
}

int IsVideoPin(IPin* pin) {
    return CarriesKind(pin, DSPMT_VIDEO);
}

int IsPinLinked(IPin* pin) {
    return pin && IsLinked(pin);
}

int IsFilterLinked(IBaseFilter* filter) {
    if (!filter) {
        return 0;
    }
    for (auto& pin : Pins(filter)) {
        if (IsLinked(pin.Get())) {
            return 1;
        }
    }
    return 0;
}

int GetUnlinkedInputPinNum(IBaseFilter* filter) {
    if (!filter) {
        return 0;
    }
    int count = 0;
    for (auto& pin : Pins(filter)) {
        if (HasDirection(pin.Get(), PINDIR_INPUT) && LacksPeer(pin.Get())) {
            ++count;
        }
    }
    return count;
}

int GetUnlinkedOutputPinNum(IBaseFilter* filter) {
    // Kept: it counts input pins, and the one-filter LinkFilter relies on it.
    return GetUnlinkedInputPinNum(filter);
}

void GetUnlinkedPins(IBaseFilter* filter, std::vector<IPin*>* inputs, std::vector<IPin*>* outputs) {
    if (!filter || (!inputs && !outputs)) {
        return;
    }
    Quietly([&] {
        for (auto& pin : Pins(filter)) {
            PIN_DIRECTION direction{};
            if (IsLinked(pin.Get()) || FAILED(pin->QueryDirection(&direction))) {
                continue;
            }
            if (direction == PINDIR_INPUT && inputs) {
                AppendTo(*inputs, pin);
            } else if (direction == PINDIR_OUTPUT && outputs) {
                AppendTo(*outputs, pin);
            }
        }
    });
}

void GetUnlinkedOutputPinsFromFilter(IBaseFilter* filter, std::vector<IPin*>* pins) {
    if (!filter || !pins) {
        return;
    }
    Quietly([&] {
        for (DownstreamWalk walk(filter); walk.Current(); walk.Next()) {
            walk.ScanConnected([pins](ComPtr<IPin>& unconnected) {
                AppendTo(*pins, unconnected);
                return OutputPin::Leave;
            });
        }
    });
}

void GetFirstUnlinkedOutputPinFromFilter(IBaseFilter* filter, IPin** pin) {
    if (!pin) {
        return;
    }
    *pin = nullptr;
    if (!filter) {
        return;
    }
    Quietly([&] {
        for (DownstreamWalk walk(filter); walk.Current(); walk.Next()) {
            walk.ScanConnected([pin](ComPtr<IPin>& unconnected) {
                *pin = unconnected.Detach();
                return OutputPin::EndScan;
            });
            if (*pin) {
                return;
            }
        }
    });
}

int FindPinInterface(IPin* pin, const GUID& iid, void** ppv) {
    if (!ppv) {
        return 0;
    }
    *ppv = nullptr;
    return pin ? QueryFor(pin, iid, ppv) : 0;
}

int FindFilterInterface(IBaseFilter* filter, const GUID& iid, void** ppv, int searchPins,
                        int includeUnlinked) {
    if (!ppv) {
        return 0;
    }
    *ppv = nullptr;
    if (!filter) {
        return 0;
    }
    if (QueryFor(filter, iid, ppv)) {
        return 1;
    }
    if (!searchPins) {
        return 0;
    }
    Pins pins(filter);
    if (pins.Failed()) {
        return 0;
    }
    for (auto& pin : pins) {
        if (includeUnlinked || IsLinked(pin.Get())) {
            FindPinInterface(pin.Get(), iid, ppv);
            break;
        }
    }
    // Kept: the first eligible pin alone is asked, and the answer is 1 whether or not there
    // is such a pin and it has the interface.
    return 1;
}

unsigned int FindInterfaceInGraphFilters(IGraphBuilder* graph, const GUID& iid, void** ppv,
                                         unsigned int capacity, int searchPins,
                                         int includeUnlinked) {
    if (ppv) {
        std::fill_n(ppv, capacity, nullptr);
    }
    if (!graph) {
        return 0;
    }
    unsigned int count = 0;
    for (auto& filter : Filters(graph)) {
        if (!includeUnlinked && !IsFilterLinked(filter.Get())) {
            continue;
        }
        void* found = nullptr;
        const int counted =
            FindFilterInterface(filter.Get(), iid, &found, searchPins, includeUnlinked);
        filter.Reset();
        if (!counted) {
            continue;
        }
        // Kept: `capacity` bounds the clearing alone, and an entry may be null.
        if (ppv) {
            ppv[count] = found;
        } else if (found) {
            static_cast<IUnknown*>(found)->Release();
        }
        ++count;
    }
    return count;
}

int GetIUnknownRef(IUnknown* unknown) {
    if (!unknown) {
        return 0;
    }
    unknown->AddRef();
    return static_cast<int>(unknown->Release());
}

int IsSupportsPropertyPage(IBaseFilter* filter) {
    if (!filter) {
        return 0;
    }
    ComPtr<ISpecifyPropertyPages> pages;
    return SUCCEEDED(filter->QueryInterface(IID_PPV_ARGS(pages.GetAddressOf())));
}
