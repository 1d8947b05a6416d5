// A DLL with one small filter. Built twice: with the entry points that register it, which
// also count their calls, and without them.
#include "BaseClasses/FilterModule.h"
#include "fakes/FakeFilter.h"
#include "toolkit_server.h"

#include <new>

namespace {

HRESULT MakeGain(IUnknown*, REFIID iid, void** out) {
    return fakes::MakeFilter("Gain", {fakes::In(fakes::Audio()), fakes::Out(fakes::Audio())})
        ->QueryInterface(iid, out);
}

const ymdshow::ClassObject kClasses[] = {{&kServerClass, L"Gain", &MakeGain}};

} // namespace

YMD_FILTER_MODULE(kClasses)

#if defined(TOOLKIT_REGISTERS)
namespace {

void CountCall(const char* name) {
    DWORD count = 0;
    DWORD size = sizeof count;
    RegGetValueA(HKEY_CLASSES_ROOT, kServerKey, name, RRF_RT_REG_DWORD, nullptr, &count, &size);
    ++count;
    RegSetKeyValueA(HKEY_CLASSES_ROOT, kServerKey, name, REG_DWORD, &count, sizeof count);
}

} // namespace

YMD_MODULE_ENTRY HRESULT STDAPICALLTYPE DllRegisterServer() {
    HMODULE self = nullptr;
    char path[MAX_PATH] = {};
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<const char*>(&CountCall), &self);
    const DWORD length = GetModuleFileNameA(self, path, MAX_PATH);
    const std::string key = std::string(kServerKey) + "\\InprocServer32";
    RegSetKeyValueA(HKEY_CLASSES_ROOT, key.c_str(), nullptr, REG_SZ, path, length + 1);
    RegSetKeyValueA(HKEY_CLASSES_ROOT, key.c_str(), "ThreadingModel", REG_SZ, "Both", 5);
    CountCall("Registered");
    return S_OK;
}

YMD_MODULE_ENTRY HRESULT STDAPICALLTYPE DllUnregisterServer() {
    CountCall("Unregistered");
    return E_FAIL;
}
#endif
