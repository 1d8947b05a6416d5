#include "BaseClasses/ComTypes.h"
#include "BaseClasses/MediaType.h"
#include "GraphToolkit/Attempts.h"
#include "GraphToolkit/DownstreamWalk.h"
#include "GraphToolkit/MediaKind.h"
#include "GraphToolkit/PinList.h"
#include "GraphToolkit/Ranges.h"
#include "Guard.h"
#include "Text/Text.h"

#include <ymdshow/GraphToolkit.h>

using namespace ymdshow;
using namespace ymdshow::toolkit;

namespace {

// Takes the filter out of the graph configuration's cache, and adds it to the graph when it
// is in none.
void BringIntoGraph(IGraphBuilder* graph, IBaseFilter* filter) {
    {
        ComPtr<IGraphConfig> config;
        if (SUCCEEDED(graph->QueryInterface(IID_PPV_ARGS(config.GetAddressOf())))) {
            RemoveFilterFromGraphBuilderCache(config.Get(), filter);
        }
    }
    FilterInfoHolder info;
    if (SUCCEEDED(filter->QueryFilterInfo(info.Put())) && info->pGraph == nullptr) {
        AddFilterToGraphBuilder(graph, filter, nullptr);
    }
}

// Links `out` to `in` and counts the kind of the pin that then feeds `in`, which may belong
// to a filter that intelligent connection inserted. A link that leaves `in` without a peer
// does not count.
bool LinkAndCount(IGraphBuilder* graph, IPin* out, IPin* in, TrackCounts& counts) {
    if (!LinkPin(graph, out, in)) {
        return false;
    }
    ComPtr<IPin> feeding;
    if (in->ConnectedTo(feeding.GetAddressOf()) != S_OK || feeding == nullptr) {
        return false;
    }
    counts.Add(GetPinMediaType(feeding.Get()));
    return true;
}

// Links `out` to the first wanted input that it can feed, which then leaves the list.
bool FeedFirstWanted(IGraphBuilder* graph, IPin* out, PinList& wanted, TrackCounts& counts) {
    for (auto it = wanted.begin(); it != wanted.end(); ++it) {
        if (LinkAndCount(graph, out, *it, counts)) {
            wanted.Remove(it);
            return true;
        }
    }
    return false;
}

// Starts again at the source after every link, so that filters which intelligent connection
// inserted are searched from the top.
TrackCounts FeedAllWanted(IGraphBuilder* graph, IBaseFilter* source, PinList& wanted) {
    TrackCounts counts;
    DownstreamWalk walk(source);
    while (!wanted.Empty() && walk.Current() != nullptr) {
        bool linked = false;
        walk.ScanConnected([&](ComPtr<IPin>& unconnected) {
            linked = FeedFirstWanted(graph, unconnected.Get(), wanted, counts);
            return linked ? OutputPin::EndScan : OutputPin::Leave;
        });
        if (linked) {
            walk.Restart(source);
        } else {
            walk.Next();
        }
    }
    return counts;
}

// S_OK when a pin rendered, else the last failure, E_FAIL without an output pin.
HRESULT RenderOutputs(IGraphBuilder* graph, IBaseFilter* filter) {
    BringIntoGraph(graph, filter);
    Pins pins(filter);
    if (pins.Failed()) {
        return pins.Result();
    }
    HRESULT failure = E_FAIL;
    bool isRendered = false;
    for (auto& pin : pins) {
        if (!HasDirection(pin.Get(), PINDIR_OUTPUT)) {
            continue;
        }
        UnlinkPin(graph, pin.Get());
        const HRESULT hr = graph->Render(pin.Get());
        if (SUCCEEDED(hr)) {
            isRendered = true;
        } else {
            failure = hr;
        }
    }
    return isRendered ? S_OK : failure;
}

} // namespace

