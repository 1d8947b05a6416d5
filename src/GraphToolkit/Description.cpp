#include "GraphToolkit/Description.h"

#include <algorithm>
#include <array>
#include <utility>

#include <ymdshow/GraphToolkit.h>
#include <ymdshow/Text.h>

#include "BaseClasses/ComTypes.h"
#include "BaseClasses/MediaType.h"
#include "GraphToolkit/PinList.h"
#include "GraphToolkit/Ranges.h"
#include "Guard.h"

namespace ymdshow::toolkit {

namespace {

constexpr int kTypesAsked = 32; // some filters list for ever
constexpr const wchar_t* kFilterCategory = L"{083863F1-70DE-11D0-BD40-00A0C911CE86}";

std::wstring RegistryText(const std::wstring& key, const wchar_t* value) {
    std::array<wchar_t, 512> text{};
    DWORD size = sizeof(text);
    return RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), value, RRF_RT_REG_SZ, nullptr, text.data(),
                        &size) == ERROR_SUCCESS
               ? text.data()
               : L"";
}

std::wstring RegisteredName(const GUID& clsid) {
    const std::wstring id = GuidText(clsid);
    std::wstring name = RegistryText(
        std::wstring(L"CLSID\\") + kFilterCategory + L"\\Instance\\" + id, L"FriendlyName");
    return name.empty() ? RegistryText(L"CLSID\\" + id, nullptr) : name;
}

std::wstring ServerFile(const GUID& clsid) {
    std::string file;
    if (!FindFileNameFromCLSID(clsid, file)) {
        return {};
    }
    std::wstring wide(file.size(), L'\0');
    const int size = static_cast<int>(file.size());
    wide.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_ACP, 0, file.data(), size, wide.data(), size)));
    return wide;
}

/// A graph that is told no name gives a number.
bool IsNumber(const std::wstring& name) {
    return name.find_first_not_of(L"0123456789") == std::wstring::npos;
}

GUID ClassOf(IBaseFilter* filter) {
    GUID clsid{};
    filter->GetClassID(&clsid);
    return clsid;
}

std::wstring NameOf(IBaseFilter* filter, const FindMaker& findMaker) {
    const GUID clsid = ClassOf(filter);
    if (const Maker* const maker = findMaker(filter, clsid); maker != nullptr) {
        return maker->name;
    }
    std::wstring name = RegisteredName(clsid);
    FilterInfoHolder info;
    if (name.empty() && SUCCEEDED(filter->QueryFilterInfo(info.Put())) &&
        !IsNumber(info->achName)) {
        name = info->achName;
    }
    return name.empty() ? GuidText(clsid) : name;
}

/// Calls `look(type)` for the types that a pin offers until it answers false.
template <class Look> void ForOfferedTypes(IPin* pin, Look&& look) {
    ComPtr<IEnumMediaTypes> types;
    if (FAILED(pin->EnumMediaTypes(&types)) || types == nullptr) {
        return;
    }
    for (int i = 0; i < kTypesAsked; ++i) {
        OwnedMediaType type;
        if (types->Next(1, type.Put(), nullptr) != S_OK || type.Get() == nullptr || !look(*type)) {
            return;
        }
    }
}

std::wstring TypeOf(IPin* pin, bool isConnected) {
    std::wstring text;
    MediaType type;
    if (isConnected && SUCCEEDED(pin->ConnectionMediaType(type.Put()))) {
        return MediaTypeText(type.Get());
    }
    ForOfferedTypes(pin, [&](const AM_MEDIA_TYPE& offered) {
        text = MediaTypeText(offered);
        return false;
    });
    return text;
}

std::wstring PinName(const PinInfo& info) {
    return {info->achName, wcsnlen(info->achName, std::size(info->achName))};
}

struct Node {
    ComPtr<IBaseFilter> filter;
    std::vector<ComPtr<IPin>> pins;
    std::vector<ComPtr<IPin>> peers; ///< null for open pins
    bool isPlaced = false;
};

class Describer {
public:
    Describer(IFilterGraph* graph, const FindMaker& findMaker) : m_findMaker(findMaker) {
        for (ComPtr<IBaseFilter>& filter : Filters(graph)) {
            Node& node = m_nodes.emplace_back();
            node.filter = std::move(filter);
            for (ComPtr<IPin>& pin : Pins(node.filter.Get())) {
                ComPtr<IPin>& peer = node.peers.emplace_back();
                if (FAILED(pin->ConnectedTo(&peer))) {
                    peer.Reset();
                }
                node.pins.push_back(std::move(pin));
            }
        }
    }

    std::vector<FilterDescription> Describe() {
        for (const bool isFirst : {true, false}) {
            for (std::size_t i = 0; i < m_nodes.size(); ++i) {
                if (!isFirst || IsBeginning(m_nodes[i])) {
                    FollowDown(i);
                }
            }
        }
        std::vector<FilterDescription> filters;
        for (const std::size_t index : m_order) {
            filters.push_back(Describe(m_nodes[index]));
        }
        return filters;
    }

private:
    static bool IsBeginning(const Node& node) {
        bool feeds = false;
        for (std::size_t i = 0; i < node.pins.size(); ++i) {
            if (node.peers[i] != nullptr) {
                if (!HasDirection(node.pins[i].Get(), PINDIR_OUTPUT)) {
                    return false;
                }
                feeds = true;
            }
        }
        return feeds;
    }

