#include "GraphFilters.h"

#include <wrl/client.h>

#include <algorithm>

#include "Text.h"

namespace ymds {

namespace {

using Microsoft::WRL::ComPtr;
using Filters = std::vector<ComPtr<IBaseFilter>>;

Filters GraphOf(ymdshow::CMedia& media) {
    Filters filters;
    media.EnumMediaFilter(
        [](IBaseFilter* filter, void* user) { static_cast<Filters*>(user)->push_back(filter); },
        &filters, 1);
    return filters;
}

/// The filters connected to one that stand on the other side of its pins of a direction.
Filters Neighbours(IBaseFilter* filter, PIN_DIRECTION direction) {
    Filters found;
    ComPtr<IEnumPins> pins;
    if (FAILED(filter->EnumPins(&pins))) {
        return found;
    }
    ComPtr<IPin> pin;
    while (pins->Next(1, pin.ReleaseAndGetAddressOf(), nullptr) == S_OK) {
        PIN_DIRECTION own{};
        ComPtr<IPin> peer;
        PIN_INFO info{};
        if (SUCCEEDED(pin->QueryDirection(&own)) && own == direction &&
            SUCCEEDED(pin->ConnectedTo(&peer)) && SUCCEEDED(peer->QueryPinInfo(&info)) &&
            info.pFilter != nullptr) {
            found.emplace_back(info.pFilter);
            info.pFilter->Release();
        }
    }
    return found;
}

void FollowDown(const ComPtr<IBaseFilter>& filter, Filters& ordered) {
    const auto same = [&](const ComPtr<IBaseFilter>& other) { return other.Get() == filter.Get(); };
    if (std::any_of(ordered.begin(), ordered.end(), same)) {
        return;
    }
    ordered.push_back(filter);
    for (const auto& next : Neighbours(filter.Get(), PINDIR_OUTPUT)) {
        FollowDown(next, ordered);
    }
}

Filters InOrder(const Filters& filters) {
    Filters ordered;
    for (const auto& filter : filters) {
        if (Neighbours(filter.Get(), PINDIR_INPUT).empty() &&
            !Neighbours(filter.Get(), PINDIR_OUTPUT).empty()) {
            FollowDown(filter, ordered);
        }
    }
    for (const auto& filter : filters) {
        FollowDown(filter, ordered);
    }
    return ordered;
}

GUID ClassOf(IBaseFilter* filter) {
    GUID clsid{};
    filter->GetClassID(&clsid);
    return clsid;
}

} // namespace

SchemeFilterWatch::SchemeFilterWatch(ymdshow::CMedia& media) : m_media(media) {
    media.SetAddFilterCallBack(
        [](IBaseFilter* filter, void* user) {
            static_cast<SchemeFilterWatch*>(user)->m_added.push_back(filter);
        },
        this);
}

std::wstring SchemeFilterWatch::ModuleOf(IBaseFilter* filter, const GUID& clsid) const {
    std::size_t at = 0;
    for (const auto& entry : m_media.GetLoadReport().filters) {
        if (!entry.added) {
            continue;
        }
        // The class is compared too: an address may have been given to a later filter.
        if (at < m_added.size() && m_added[at] == filter && entry.clsid == clsid) {
            return entry.module;
        }
        ++at;
    }
    return {};
}

std::vector<FilterLine> ListFilters(ymdshow::CMedia& media, const SchemeFilterWatch& watch) {
    std::vector<FilterLine> lines;
    for (const auto& filter : InOrder(GraphOf(media))) {
        FilterLine line;
        FILTER_INFO info{};
        if (SUCCEEDED(filter->QueryFilterInfo(&info))) {
            line.name = info.achName;
            if (info.pGraph != nullptr) {
                info.pGraph->Release();
            }
        }
        line.clsid = ClassOf(filter.Get());
        std::string file;
        if (FindFileNameFromCLSID(line.clsid, file)) {
            line.file = From936(file);
        }
        line.module = watch.ModuleOf(filter.Get(), line.clsid);
        lines.push_back(std::move(line));
    }
    return lines;
}

bool HasFilter(ymdshow::CMedia& media, const GUID& clsid) {
    const Filters filters = GraphOf(media);
    return std::any_of(filters.begin(), filters.end(), [&](const ComPtr<IBaseFilter>& filter) {
        return ClassOf(filter.Get()) == clsid;
    });
}

} // namespace ymds
