// One renderer track: cutting its chain of filters off and joining it again.

#include <deque>

#include <ymdshow/GraphToolkit.h>

#include "BaseClasses/ComTypes.h"
#include "GraphToolkit/Ranges.h"
#include "YMMedia/Inside.h"

namespace ymdshow {

namespace {

/// The input pins of a filter that feeds nothing any more; none for one that still does.
std::vector<ComPtr<IPin>> InputsOfIdleFilter(IBaseFilter* filter) {
    std::vector<ComPtr<IPin>> inputs;
    unsigned int feeding = 0;
    for (ComPtr<IPin>& pin : toolkit::Pins(filter)) {
        PIN_DIRECTION direction{};
        if (FAILED(pin->QueryDirection(&direction))) {
            continue;
        }
        if (direction == PINDIR_INPUT) {
            inputs.push_back(std::move(pin));
        } else if (IsPinLinked(pin.Get()) != 0) {
            ++feeding;
        }
    }
    if (feeding > 0) {
        inputs.clear();
    }
    return inputs;
}

} // namespace

CMedia::FilterTrackInfo::FilterTrackInfo(IBaseFilter* render) : renderer(render) {
    if (renderer != nullptr) {
        renderer->AddRef();
    }
}

CMedia::FilterTrackInfo::~FilterTrackInfo() {
    DiscardBrokenLinks();
    ReleaseMember(renderer);
    enabled = true;
}

void CMedia::FilterTrackInfo::DiscardBrokenLinks() {
    for (const auto& [output, filter] : brokenLinks) {
        output->Release();
        filter->Release();
    }
    brokenLinks.clear();
}

bool CMedia::FilterTrackInfo::Link(IGraphBuilder* graph) {
    if (brokenLinks.empty()) {
        return true;
    }
    for (const auto& [output, filter] : brokenLinks) {
        // Kept: a connection that cannot be restored does not fail the track.
        LinkFilter(graph, output, filter);
        output->Release();
        filter->Release();
    }
    brokenLinks.clear();
    linked = true;
    return true;
}

bool CMedia::FilterTrackInfo::Unlink(IGraphBuilder* graph) {
    if (!brokenLinks.empty() || graph == nullptr) {
        return true;
    }
    std::deque<ComPtr<IBaseFilter>> filters{renderer};
    while (!filters.empty()) {
        const ComPtr<IBaseFilter> filter = std::move(filters.front());
        filters.pop_front();
        for (const ComPtr<IPin>& input : InputsOfIdleFilter(filter.Get())) {
            ComPtr<IPin> output;
            if (FAILED(input->ConnectedTo(&output)) || output == nullptr) {
                UnlinkPin(graph, input.Get());
                continue;
            }
            PinInfo info;
            if (SUCCEEDED(output->QueryPinInfo(info.Put())) && info->pFilter != nullptr) {
                filters.emplace_back();
                toolkit::Adopt(filters.back(), info.DetachInterface());
                brokenLinks.emplace_back(output.Get(), filter.Get());
                output->AddRef();
                filter->AddRef();
            }
            graph->Disconnect(output.Get());
            graph->Disconnect(input.Get());
        }
    }
    linked = false;
    return true;
}

} // namespace ymdshow
