#include "BaseClasses/MediaType.h"
#include "GraphToolkit/DownstreamWalk.h"
#include "GraphToolkit/MediaKind.h"
#include "GraphToolkit/Ranges.h"
#include "Guard.h"

#include <ymdshow/GraphToolkit.h>

#include <algorithm>

using namespace ymdshow;
using namespace ymdshow::toolkit;

namespace {

// The first kind that `wanted` accepts: of the connection alone when there is one, else of
// the pin's preferred types in their order.
template <class Wanted> DSPinMediaType FirstKind(IPin* pin, Wanted wanted) {
    {
        MediaType connection;
        if (pin->ConnectionMediaType(connection.Put()) == S_OK) {
            const DSPinMediaType kind = KindOfMajorType(connection->majortype);
            return wanted(kind) ? kind : DSPMT_UNKNOWN;
        }
    }
    ComPtr<IEnumMediaTypes> types;
    if (FAILED(pin->EnumMediaTypes(types.GetAddressOf())) || types == nullptr) {
        return DSPMT_UNKNOWN;
    }
    OwnedMediaType type;
    ULONG fetched = 0;
    while (types->Next(1, type.Put(), &fetched) == S_OK && type.Get() != nullptr) {
        const DSPinMediaType kind = KindOfMajorType(type->majortype);
        if (wanted(kind)) {
            return kind;
        }
    }
    return DSPMT_UNKNOWN;
}

int CarriesKind(IPin* pin, DSPinMediaType kind) {
    return AnswerOr(0, [&] {
        return pin != nullptr &&
               FirstKind(pin, [kind](DSPinMediaType found) { return found == kind; }) == kind;
    });
}

// True unless ConnectedTo answers exactly S_OK with a peer.
bool LacksPeer(IPin* pin) {
    ComPtr<IPin> peer;
    return pin->ConnectedTo(peer.GetAddressOf()) != S_OK || peer == nullptr;
}

// The list is given the pin's reference.
void AppendTo(std::vector<IPin*>& list, ComPtr<IPin>& pin) {
    list.push_back(pin.Get());
    pin.Detach();
}

bool QueryFor(IUnknown* object, const GUID& iid, void** ppv) {
    const bool isFound = SUCCEEDED(object->QueryInterface(iid, ppv));
    if (!isFound) {
        *ppv = nullptr;
    }
    return isFound;
}

} // namespace

DSFilterType CheckFilterType(IBaseFilter* filter) {
    if (filter == nullptr) {
        return DSFT_UNKNOWN;
    }
    return AnswerOr(DSFT_UNKNOWN, [&] {
        const PinTally pins =
            DownstreamWalk(filter).Scan([](ComPtr<IPin>&) { return OutputPin::Leave; });
        if (!pins.enumerated) {
            return DSFT_UNKNOWN;
        }
        if (pins.inputs == 0) {
            return DSFT_SOURCE;
        }
        return pins.outputs > 0 ? DSFT_TRANSFORM : DSFT_RENDER;
    });
}

int CountFilterPins(IBaseFilter* filter, int& inputs, int& outputs, int& unlinked, int& reserved) {
    inputs = outputs = unlinked = reserved = 0;
    if (filter == nullptr) {
        return 0;
    }
    return AnswerOr(0, [&] {
        for (auto& pin : Pins(filter)) {
            PIN_DIRECTION direction{};
            if (FAILED(pin->QueryDirection(&direction))) {
                continue;
            }
            // Kept: the first answer is ignored, and the peers of a linked pin are not
            // released, so each call leaves two references on every peer.
            IPin* ignored = nullptr;
            pin->ConnectedTo(&ignored);
            if (direction == PINDIR_INPUT) {
                ++inputs;
            } else if (direction == PINDIR_OUTPUT) {
                ++outputs;
            } else {
                continue;
            }
            ComPtr<IPin> peer;
            if (pin->ConnectedTo(peer.GetAddressOf()) == S_OK && peer != nullptr) {
                peer.Detach();
            } else {
                ++unlinked;
            }
        }
        return inputs + outputs;
    });
}

void GetFilterPins(IBaseFilter* filter, _PinDirection dir, int& count, IPin** pins) {
    if (pins != nullptr) {
        pins[0] = nullptr;
    }
    count = 0;
    if (filter == nullptr) {
        return;
    }
    Quietly([&] {
        for (auto& pin : Pins(filter)) {
            if (HasDirection(pin.Get(), dir)) {
                if (pins != nullptr) {
                    pins[count] = pin.Detach();
                }
                ++count;
            }
        }
    });
}

DSPinMediaType GetPinMediaType(IPin* pin) {
    if (pin == nullptr) {
        return DSPMT_UNKNOWN;
    }
    return AnswerOr(DSPMT_UNKNOWN, [&] {
        return FirstKind(pin, [](DSPinMediaType kind) { return kind != DSPMT_UNKNOWN; });
    });
}

int IsAudioPin(IPin* pin) {
    return CarriesKind(pin, DSPMT_AUDIO);
}

int IsVideoPin(IPin* pin) {
    return CarriesKind(pin, DSPMT_VIDEO);
}

int IsPinLinked(IPin* pin) {
    return AnswerOr(0, [&] { return pin != nullptr && IsLinked(pin); });
}

