// The filters of the graph, for the host and for the load's report.

#include <array>

#include <ymdshow/GraphToolkit.h>

#include "BaseClasses/ComTypes.h"
#include "GraphToolkit/Ranges.h"
#include "Text/Text.h"
#include "YMMedia/Inside.h"

namespace ymdshow {

namespace {

void AppendFilter(std::wstring& listing, std::size_t index, IBaseFilter* filter) {
    listing += std::to_wstring(index);
    listing += L" : ";
    FilterInfoHolder info;
    if (SUCCEEDED(filter->QueryFilterInfo(info.Put()))) {
        listing += info->achName;
    }
    listing += L"\n\t";
    CLSID clsid{};
    std::array<wchar_t, 39> clsidText{};
    if (SUCCEEDED(filter->GetClassID(&clsid))) {
        if (StringFromGUID2(clsid, clsidText.data(), static_cast<int>(clsidText.size())) > 0) {
            listing += clsidText.data();
        }
        std::string file;
        if (FindFileNameFromCLSID(clsid, file)) {
            listing += L"\n\t";
            listing += text::ToWide(file);
        }
    }
    listing += L"\n\n";
}

} // namespace

/// Filters of the last load: an address may have been given to another since, so that the class is
/// compared too.
toolkit::FindMaker CMedia::Inside::Makers() const {
    return [this, known = toolkit::Maker()](IBaseFilter* filter,
                                            const GUID& clsid) mutable -> const toolkit::Maker* {
        for (const auto& [address, entry] : made) {
            if (address == filter && entry.clsid == clsid) {
                known = {entry.name, entry.module};
                return &known;
            }
        }
        return nullptr;
    };
}

std::vector<FilterDescription> CMedia::Inside::Describe(const CMedia& media) {
    return media.m_pGB != nullptr ? toolkit::DescribeGraph(ComPtr<IGraphBuilder>(media.m_pGB).Get(),
                                                           media.m_inside->Makers())
                                  : std::vector<FilterDescription>();
}

void CMedia::Inside::RecordGraph(CMedia& media) {
    Quietly([&] {
        std::vector<FilterDescription> filters = Describe(media);
        if (!filters.empty()) { // else a load of the same empty graph fails once more
            media.m_inside->load.Graph(std::move(filters));
        }
    });
}

std::vector<FilterDescription> CMedia::GetFilters() const {
    using Filters = std::vector<FilterDescription>;
    return Inside::OnGraph(*this, Filters(), [&] {
        Filters filters = Inside::Describe(*this);
        return filters.empty() ? m_inside->load.Report().graph : filters;
    });
}

std::wstring CMedia::GetGraphPicture(GraphFormat format) const {
    return AnswerOr(std::wstring(), [&] { return DrawGraph(GetFilters(), format); });
}

void CMedia::EnumMediaFilter(void (*fn)(IBaseFilter*, void*), void* user, int all) {
    Inside::OnGraph(*this, [&] {
        if (m_pGB == nullptr || fn == nullptr) {
            return;
        }
        const ymlib::CYMAutoLock item(m_lock);
        for (const ComPtr<IBaseFilter>& filter : toolkit::Filters(m_pGB)) {
            if (all == 0 && IsFilterLinked(filter.Get()) == 0) {
                continue;
            }
            {
                const ymlib::CYMAutoUnlock outside(m_inside->gate);
                fn(filter.Get(), user); // what it throws ends the visit
            }
            if (item.IsDestroyed()) { // by the visitor, or a message
                return;
            }
        }
    });
}

void* CMedia::FindInterfaceInGraphFilters(const GUID& iid, int flag) {
    return Inside::OnGraph(*this, static_cast<void*>(nullptr), [&]() -> void* {
        if (m_pGB == nullptr) {
            return nullptr;
        }
        std::size_t count = 0;
        for ([[maybe_unused]] const ComPtr<IBaseFilter>& filter : toolkit::Filters(m_pGB)) {
            ++count;
        }
        // The search writes one entry for every match, whatever the capacity it is told.
        std::vector<void*> found(count + 1, nullptr);
        ::FindInterfaceInGraphFilters(m_pGB, iid, found.data(), 1, flag, 1);
        for (std::size_t i = 1; i < found.size(); ++i) {
            if (found[i] != nullptr) {
                static_cast<IUnknown*>(found[i])->Release();
            }
        }
        return found.front();
    });
}

void CMedia::ShowFilterPropertyPage(int index, HWND parent) {
    Inside::Locked(*this, [&] {
        if (index >= 0 && static_cast<std::size_t>(index) < m_usedFilters.size()) {
            const ComPtr<IBaseFilter> filter(m_usedFilters[static_cast<std::size_t>(index)]);
            ShowPropertyPage(filter.Get(), parent);
        }
    });
}

void CMedia::GetFilterInfo(std::wstring& listing) const {
    listing.clear();
    Inside::Locked(*this, [&] {
        for (std::size_t i = 0; i < m_usedFilters.size(); ++i) {
            AppendFilter(listing, i, m_usedFilters[i]);
        }
    });
}

void CMedia::GetFilterInfo(std::string& listing) const {
    std::wstring wide;
    GetFilterInfo(wide);
    listing.clear();
    Quietly([&] { listing = text::ToNarrow(wide); });
}

} // namespace ymdshow
