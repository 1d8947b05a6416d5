// What the script code calls of the system and of the utility library's Windows half.

#include "Log.h"

#include <cstdlib>
#include <cwchar>

#include <windows.h>
#include <ymlib/Lock.h>
#include <ymlib/Module.h>

HRESULT CLSIDFromString(const wchar_t* text, GUID* guid) {
    unsigned data[11];
    int end = 0;
    const int count = std::swscanf(text, L"{%8x-%4x-%4x-%2x%2x-%2x%2x%2x%2x%2x%2x}%n", &data[0],
                                   &data[1], &data[2], &data[3], &data[4], &data[5], &data[6],
                                   &data[7], &data[8], &data[9], &data[10], &end);
    *guid = {};
    if (count != 11 || end != 38 || text[end] != L'\0') {
        return -1;
    }
    guid->Data1 = data[0];
    guid->Data2 = static_cast<std::uint16_t>(data[1]);
    guid->Data3 = static_cast<std::uint16_t>(data[2]);
    for (int i = 0; i < 8; ++i) {
        guid->Data4[i] = static_cast<unsigned char>(data[3 + i]);
    }
    return 0;
}

namespace ymdshow {

ymlib::CLogCategory* const g_logCategory = nullptr;

} // namespace ymdshow

namespace ymlib {

void CLogCategory::Log(int, const char*, int, const char*, const wchar_t*, ...) {
    std::abort();
}

CLock::CLock() = default;
CLock::CLock(const CLock&) {}
CLock& CLock::operator=(const CLock&) {
    return *this;
}
CLock::~CLock() = default;

CModuleManager::CModuleManager() = default;
CModuleManager::CModuleManager(const CModuleManager&) {}
CModuleManager& CModuleManager::operator=(const CModuleManager&) {
    return *this;
}
CModuleManager::~CModuleManager() = default;
void CModuleManager::RemoveAllModule() {
    m_modules.clear();
}

CModule::~CModule() = default;

} // namespace ymlib
