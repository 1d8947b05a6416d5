#include "toolkit_bare.h"

namespace bare {
namespace {

bool IsLinked(IPin* pin) {
    IPin* peer = nullptr;
    if (FAILED(pin->ConnectedTo(&peer))) {
        return false;
    }
    peer->Release();
    return true;
}

// Pops pins until one leads to a filter; `arriving`, when given, receives that pin.
IBaseFilter* Follow(std::vector<IPin*>& stack, IPin** arriving) {
    IBaseFilter* next = nullptr;
    while (next == nullptr && !stack.empty()) {
        IPin* pin = stack.back();
        stack.pop_back();
        IPin* peer = nullptr;
        if (SUCCEEDED(pin->ConnectedTo(&peer))) {
            PIN_INFO info;
            if (SUCCEEDED(peer->QueryPinInfo(&info))) {
                next = info.pFilter;
                if (arriving != nullptr) {
                    pin->AddRef();
                    if (*arriving != nullptr) {
                        (*arriving)->Release();
                    }
                    *arriving = pin;
                }
            }
            peer->Release();
        }
        pin->Release();
    }
    return next;
}

} // namespace

DWORD CheckFilterType(IBaseFilter* filter) {
    IEnumPins* pins = nullptr;
    if (FAILED(filter->EnumPins(&pins))) {
        return 0;
    }
    int inputs = 0;
    int outputs = 0;
    IPin* pin = nullptr;
    while (pins->Next(1, &pin, nullptr) == S_OK) {
        PIN_DIRECTION direction;
        if (SUCCEEDED(pin->QueryDirection(&direction))) {
            direction == PINDIR_OUTPUT ? ++outputs : ++inputs;
        }
        pin->Release();
    }
    pins->Release();
    return inputs == 0 ? 1 : outputs != 0 ? 2 : 4;
}

void UnlinkedPins(IBaseFilter* filter, std::vector<IPin*>& inputs, std::vector<IPin*>& outputs) {
    IEnumPins* pins = nullptr;
    if (FAILED(filter->EnumPins(&pins))) {
        return;
    }
    IPin* pin = nullptr;
    while (pins->Next(1, &pin, nullptr) == S_OK) {
        PIN_DIRECTION direction;
        if (IsLinked(pin) || FAILED(pin->QueryDirection(&direction))) {
            pin->Release();
            continue;
        }
        (direction == PINDIR_INPUT ? inputs : outputs).push_back(pin);
    }
    pins->Release();
}

void UnlinkedOutputs(IBaseFilter* source, std::vector<IPin*>& found) {
    std::vector<IPin*> stack;
    source->AddRef();
    for (IBaseFilter* current = source; current != nullptr; current = Follow(stack, nullptr)) {
        IEnumPins* pins = nullptr;
        if (SUCCEEDED(current->EnumPins(&pins))) {
            IPin* pin = nullptr;
            while (pins->Next(1, &pin, nullptr) == S_OK) {
                PIN_DIRECTION direction;
                if (FAILED(pin->QueryDirection(&direction)) || direction != PINDIR_OUTPUT) {
                    pin->Release();
                    continue;
                }
                (IsLinked(pin) ? stack : found).push_back(pin);
            }
            pins->Release();
        }
        current->Release();
    }
}

unsigned int LinkedVideoTracks(IBaseFilter* source) {
    std::vector<IPin*> stack;
    IPin* arriving = nullptr;
    unsigned int video = 0;
    source->AddRef();
    for (IBaseFilter* current = source; current != nullptr; current = Follow(stack, &arriving)) {
        bool hasOutput = false;
        IEnumPins* pins = nullptr;
        if (SUCCEEDED(current->EnumPins(&pins))) {
            IPin* pin = nullptr;
            while (pins->Next(1, &pin, nullptr) == S_OK) {
                PIN_DIRECTION direction;
                if (FAILED(pin->QueryDirection(&direction)) || direction != PINDIR_OUTPUT) {
                    pin->Release();
                    continue;
                }
                hasOutput = true;
                stack.push_back(pin);
            }
            pins->Release();
        }
        if (!hasOutput && arriving != nullptr) {
            AM_MEDIA_TYPE type;
            if (SUCCEEDED(arriving->ConnectionMediaType(&type))) {
                video += type.majortype == MEDIATYPE_Video;
                CoTaskMemFree(type.pbFormat);
                if (type.pUnk != nullptr) {
                    type.pUnk->Release();
                }
            }
            arriving->Release();
            arriving = nullptr;
        }
        current->Release();
    }
    if (arriving != nullptr) {
        arriving->Release();
    }
    return video;
}

unsigned int InterfacesInGraph(IGraphBuilder* graph, const GUID& iid) {
    IEnumFilters* filters = nullptr;
    if (FAILED(graph->EnumFilters(&filters))) {
        return 0;
    }
    unsigned int count = 0;
    IBaseFilter* filter = nullptr;
    while (filters->Next(1, &filter, nullptr) == S_OK) {
        bool linked = false;
        IEnumPins* pins = nullptr;
        if (SUCCEEDED(filter->EnumPins(&pins))) {
            IPin* pin = nullptr;
            while (!linked && pins->Next(1, &pin, nullptr) == S_OK) {
                linked = IsLinked(pin);
                pin->Release();
            }
            pins->Release();
        }
        void* found = nullptr;
        if (linked && SUCCEEDED(filter->QueryInterface(iid, &found))) {
            static_cast<IUnknown*>(found)->Release();
            ++count;
        }
        filter->Release();
    }
    filters->Release();
    return count;
}

namespace {

bool Link(IGraphBuilder* graph, IPin* out, IPin* in) {
    IPin* peer = nullptr;
    if (SUCCEEDED(out->ConnectedTo(&peer))) {
        const bool same = peer == in;
        peer->Release();
        if (same) {
            return true;
        }
    }
    if (graph->Connect(out, in) != S_OK || in->ConnectedTo(&peer) != S_OK) {
        return false;
    }
    AM_MEDIA_TYPE type;
    if (peer->ConnectionMediaType(&type) == S_OK) {
        CoTaskMemFree(type.pbFormat);
    }
    peer->Release();
    return true;
}

} // namespace

unsigned int RenderSource(IGraphBuilder* graph, IBaseFilter* source,
                          const std::vector<IBaseFilter*>& renders) {
    const auto prepare = [graph](IBaseFilter* filter) {
        void* config = nullptr; // there is none
        graph->QueryInterface(IID_IGraphConfig, &config);
        FILTER_INFO info;
        filter->QueryFilterInfo(&info);
        info.pGraph->Release();
    };
    std::vector<IPin*> wanted;
    std::vector<IPin*> none;
    prepare(source);
    for (IBaseFilter* render : renders) {
        prepare(render);
        UnlinkedPins(render, wanted, none);
    }
    unsigned int linked = 0;
    std::vector<IPin*> stack;
    source->AddRef();
    IBaseFilter* current = source;
    while (!wanted.empty() && current != nullptr) {
        bool made = false;
        IEnumPins* pins = nullptr;
        if (SUCCEEDED(current->EnumPins(&pins))) {
            IPin* pin = nullptr;
            while (!made && pins->Next(1, &pin, nullptr) == S_OK) {
                PIN_DIRECTION direction;
                if (SUCCEEDED(pin->QueryDirection(&direction)) && direction == PINDIR_OUTPUT) {
                    if (IsLinked(pin)) {
                        stack.push_back(pin);
                        continue;
                    }
                    for (size_t i = 0; i < wanted.size() && !made; ++i) {
                        if (Link(graph, pin, wanted[i])) {
                            wanted[i]->Release();
                            wanted.erase(wanted.begin() + static_cast<ptrdiff_t>(i));
                            made = true;
                        }
                    }
                }
                pin->Release();
            }
            pins->Release();
        }
        current->Release();
        current = nullptr;
        if (made) {
            ++linked;
            for (; !stack.empty(); stack.pop_back()) {
                stack.back()->Release();
            }
            if (!wanted.empty()) {
                source->AddRef();
                current = source;
            }
        } else {
            current = Follow(stack, nullptr);
        }
    }
    if (current != nullptr) {
        current->Release();
    }
    for (IPin* pin : wanted) {
        pin->Release();
    }
    return linked;
}

} // namespace bare