namespace ymdshow::toolkit {

int RenderFilter(IGraphBuilder* graph, IBaseFilter* filter, HRESULT* result) {
    const HRESULT outcome = AnswerOr(E_UNEXPECTED, [&] {
        return graph != nullptr && filter != nullptr ? RenderOutputs(graph, filter) : E_POINTER;
    });
    if (result != nullptr) {
        *result = outcome;
    }
    return outcome == S_OK;
}

HRESULT LoadSourceFile(const std::wstring& path, IBaseFilter* filter) {
    if (filter == nullptr) {
        return E_POINTER;
    }
    if (path.empty()) {
        return E_INVALIDARG;
    }
    return AnswerOr(E_UNEXPECTED, [&] {
        ComPtr<IFileSourceFilter> source;
        const HRESULT hr = filter->QueryInterface(IID_PPV_ARGS(source.GetAddressOf()));
        if (FAILED(hr)) {
            return hr;
        }
        return source != nullptr ? source->Load(path.c_str(), nullptr) : E_NOINTERFACE;
    });
}

} // namespace ymdshow::toolkit

int RenderFilter(IGraphBuilder* graph, IBaseFilter* filter) {
    return toolkit::RenderFilter(graph, filter, nullptr);
}

int TryLinkRenderToFilter(IGraphBuilder* graph, IBaseFilter* render, IBaseFilter* source,
                          unsigned int* linked, unsigned int* video, unsigned int* audio,
                          unsigned int* text) {
    if (graph == nullptr || render == nullptr || source == nullptr) {
        return 0;
    }
    unsigned int links = 0;
    TrackCounts counts;
    const int result = AnswerOr(0, [&] {
        PinList inputs;
        GetUnlinkedPins(render, inputs.Receive(), nullptr);
        while (!inputs.Empty()) {
            PinList candidates; // goes after the input
            const ComPtr<IPin> in = inputs.Take(inputs.begin());
            GetUnlinkedOutputPinsFromFilter(source, candidates.Receive());
            for (IPin* out : candidates) {
                if (LinkAndCount(graph, out, in.Get(), counts)) {
                    ++links;
                    break;
                }
            }
        }
        return links > 0 ? 1 : 0;
    });
    if (linked != nullptr) {
        *linked = links;
    }
    counts.Write(video, audio, text);
    return result;
}

int TryRenderSource(IGraphBuilder* graph, IBaseFilter* source, std::vector<IBaseFilter*>& renders,
                    unsigned int* video, unsigned int* audio, unsigned int* text) {
    if (graph == nullptr || source == nullptr || renders.empty()) {
        return 0;
    }
    return AnswerOr(0, [&] {
        PinList wanted;
        BringIntoGraph(graph, source);
        for (IBaseFilter* render : renders) {
            if (render != nullptr) {
                BringIntoGraph(graph, render);
                GetUnlinkedPins(render, wanted.Receive(), nullptr);
            }
        }
        FeedAllWanted(graph, source, wanted).Write(video, audio, text);
        return 1;
    });
}

int GetLinkedTrackNum(IGraphBuilder* graph, IBaseFilter* source, unsigned int* video,
                      unsigned int* audio, unsigned int* text) {
    if (graph == nullptr || source == nullptr) {
        return 0;
    }
    return AnswerOr(0, [&] {
        TrackCounts counts;
        for (DownstreamWalk walk(source); walk.Current() != nullptr; walk.Next()) {
            const PinTally pins = walk.ScanAll();
            MediaType type;
            if (pins.enumerated && pins.outputs == 0 && walk.Arriving() != nullptr &&
                SUCCEEDED(walk.Arriving()->ConnectionMediaType(type.Put()))) {
                counts.Add(KindOfMajorType(type->majortype));
            }
        }
        counts.Write(video, audio, text);
        return 1;
    });
}

int TrySourceFilter(const std::string& path, IBaseFilter* filter) {
    return AnswerOr(0, [&] { return TrySourceFilter(text::ToWide(path), filter); });
}

int TrySourceFilter(const std::wstring& path, IBaseFilter* filter) {
    return SUCCEEDED(LoadSourceFile(path, filter));
}
