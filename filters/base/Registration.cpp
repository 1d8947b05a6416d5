#include "base/Registration.h"

#include <wrl/client.h>

#include <string>
#include <vector>

#include "Guard.h"

namespace ymfilters {

using Microsoft::WRL::ComPtr;

namespace {

constexpr DWORD kLongestPath = 32768;

std::wstring ClassKey(REFCLSID clsid) {
    wchar_t text[39] = {};
    StringFromGUID2(clsid, text, 39);
    return std::wstring(L"CLSID\\") + text;
}

HRESULT SetText(const std::wstring& key, const wchar_t* value, const std::wstring& text) {
    return HRESULT_FROM_WIN32(static_cast<DWORD>(
        RegSetKeyValueW(HKEY_CLASSES_ROOT, key.c_str(), value, REG_SZ, text.c_str(),
                        static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)))));
}

/// The file that this code is in.
std::wstring ModulePath() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&ModulePath), &module);
    std::wstring path(kLongestPath, L'\0');
    path.resize(GetModuleFileNameW(module, path.data(), kLongestPath));
    return path;
}

HRESULT RegisterClass(const RegisteredFilter& filter) {
    const std::wstring key = ClassKey(*filter.clsid);
    HRESULT result = SetText(key, nullptr, filter.name);
    if (SUCCEEDED(result)) {
        result = SetText(key + L"\\InprocServer32", nullptr, ModulePath());
    }
    return SUCCEEDED(result) ? SetText(key + L"\\InprocServer32", L"ThreadingModel", L"Both")
                             : result;
}

HRESULT RegisterWithMapper(IFilterMapper2& mapper, const RegisteredFilter& filter) {
    std::vector<std::vector<REGPINTYPES>> types;
    std::vector<REGFILTERPINS2> pins;
    for (const RegisteredPin& pin : filter.pins) {
        std::vector<REGPINTYPES>& list = types.emplace_back();
        for (const GUID& subtype : pin.subtypes) {
            list.push_back({pin.majorType, &subtype});
        }
        if (list.empty()) {
            list.push_back({pin.majorType, &GUID_NULL});
        }
        REGFILTERPINS2 told{};
        told.dwFlags = pin.flags;
        told.nMediaTypes = static_cast<UINT>(list.size());
        told.lpMediaType = list.data();
        pins.push_back(told);
    }
    REGFILTER2 told{};
    told.dwVersion = 2;
    told.dwMerit = filter.merit;
    told.cPins2 = static_cast<ULONG>(pins.size());
    told.rgPins2 = pins.data();
    return mapper.RegisterFilter(*filter.clsid, filter.name, nullptr, &CLSID_LegacyAmFilterCategory,
                                 nullptr, &told);
}

HRESULT CreateMapper(ComPtr<IFilterMapper2>& mapper) {
    return CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER,
                            IID_PPV_ARGS(&mapper));
}

HRESULT RegisterAll(std::span<const RegisteredFilter> filters) {
    ComPtr<IFilterMapper2> mapper;
    HRESULT result = CreateMapper(mapper);
    for (const RegisteredFilter& filter : filters) {
        if (SUCCEEDED(result)) {
            result = RegisterClass(filter);
        }
        if (SUCCEEDED(result)) {
            result = RegisterWithMapper(*mapper.Get(), filter);
        }
    }
    return result;
}

bool IsAbsent(HRESULT result) {
    return result == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
}

} // namespace

HRESULT RegisterFilters(std::span<const RegisteredFilter> filters) noexcept {
    const HRESULT result = ymdshow::AnswerOr(E_OUTOFMEMORY, [&] { return RegisterAll(filters); });
    if (FAILED(result)) {
        UnregisterFilters(filters);
    }
    return result;
}

HRESULT UnregisterFilters(std::span<const RegisteredFilter> filters) noexcept {
    return ymdshow::AnswerOr(E_OUTOFMEMORY, [&] {
        ComPtr<IFilterMapper2> mapper;
        HRESULT failure = CreateMapper(mapper);
        const auto note = [&](HRESULT result) {
            if (FAILED(result) && !IsAbsent(result) && SUCCEEDED(failure)) {
                failure = result;
            }
        };
        for (const RegisteredFilter& filter : filters) {
            if (mapper != nullptr) {
                note(mapper->UnregisterFilter(&CLSID_LegacyAmFilterCategory, nullptr,
                                              *filter.clsid));
            }
            note(HRESULT_FROM_WIN32(static_cast<DWORD>(
                RegDeleteTreeW(HKEY_CLASSES_ROOT, ClassKey(*filter.clsid).c_str()))));
        }
        return failure;
    });
}

} // namespace ymfilters
