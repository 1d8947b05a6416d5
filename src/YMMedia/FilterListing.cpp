#include <array>

#include <ymdshow/GraphToolkit.h>
#include <ymdshow/Media.h>

#include "BaseClasses/ComTypes.h"
#include "Text/Text.h"
#include "YMMedia/EventHold.h"
#include "YMMedia/Support.h"

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

void CMedia::ShowFilterPropertyPage(int index, HWND parent) {
    const ItemLock lock(*this);
    if (index >= 0 && static_cast<std::size_t>(index) < m_usedFilters.size()) {
        ShowPropertyPage(m_usedFilters[static_cast<std::size_t>(index)], parent);
    }
}

void CMedia::GetFilterInfo(std::wstring& listing) const {
    listing.clear();
    const ItemLock lock(*this);
    OrWhenOutOfMemory(false, [&] {
        for (std::size_t i = 0; i < m_usedFilters.size(); ++i) {
            AppendFilter(listing, i, m_usedFilters[i]);
        }
        return true;
    });
}

void CMedia::GetFilterInfo(std::string& listing) const {
    std::wstring wide;
    GetFilterInfo(wide);
    listing.clear();
    OrWhenOutOfMemory(false, [&] {
        listing = text::ToNarrow(wide);
        return true;
    });
}

} // namespace ymdshow
