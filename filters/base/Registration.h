#pragma once

#include <windows.h>

#include <dshow.h>

#include <span>

#include "BaseClasses/FilterModule.h"

namespace ymfilters {

/// A pin as the system is told of it: what it takes or gives, without connecting it.
struct RegisteredPin {
    DWORD flags; ///< REG_PINFLAG_B_...
    const GUID* majorType;
    std::span<const GUID> subtypes; ///< any when there are none
};

/// A class of the module as the system is told of it: graphs of any program then try it where
/// its pins fit, after those of a higher merit.
struct RegisteredFilter {
    const CLSID* clsid;
    const wchar_t* name;
    DWORD merit;
    std::span<const RegisteredPin> pins; ///< a source that is found by its class has none
};

/// What DllRegisterServer does: each class is served by this module's file, and stands among the
/// system's filters. All or none; the first failure.
HRESULT RegisterFilters(std::span<const RegisteredFilter> filters) noexcept;

/// What DllUnregisterServer does. What is not registered is no failure; the first one, after
/// trying them all.
HRESULT UnregisterFilters(std::span<const RegisteredFilter> filters) noexcept;

} // namespace ymfilters

#if defined(_MSC_VER)
#pragma comment(linker, "/EXPORT:DllRegisterServer,PRIVATE")
#pragma comment(linker, "/EXPORT:DllUnregisterServer,PRIVATE")
#endif

/// Beside YMD_FILTER_MODULE, in a module that can be registered.
#define YMD_FILTER_REGISTRATION(filters)                                                           \
    YMD_MODULE_ENTRY HRESULT STDAPICALLTYPE DllRegisterServer() {                                  \
        return ::ymfilters::RegisterFilters(filters);                                              \
    }                                                                                              \
    YMD_MODULE_ENTRY HRESULT STDAPICALLTYPE DllUnregisterServer() {                                \
        return ::ymfilters::UnregisterFilters(filters);                                            \
    }