    void FollowDown(std::size_t index) {
        Node& node = m_nodes[index];
        if (std::exchange(node.isPlaced, true)) {
            return;
        }
        m_order.push_back(index);
        for (std::size_t i = 0; i < node.pins.size(); ++i) {
            if (node.peers[i] != nullptr && HasDirection(node.pins[i].Get(), PINDIR_OUTPUT)) {
                if (const int next = OwnerOf(node.peers[i].Get()).first; next >= 0) {
                    FollowDown(static_cast<std::size_t>(next));
                }
            }
        }
    }

    /// The node and the place in it; -1 for what the graph does not list.
    std::pair<int, int> OwnerOf(IPin* pin) const {
        for (std::size_t i = 0; i < m_nodes.size(); ++i) {
            const auto& pins = m_nodes[i].pins;
            const auto found = std::find_if(pins.begin(), pins.end(), [&](const ComPtr<IPin>& own) {
                return own.Get() == pin;
            });
            if (found != pins.end()) {
                return {static_cast<int>(i), static_cast<int>(found - pins.begin())};
            }
        }
        PinInfo info;
        if (SUCCEEDED(pin->QueryPinInfo(info.Put()))) {
            for (std::size_t i = 0; i < m_nodes.size(); ++i) {
                if (m_nodes[i].filter.Get() == info->pFilter) {
                    return {static_cast<int>(i), -1};
                }
            }
        }
        return {-1, -1};
    }

    FilterDescription Describe(const Node& node) const {
        FilterDescription filter;
        filter.clsid = ClassOf(node.filter.Get());
        const Maker* const maker = m_findMaker(node.filter.Get(), filter.clsid);
        filter.name = NameOf(node.filter.Get(), m_findMaker);
        filter.isFromModule = maker != nullptr && !maker->module.empty();
        filter.file = filter.isFromModule ? maker->module : ServerFile(filter.clsid);
        filter.role = CheckFilterType(node.filter.Get());
        for (std::size_t i = 0; i < node.pins.size(); ++i) {
            filter.pins.push_back(Describe(node.pins[i].Get(), node.peers[i].Get()));
        }
        return filter;
    }

    PinDescription Describe(IPin* pin, IPin* peer) const {
        PinDescription description;
        PinInfo info;
        if (SUCCEEDED(pin->QueryPinInfo(info.Put()))) {
            description.name = PinName(info);
        }
        description.isOutput = HasDirection(pin, PINDIR_OUTPUT);
        description.isConnected = peer != nullptr;
        description.mediaType = TypeOf(pin, description.isConnected);
        if (peer != nullptr) {
            const auto [node, place] = OwnerOf(peer);
            const auto at =
                std::find(m_order.begin(), m_order.end(), static_cast<std::size_t>(node));
            description.filter = node < 0 ? -1 : static_cast<int>(at - m_order.begin());
            description.pin = place;
        }
        return description;
    }

    const FindMaker& m_findMaker;
    std::vector<Node> m_nodes;
    std::vector<std::size_t> m_order;
};

/// What an open input says to the types of an output: S_OK, or the refusal of the first.
HRESULT Ask(IPin* input, IPin* output) {
    HRESULT answer = VFW_E_NO_TYPES;
    ForOfferedTypes(output, [&](const AM_MEDIA_TYPE& type) {
        const HRESULT accepted = input->QueryAccept(&type);
        const HRESULT said = accepted == S_FALSE ? VFW_E_TYPE_NOT_ACCEPTED : accepted;
        answer = answer == VFW_E_NO_TYPES || said == S_OK ? said : answer;
        return answer != S_OK;
    });
    return answer;
}

void AskFilters(IFilterGraph* graph, IBaseFilter* own, IPin* output, const FindMaker& findMaker,
                std::vector<LoadReport::Refusal>& refusals) {
    for (const ComPtr<IBaseFilter>& filter : Filters(graph)) {
        if (filter.Get() == own) {
            continue;
        }
        for (const ComPtr<IPin>& pin : Pins(filter.Get())) {
            if (HasDirection(pin.Get(), PINDIR_INPUT) && !IsLinked(pin.Get())) {
                refusals.push_back({NameOf(filter.Get(), findMaker), Ask(pin.Get(), output)});
            }
        }
    }
}

} // namespace

std::vector<FilterDescription> DescribeGraph(IFilterGraph* graph, const FindMaker& findMaker) {
    return Describer(graph, findMaker).Describe();
}

std::vector<LoadReport::DeadEnd> FindDeadEnds(IFilterGraph* graph, IBaseFilter* source,
                                              const FindMaker& findMaker) {
    std::vector<LoadReport::DeadEnd> ends;
    PinList pins;
    GetUnlinkedOutputPinsFromFilter(source, pins.Receive());
    for (IPin* const pin : pins) {
        PinInfo info;
        if (FAILED(pin->QueryPinInfo(info.Put()))) {
            continue;
        }
        LoadReport::DeadEnd& end = ends.emplace_back();
        end.pin = PinName(info);
        end.mediaType = TypeOf(pin, false);
        if (info->pFilter != nullptr) {
            end.filter = NameOf(info->pFilter, findMaker);
        }
        AskFilters(graph, info->pFilter, pin, findMaker, end.refusals);
    }
    return ends;
}

} // namespace ymdshow::toolkit
