// A filter DLL that counts how often it was registered; it leaves its class in the registry
// with its own path as the server.
#include <windows.h>

namespace {

HMODULE g_module;

void CountCall(const char* name) {
    HKEY key = nullptr;
    if (RegCreateKeyExA(HKEY_CLASSES_ROOT, TOOLKIT_SERVER_KEY, 0, nullptr, 0, KEY_ALL_ACCESS,
                        nullptr, &key, nullptr) != ERROR_SUCCESS) {
        return;
    }
    DWORD count = 0;
    DWORD size = sizeof count;
    RegGetValueA(key, nullptr, name, RRF_RT_REG_DWORD, nullptr, &count, &size);
    ++count;
    RegSetValueExA(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&count), sizeof count);
    RegCloseKey(key);
}

} // namespace

extern "C" {

__declspec(dllexport) HRESULT STDAPICALLTYPE DllRegisterServer() {
    CountCall("Registered");
    return S_OK;
}

__declspec(dllexport) HRESULT STDAPICALLTYPE DllUnregisterServer() {
    CountCall("Unregistered");
    return E_FAIL;
}
}
