#include <ymlib/Module.h>

#include <unknwn.h>

#include <algorithm>
#include <utility>

#include <ymlib/Log.h>

namespace ymlib {
namespace {

/// Calls a Windows path function that answers with the length it needs.
template <class Query> std::wstring QueryPath(Query query) {
    std::wstring text(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = query(text.data(), static_cast<DWORD>(text.size()));
        if (length < text.size()) {
            text.resize(length);
            return text;
        }
        // GetModuleFileNameW answers the size it was given when that was too small.
        text.resize(std::max<std::size_t>(length, text.size() * 2));
    }
}

std::wstring FullPath(const std::wstring& path) {
    return QueryPath([&](wchar_t* text, DWORD size) {
        return GetFullPathNameW(path.c_str(), size, text, nullptr);
    });
}

std::wstring HostDirectory() {
    std::wstring path = QueryPath(
        [](wchar_t* text, DWORD size) { return GetModuleFileNameW(nullptr, text, size); });
    path.resize(path.find_last_of(L"\\/") + 1);
    return path;
}

bool IsFile(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

/// Full, with long names and backslashes.
std::wstring Locate(const std::wstring& path) {
    const bool isRooted =
        path[0] == L'\\' || path[0] == L'/' || (path.size() > 1 && path[1] == L':');
    std::wstring full;
    if (!isRooted) {
        full = FullPath(HostDirectory() + path);
    }
    if (full.empty() || !IsFile(full)) {
        full = FullPath(path);
    }
    const std::wstring longForm = QueryPath(
        [&](wchar_t* text, DWORD size) { return GetLongPathNameW(full.c_str(), text, size); });
    return longForm.empty() ? full : longForm;
}

std::wstring FoldCase(const std::wstring& path) {
    std::wstring folded(path.size(), L'\0');
    LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_UPPERCASE, path.data(),
                  static_cast<int>(path.size()), folded.data(), static_cast<int>(folded.size()),
                  nullptr, nullptr, 0);
    return folded;
}

std::wstring ErrorText(DWORD error) {
    wchar_t text[512] = L"";
    DWORD length =
        FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error,
                       0, text, static_cast<DWORD>(std::size(text)), nullptr);
    while (length > 0 && text[length - 1] <= L' ') {
        --length;
    }
    return {text, length};
}

void LogLoadFailure(const std::wstring& path, DWORD error) {
    CLoger* const loger = CLoger::GetLoger();
    if (CLogCategory* const category = loger->GetCategory("YMLib"); category != nullptr) {
        category->Log(LOG_WARNING, "ymlib/Module.cpp", __LINE__,
                      "ymlib::CModuleManager::LoadModule", L"Load Module FAILED : %s (%lu : %s)",
                      path.c_str(), error, ErrorText(error).c_str());
    }
}

/// Loads without the message boxes that Windows shows for a damaged file.
HMODULE LoadQuietly(const std::wstring& path, DWORD& error) {
    DWORD previousMode = 0;
    const BOOL isModeSet = SetThreadErrorMode(
        SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX | SEM_NOGPFAULTERRORBOX, &previousMode);
    // The altered search finds the module's own dependencies beside it.
    const HMODULE handle = LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    error = handle == nullptr ? GetLastError() : ERROR_SUCCESS;
    if (isModeSet) {
        SetThreadErrorMode(previousMode, nullptr);
    }
    return handle;
}

/// What a module throws is a failure like others.
template <class Call> HRESULT AnswerOf(Call call) {
    try {
        return call();
    } catch (...) {
        return E_UNEXPECTED;
    }
}

} // namespace

CModule::CModule(HMODULE handle, std::wstring path) : m_handle(handle), m_path(std::move(path)) {}

CModule::~CModule() {
    if (m_handle != nullptr) {
        FreeLibrary(m_handle);
    }
}

HRESULT CModule::GetClassObject(const GUID& clsid, const GUID& iid, void** out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    *out = nullptr;
    using GetClassObjectFunction = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
    const FARPROC entry =
        m_handle != nullptr ? GetProcAddress(m_handle, "DllGetClassObject") : nullptr;
    if (entry == nullptr) {
        return E_FAIL;
    }
    const auto getClassObject =
        reinterpret_cast<GetClassObjectFunction>(reinterpret_cast<void*>(entry));
    void* object = nullptr;
    HRESULT hr = AnswerOf([&] { return getClassObject(clsid, __uuidof(IClassFactory), &object); });
    if (FAILED(hr) || object == nullptr) {
        return FAILED(hr) ? hr : E_FAIL;
    }
    auto* const factory = static_cast<IClassFactory*>(object);
    hr = AnswerOf([&] { return factory->CreateInstance(nullptr, iid, out); });
    factory->Release();
    if (FAILED(hr)) {
        *out = nullptr;
    } else if (*out == nullptr) {
        hr = E_FAIL;
    }
    return hr;
}

HMODULE CModule::GetHandle() const {
    return m_handle;
}

const std::wstring& CModule::GetPath() const {
    return m_path;
}

CModuleManager::CModuleManager() = default;

CModuleManager::CModuleManager(const CModuleManager& other) {
    const CYMAutoLock lock(other.m_lock);
    m_modules = other.m_modules;
    m_lastError = other.m_lastError;
}

CModuleManager& CModuleManager::operator=(const CModuleManager& other) {
    CModuleManager copy(other);
    const CYMAutoLock lock(m_lock);
    m_modules.swap(copy.m_modules);
    m_lastError = copy.m_lastError;
    return *this;
}

CModuleManager::~CModuleManager() = default;

CModule* CModuleManager::LoadModule(const std::wstring& path, int, int) {
    const CYMAutoLock lock(m_lock);
    m_lastError = ERROR_SUCCESS;
    try {
        if (path.empty() || path.find(L'\0') != std::wstring::npos) {
            m_lastError = ERROR_INVALID_NAME;
            LogLoadFailure(path, m_lastError);
            return nullptr;
        }
        const std::wstring fullPath = Locate(path);
        std::wstring key = FoldCase(fullPath);
        if (const auto known = m_modules.find(key); known != m_modules.end()) {
            return known->second.get();
        }
        std::shared_ptr<CModule> module = Load(fullPath);
        if (module == nullptr) {
            LogLoadFailure(fullPath, m_lastError);
            return nullptr;
        }
        return m_modules.emplace(std::move(key), std::move(module)).first->second.get();
    } catch (...) {
        m_lastError = ERROR_NOT_ENOUGH_MEMORY;
        return nullptr;
    }
}

std::shared_ptr<CModule> CModuleManager::Load(const std::wstring& fullPath) {
    const HMODULE handle = LoadQuietly(fullPath, m_lastError);
    if (handle == nullptr) {
        return nullptr;
    }
    struct LoaderReference {
        void operator()(HMODULE module) const { FreeLibrary(module); }
    };
    std::unique_ptr<std::remove_pointer_t<HMODULE>, LoaderReference> reference(handle);
    // A link or a substituted drive can lead to a file that is loaded already.
    for (const auto& [key, module] : m_modules) {
        if (module->GetHandle() == handle) {
            return module;
        }
    }
    auto module = std::make_shared<CModule>(handle, fullPath);
    reference.release();
    return module;
}

void CModuleManager::RemoveAllModule() {
    std::map<std::wstring, std::shared_ptr<CModule>> leaving;
    const CYMAutoLock lock(m_lock);
    m_modules.swap(leaving);
}

DWORD CModuleManager::GetLastLoadError() const {
    const CYMAutoLock lock(m_lock);
    return m_lastError;
}

} // namespace ymlib
