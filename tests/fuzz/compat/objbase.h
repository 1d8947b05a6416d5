#pragma once

#include <cwchar>

#include <windows.h>

#define FAILED(result) ((result) < 0)

inline HRESULT CLSIDFromString(const wchar_t* text, GUID* guid) {
    *guid = {};
    return std::wcslen(text) == 38 ? 0 : -1;
}
