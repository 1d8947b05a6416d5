// From filter descriptions to live filters.

#include <windows.h>

#include <dmodshow.h>
#include <dshow.h>
#include <wrl/client.h>

#include <ymdshow/CoderScheme.h>
#include <ymdshow/GraphToolkit.h>
#include <ymdshow/Media.h>

#include "Guard.h"
#include "Text/Text.h"

#define YMD_LOG_SOURCE "src/YMCoderScheme"
#include "Log.h"

namespace ymdshow {

using Microsoft::WRL::ComPtr;

namespace {

constexpr const char* kFunction = "ymdshow::CCoderScheme::LoadSchemeFilters";

/// Wraps the DirectX Media Object that `info` names; null on failure.
HRESULT CreateFromDmo(const FilterInfo& info, ComPtr<IBaseFilter>& filter) {
    ComPtr<IBaseFilter> wrapper;
    const HRESULT created =
        CoCreateInstance(CLSID_DMOWrapperFilter, nullptr,
                         CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER, IID_PPV_ARGS(&wrapper));
    if (FAILED(created)) {
        return created;
    }
    ComPtr<IDMOWrapperFilter> dmo;
    HRESULT result = wrapper->QueryInterface(
        IID_IDMOWrapperFilter, reinterpret_cast<void**>(dmo.ReleaseAndGetAddressOf()));
    if (SUCCEEDED(result)) {
        result = dmo != nullptr ? dmo->Init(info.clsid, info.clsidDMOCategory) : E_NOINTERFACE;
    }
    if (SUCCEEDED(result)) {
        filter = wrapper;
    }
    return result;
}

/// A filter that the system knows, within the description's category when it has one.
HRESULT CreateFromSystem(const FilterInfo& info, ComPtr<IBaseFilter>& filter) {
    if (info.bHasCategory) {
        GetFilterByCLSID(info.clsidCategory, info.clsid, filter.ReleaseAndGetAddressOf());
    } else {
        GetFilterByCLSID(info.clsid, filter.ReleaseAndGetAddressOf());
    }
    return filter != nullptr ? S_OK : REGDB_E_CLASSNOTREG;
}

/// Makes the filter that `info` describes and notes in `report` how that went. A module that
/// loads is the only way tried, whatever it answers.
ComPtr<IBaseFilter> CreateFilter(const FilterInfo& info, ymlib::CModuleManager& modules,
                                 LoadReport::Filter& report) {
    ComPtr<IBaseFilter> filter;
    DWORD moduleError = 0;
    if (!info.strPath.empty()) {
        if (ymlib::CModule* const module = modules.LoadModule(info.strPath, 0, 0)) {
            report.module = module->GetPath();
            report.result =
                module->GetClassObject(info.clsid, IID_IBaseFilter,
                                       reinterpret_cast<void**>(filter.ReleaseAndGetAddressOf()));
            return filter;
        }
        moduleError = modules.GetLastLoadError();
    }
    report.result =
        info.bHasDMOCategory ? CreateFromDmo(info, filter) : CreateFromSystem(info, filter);
    if (filter == nullptr && moduleError != 0) {
        report.result = HRESULT_FROM_WIN32(moduleError);
    }
    return filter;
}

std::vector<IBaseFilter*>* ListOfRole(int role, std::vector<IBaseFilter*>* sources,
                                      std::vector<IBaseFilter*>* transforms,
                                      std::vector<IBaseFilter*>* renders) {
    switch (role) {
    case DSFT_SOURCE:
        return sources;
    case DSFT_TRANSFORM:
        return transforms;
    case DSFT_RENDER:
        return renders;
    default:
        return nullptr;
    }
}

} // namespace

bool CCoderScheme::LoadSchemeFilters(CMedia* media, const Scheme& scheme,
                                     std::vector<IBaseFilter*>* sources,
                                     std::vector<IBaseFilter*>* transforms,
                                     std::vector<IBaseFilter*>* renders, DWORD typeMask,
                                     std::vector<LoadReport::Filter>* results) {
    return AnswerOr(false, [&] {
        PlaceFilter place;
        if (media != nullptr) {
            place = [media](IBaseFilter* filter, const FilterInfo& info) {
                if (media->_AddFilter(filter, info.strName.c_str(), info.bCache ? 1 : 0) != 0) {
                    return S_OK;
                }
                media->_RemoveFilter(filter);
                return E_FAIL;
            };
        }
        std::vector<LoadReport::Filter> ignored;
        MakeFilters(scheme, place, sources, transforms, renders, typeMask,
                    results != nullptr ? *results : ignored);
        return true;
    });
}

void CCoderScheme::MakeFilters(const Scheme& scheme, const PlaceFilter& place,
                               std::vector<IBaseFilter*>* sources,
                               std::vector<IBaseFilter*>* transforms,
                               std::vector<IBaseFilter*>* renders, DWORD typeMask,
                               std::vector<LoadReport::Filter>& results) {
    for (const FilterInfo* const info : scheme.listFilter) {
        LoadReport::Filter& result = results.emplace_back();
        result.name = info->strName;
        result.clsid = info->clsid;
        ComPtr<IBaseFilter> filter;
        result.result = AnswerOr(E_UNEXPECTED, [&] {
            filter = CreateFilter(*info, m_moduleManager, result);
            return result.result;
        });
        result.created = filter != nullptr;
        if (!result.created) {
            YMD_LOG_WARNING(kFunction, L"Load Filter FAILED : %s", info->strName.c_str());
            continue;
        }
        result.role = info->nType != 0 ? info->nType : CheckFilterType(filter.Get());
        if ((static_cast<DWORD>(result.role) & typeMask) == 0) {
            continue;
        }
        YMD_LOG_PROGRESS(kFunction, L"Load Filter OK : %s", info->strName.c_str());
        std::vector<IBaseFilter*>* const list =
            ListOfRole(result.role, sources, transforms, renders);
        if (list != nullptr) {
            list->reserve(list->size() + 1);
        }
        if (place != nullptr) {
            const HRESULT placed = place(filter.Get(), *info);
            result.added = SUCCEEDED(placed);
            if (!result.added) {
                result.result = placed;
                continue;
            }
        }
        if (list != nullptr) {
            list->push_back(filter.Detach());
        }
    }
}

bool CCoderScheme::LoadSchemeFilters(CMedia* media, const std::string& type,
                                     std::vector<IBaseFilter*>* sources,
                                     std::vector<IBaseFilter*>* transforms,
                                     std::vector<IBaseFilter*>* renders, DWORD typeMask) {
    Scheme* scheme = nullptr;
    return FindScheme(type, &scheme) &&
           LoadSchemeFilters(media, *scheme, sources, transforms, renders, typeMask);
}

bool CCoderScheme::LoadSchemeFilters(CMedia* media, const std::wstring& type,
                                     std::vector<IBaseFilter*>* sources,
                                     std::vector<IBaseFilter*>* transforms,
                                     std::vector<IBaseFilter*>* renders, DWORD typeMask) {
    Scheme* scheme = nullptr;
    return FindScheme(type, &scheme) &&
           LoadSchemeFilters(media, *scheme, sources, transforms, renders, typeMask);
}

} // namespace ymdshow
