#pragma once

#include <windows.h>

#include <map>
#include <memory>
#include <string>

#include <ymlib/Export.h>
#include <ymlib/Lock.h>

#if defined(_MSC_VER)
#pragma warning(push)
#pragma warning(disable : 4251) // standard containers as private members
#endif

namespace ymlib {

/// A loaded DLL that makes COM objects through its DllGetClassObject. Stays loaded as
/// long as this object.
class YMLIB_API CModule {
public:
    CModule(HMODULE handle, std::wstring path);
    CModule(const CModule&) = delete;
    CModule& operator=(const CModule&) = delete;
    ~CModule();

    /// Makes an object of class `clsid` and returns its interface `iid` in `*out` with
    /// one reference, null on failure. E_POINTER for a null `out`, E_FAIL without the
    /// entry point or when the module claims success without an object, E_UNEXPECTED when
    /// it throws, else what it answers.
    HRESULT GetClassObject(const GUID& clsid, const GUID& iid, void** out);

    HMODULE GetHandle() const;

    /// The full path it was loaded from.
    const std::wstring& GetPath() const;

private:
    HMODULE m_handle;
    std::wstring m_path;
};

/// Loads each DLL once and keeps it. A copy shares the loaded modules; each stays
/// loaded until the last manager that lists it lets it go. Safe to use from several
/// threads, but that GetLastLoadError tells of the last LoadModule of any of them.
class YMLIB_API CModuleManager {
public:
    CModuleManager();
    CModuleManager(const CModuleManager& other);
    CModuleManager& operator=(const CModuleManager& other);
    ~CModuleManager();

    /// The module at `path`, loaded on first use; null when it cannot be loaded (logged
    /// with the Windows error under the category "YMLib"; see GetLastLoadError). A
    /// relative path is looked up beside the host program, then in the current
    /// directory. The module stays the manager's. Both integers are reserved: pass 0.
    CModule* LoadModule(const std::wstring& path, int reserved1, int reserved2);

    /// Lets every module go. Objects made from them must have been released.
    void RemoveAllModule();

    /// The Windows error when the last LoadModule gave null, else 0.
    DWORD GetLastLoadError() const;

private:
    std::shared_ptr<CModule> Load(const std::wstring& fullPath);

    mutable CLock m_lock;
    std::map<std::wstring, std::shared_ptr<CModule>> m_modules; // by full path, case folded
    DWORD m_lastError = 0;
};

} // namespace ymlib

#if defined(_MSC_VER)
#pragma warning(pop)
#endif
