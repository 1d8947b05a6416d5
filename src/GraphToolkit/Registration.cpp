#include "Guard.h"
#include "Text/Text.h"

#include <windows.h>

#include <ymdshow/GraphToolkit.h>

#include <algorithm>
#include <iterator>

using namespace ymdshow;

namespace {

class RegistryKey {
public:
    RegistryKey() = default;
    ~RegistryKey() {
        if (m_key != nullptr) {
            RegCloseKey(m_key);
        }
    }
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;

    bool OpenClass(const std::string& path) {
        return RegOpenKeyExA(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &m_key) == ERROR_SUCCESS;
    }

    // The default value. Its type is not looked at, so a number is read as bytes of text. A
    // value that the buffer cannot hold is not read; one that fills it without a zero byte
    // ends with the buffer.
    bool ReadDefault(std::string& value) const {
        char buffer[260] = {};
        DWORD type = REG_SZ;
        DWORD size = sizeof buffer;
        if (RegQueryValueExA(m_key, nullptr, nullptr, &type, reinterpret_cast<BYTE*>(buffer),
                             &size) != ERROR_SUCCESS) {
            return false;
        }
        value.assign(buffer, std::find(std::begin(buffer), std::end(buffer), '\0'));
        return true;
    }

private:
    HKEY m_key = nullptr;
};

bool CallEntryPoint(const char* path, const char* name) {
    if (path == nullptr) {
        return false;
    }
    HMODULE module = LoadLibraryA(path);
    if (module == nullptr) {
        module = LoadLibraryExA(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    }
    if (module == nullptr) {
        return false;
    }
    using EntryPoint = HRESULT(STDAPICALLTYPE*)();
    const auto entry =
        reinterpret_cast<EntryPoint>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    if (entry != nullptr) {
        Quietly(entry); // its answer is not looked at
    }
    FreeLibrary(module);
    return true;
}

} // namespace

bool FindFileNameFromCLSID(const GUID& clsid, std::string& path) {
    path.clear();
    wchar_t name[39] = {};
    if (StringFromGUID2(clsid, name, static_cast<int>(std::size(name))) == 0) {
        return false;
    }
    return AnswerOr(false, [&] { return FindFileNameFromCLSID(text::ToNarrow(name), path); });
}

bool FindFileNameFromCLSID(const std::string& clsid, std::string& path) {
    return AnswerOr(false, [&] {
        RegistryKey key;
        if (!key.OpenClass("CLSID\\" + clsid + "\\InprocServer32") &&
            !key.OpenClass("CLSID\\{083863F1-70DE-11d0-BD40-00A0C911CE86}\\Instance\\" + clsid +
                           "\\InprocServer32")) {
            return false;
        }
        return key.ReadDefault(path);
    });
}

bool RegisterServer(const char* path) {
    return CallEntryPoint(path, "DllRegisterServer");
}

bool UnregisterServer(const char* path) {
    return CallEntryPoint(path, "DllUnregisterServer");
}