int IsFilterLinked(IBaseFilter* filter) {
    if (filter == nullptr) {
        return 0;
    }
    return AnswerOr(0, [&] {
        for (auto& pin : Pins(filter)) {
            if (IsLinked(pin.Get())) {
                return 1;
            }
        }
        return 0;
    });
}

int GetUnlinkedInputPinNum(IBaseFilter* filter) {
    if (filter == nullptr) {
        return 0;
    }
    return AnswerOr(0, [&] {
        int count = 0;
        for (auto& pin : Pins(filter)) {
            if (HasDirection(pin.Get(), PINDIR_INPUT) && LacksPeer(pin.Get())) {
                ++count;
            }
        }
        return count;
    });
}

int GetUnlinkedOutputPinNum(IBaseFilter* filter) {
    // Kept: it counts input pins, and the one-filter LinkFilter relies on it.
    return GetUnlinkedInputPinNum(filter);
}

void GetUnlinkedPins(IBaseFilter* filter, std::vector<IPin*>* inputs, std::vector<IPin*>* outputs) {
    if (filter == nullptr || (inputs == nullptr && outputs == nullptr)) {
        return;
    }
    Quietly([&] {
        for (auto& pin : Pins(filter)) {
            PIN_DIRECTION direction{};
            if (IsLinked(pin.Get()) || FAILED(pin->QueryDirection(&direction))) {
                continue;
            }
            if (direction == PINDIR_INPUT && inputs != nullptr) {
                AppendTo(*inputs, pin);
            } else if (direction == PINDIR_OUTPUT && outputs != nullptr) {
                AppendTo(*outputs, pin);
            }
        }
    });
}

void GetUnlinkedOutputPinsFromFilter(IBaseFilter* filter, std::vector<IPin*>* pins) {
    if (filter == nullptr || pins == nullptr) {
        return;
    }
    Quietly([&] {
        for (DownstreamWalk walk(filter); walk.Current() != nullptr; walk.Next()) {
            walk.ScanConnected([pins](ComPtr<IPin>& unconnected) {
                AppendTo(*pins, unconnected);
                return OutputPin::Leave;
            });
        }
    });
}

void GetFirstUnlinkedOutputPinFromFilter(IBaseFilter* filter, IPin** pin) {
    if (pin == nullptr) {
        return;
    }
    *pin = nullptr;
    Quietly([&] {
        for (DownstreamWalk walk(filter); walk.Current() != nullptr; walk.Next()) {
            walk.ScanConnected([pin](ComPtr<IPin>& unconnected) {
                *pin = unconnected.Detach();
                return OutputPin::EndScan;
            });
            if (*pin != nullptr) {
                return;
            }
        }
    });
}

int FindPinInterface(IPin* pin, const GUID& iid, void** ppv) {
    if (ppv == nullptr) {
        return 0;
    }
    *ppv = nullptr;
    return AnswerOr(0, [&] { return pin != nullptr && QueryFor(pin, iid, ppv); });
}

int FindFilterInterface(IBaseFilter* filter, const GUID& iid, void** ppv, int searchPins,
                        int includeUnlinked) {
    if (ppv == nullptr) {
        return 0;
    }
    *ppv = nullptr;
    if (filter == nullptr) {
        return 0;
    }
    return AnswerOr(0, [&] {
        if (QueryFor(filter, iid, ppv)) {
            return true;
        }
        if (searchPins == 0) {
            return false;
        }
        Pins pins(filter);
        for (auto& pin : pins) {
            if (includeUnlinked != 0 || IsLinked(pin.Get())) {
                QueryFor(pin.Get(), iid, ppv);
                break;
            }
        }
        // Kept: the first eligible pin alone is asked, and the answer is 1 whether or not there
        // is such a pin and it has the interface.
        return !pins.Failed();
    });
}

unsigned int FindInterfaceInGraphFilters(IGraphBuilder* graph, const GUID& iid, void** ppv,
                                         unsigned int capacity, int searchPins,
                                         int includeUnlinked) {
    if (ppv != nullptr) {
        std::fill_n(ppv, capacity, nullptr);
    }
    unsigned int count = 0;
    if (graph == nullptr) {
        return count;
    }
    Quietly([&] {
        for (auto& filter : Filters(graph)) {
            void* found = nullptr;
            if ((includeUnlinked == 0 && IsFilterLinked(filter.Get()) == 0) ||
                FindFilterInterface(filter.Get(), iid, &found, searchPins, includeUnlinked) == 0) {
                continue;
            }
            // Kept: `capacity` bounds the clearing alone, and an entry may be null.
            if (ppv != nullptr) {
                ppv[count] = found;
            } else if (found != nullptr) {
                static_cast<IUnknown*>(found)->Release();
            }
            ++count;
        }
    });
    return count;
}

int GetIUnknownRef(IUnknown* unknown) {
    if (unknown == nullptr) {
        return 0;
    }
    return AnswerOr(0, [&] {
        unknown->AddRef();
        return static_cast<int>(unknown->Release());
    });
}

int IsSupportsPropertyPage(IBaseFilter* filter) {
    return AnswerOr(0, [&] {
        ComPtr<ISpecifyPropertyPages> pages;
        return filter != nullptr &&
               SUCCEEDED(filter->QueryInterface(IID_PPV_ARGS(pages.GetAddressOf())));
    });
}
