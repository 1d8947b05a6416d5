#include "MediaInfoBinding/MediaInfoLibrary.h"

#include <windows.h>

#include <mutex>

namespace ymdshow::mediainfo {
namespace {

// The library's published dynamic-loading interface. One that lacks any of these names is
// another library or too old to be trusted.
constexpr const char* kRequiredNames[] = {
    "MediaInfoA_New",
    "MediaInfoListA_New",
    "MediaInfoA_Delete",
    "MediaInfoListA_Delete",
    "MediaInfoA_Open",
    "MediaInfoListA_Open",
    "MediaInfoA_Open_Buffer_Init",
    "MediaInfoA_Open_Buffer_Continue",
    "MediaInfoA_Open_Buffer_Continue_GoTo_Get",
    "MediaInfoA_Open_Buffer_Finalize",
    "MediaInfoA_Open_NextPacket",
    "MediaInfoA_Close",
    "MediaInfoListA_Close",
    "MediaInfoA_Inform",
    "MediaInfoListA_Inform",
    "MediaInfoA_GetI",
    "MediaInfoListA_GetI",
    "MediaInfoA_Get",
    "MediaInfoListA_Get",
    "MediaInfoA_Output_Buffer_Get",
    "MediaInfoA_Output_Buffer_GetI",
    "MediaInfoA_Option",
    "MediaInfoListA_Option",
    "MediaInfoA_State_Get",
    "MediaInfoListA_State_Get",
    "MediaInfoA_Count_Get",
    "MediaInfoListA_Count_Get",
    "MediaInfoListA_Count_Get_Files",
};

struct Binding {
    std::mutex mutex;
    EntryPoints entryPoints;
    unsigned loads = 0;
};

/// Constructed on first use, so that a host may read media before the statics of this
/// library's other files exist, and never destroyed: a thread may outlive `main`.
Binding& TheBinding() {
    static Binding* const binding = new Binding;
    return *binding;
}

/// A damaged library file must fail the load, not open the system's error box.
class QuietLoadErrors {
public:
    QuietLoadErrors() {
        SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &m_previous);
    }
    ~QuietLoadErrors() { SetThreadErrorMode(m_previous, nullptr); }
    QuietLoadErrors(const QuietLoadErrors&) = delete;
    QuietLoadErrors& operator=(const QuietLoadErrors&) = delete;

private:
    DWORD m_previous = 0;
};

template <class Function> void Resolve(HMODULE module, const char* name, Function& function) {
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

bool ResolveAll(HMODULE module, EntryPoints& entryPoints) {
    for (const char* name : kRequiredNames) {
        if (GetProcAddress(module, name) == nullptr) {
            return false;
        }
    }
    Resolve(module, "MediaInfoA_New", entryPoints.create);
    Resolve(module, "MediaInfoA_Delete", entryPoints.destroy);
    Resolve(module, "MediaInfoA_Open", entryPoints.open);
    Resolve(module, "MediaInfoA_Close", entryPoints.close);
    Resolve(module, "MediaInfoA_Inform", entryPoints.inform);
    Resolve(module, "MediaInfoA_Get", entryPoints.get);
    Resolve(module, "MediaInfoA_Option", entryPoints.option);
    Resolve(module, "MediaInfoA_Count_Get", entryPoints.countGet);
    return true;
}

} // namespace

const EntryPoints* Load() {
    Binding& binding = TheBinding();
    const std::lock_guard lock(binding.mutex);
    if (binding.loads == 0) {
        const QuietLoadErrors quiet;
        const HMODULE module = LoadLibraryA("MediaInfo.dll");
        if (module == nullptr) {
            return nullptr;
        }
        if (!ResolveAll(module, binding.entryPoints)) {
            FreeLibrary(module);
            return nullptr;
        }
    }
    ++binding.loads;
    return &binding.entryPoints;
}

unsigned LoadCount() {
    Binding& binding = TheBinding();
    const std::lock_guard lock(binding.mutex);
    return binding.loads;
}

const std::string& LoadFailureText() {
    static const std::string text = "Unable to load MediaInfo.dll";
    return text;
}

} // namespace ymdshow::mediainfo
