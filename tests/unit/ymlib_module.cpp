#include <gtest/gtest.h>

#include <windows.h>

#include <dshow.h>
#include <wrl/client.h>

#include <string>
#include <vector>

#include <ymlib/Log.h>
#include <ymlib/Module.h>

#include "ymlib_testmodule.h"

namespace ymlib {
namespace {

using Microsoft::WRL::ComPtr;

constexpr wchar_t kName[] = L"ymlib_testmodule.dll";
const std::wstring kRelative = std::wstring(L"ymlib_modules\\") + kName;

std::wstring HostDirectory() {
    wchar_t path[MAX_PATH];
    std::wstring directory(path, GetModuleFileNameW(nullptr, path, MAX_PATH));
    return directory.substr(0, directory.find_last_of(L'\\') + 1);
}

bool IsLoaded() {
    return GetModuleHandleW(kName) != nullptr;
}

class YmlibModule : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_FALSE(IsLoaded());
        m_sink = CLoger::GetLoger()->AddSink([this](const LogRecord& record) {
            m_records.push_back(std::string(record.category) + " " + std::to_string(record.level));
            m_texts.push_back(record.text);
        });
    }
    void TearDown() override {
        CLoger::GetLoger()->RemoveSink(m_sink);
        EXPECT_FALSE(IsLoaded()) << "a module stayed behind";
    }

    unsigned m_sink = 0;
    std::vector<std::string> m_records;
    std::vector<std::wstring> m_texts;
};

TEST_F(YmlibModule, EverySpellingIsOneModule) {
    CModuleManager manager;
    const std::wstring full = HostDirectory() + kRelative;
    CModule* const module = manager.LoadModule(full, 0, 0);
    ASSERT_NE(nullptr, module) << manager.GetLastLoadError();
    EXPECT_EQ(GetModuleHandleW(kName), module->GetHandle());
    std::wstring upper = full;
    CharUpperBuffW(upper.data(), static_cast<DWORD>(upper.size()));
    std::wstring slashes = full;
    for (wchar_t& character : slashes) {
        character = character == L'\\' ? L'/' : character;
    }
    for (const std::wstring& spelling : {full, upper, slashes, kRelative, L".\\" + kRelative,
                                         std::wstring(L"ymlib_modules/../YMLIB_modules//") + kName,
                                         full.substr(0, full.size() - 4) + L".DLL"}) {
        EXPECT_EQ(module, manager.LoadModule(spelling, 0, 0)) << testing::PrintToString(spelling);
    }
    manager.RemoveAllModule();
    EXPECT_FALSE(IsLoaded()) << "loaded more than once";
}

TEST_F(YmlibModule, ACopyKeepsWhatItShares) {
    CModuleManager first;
    CModule* const module = first.LoadModule(kRelative, 0, 0);
    ASSERT_NE(nullptr, module);
    {
        CModuleManager copy(first);
        first.RemoveAllModule();
        EXPECT_TRUE(IsLoaded());
        EXPECT_EQ(module, copy.LoadModule(kRelative, 0, 0));
        first = copy;
    }
    EXPECT_TRUE(IsLoaded());
    EXPECT_EQ(module, first.LoadModule(kRelative, 0, 0));
    first = CModuleManager();
    EXPECT_FALSE(IsLoaded());
}

TEST_F(YmlibModule, ModulesLogFromTheirStaticObjects) {
    CModuleManager manager;
    ASSERT_NE(nullptr, manager.LoadModule(kRelative, 0, 0));
    manager.RemoveAllModule();
    EXPECT_EQ((std::vector<std::wstring>{L"up 42", L"down 42"}), m_texts);
}

TEST_F(YmlibModule, FailureIsLoggedWithItsCause) {
    wchar_t directory[MAX_PATH];
    GetTempPathW(MAX_PATH, directory);
    const std::wstring junk =
        directory + (L"ymlib_junk_" + std::to_wstring(GetCurrentProcessId()) + L".dll");
    const HANDLE file =
        CreateFileW(junk.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    const std::string bytes(4096, 'x');
    WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    CloseHandle(file);

    CModuleManager manager;
    EXPECT_EQ(0u, manager.GetLastLoadError());
    const struct {
        std::wstring path;
        DWORD error;
    } cases[] = {{L"no_such_module.dll", ERROR_MOD_NOT_FOUND},
                 {L"C:\\no\\such\\module.dll", ERROR_MOD_NOT_FOUND},
                 {L"", ERROR_INVALID_NAME},
                 {std::wstring(L"a\0b", 3), ERROR_INVALID_NAME},
                 {junk, ERROR_BAD_EXE_FORMAT}};
    for (const auto& [path, error] : cases) {
        m_records.clear();
        m_texts.clear();
        EXPECT_EQ(nullptr, manager.LoadModule(path, 0, 0));
        EXPECT_EQ(error, manager.GetLastLoadError());
        ASSERT_EQ(1u, m_records.size());
        EXPECT_EQ("YMLib 8", m_records[0]);
        EXPECT_NE(std::wstring::npos, m_texts[0].find(L"(" + std::to_wstring(error) + L" : "))
            << testing::PrintToString(m_texts[0]);
    }
    DeleteFileW(junk.c_str());
    ASSERT_NE(nullptr, manager.LoadModule(kRelative, 0, 0));
    EXPECT_EQ(0u, manager.GetLastLoadError());
}

TEST_F(YmlibModule, RelativePathsMeanTheHostThenTheCurrentDirectory) {
    wchar_t previous[MAX_PATH];
    GetCurrentDirectoryW(MAX_PATH, previous);
    const std::wstring modules = HostDirectory() + L"ymlib_modules";
    SetCurrentDirectoryW(modules.c_str());
    CModuleManager manager;
    CModule* const here = manager.LoadModule(kName, 0, 0);
    EXPECT_NE(nullptr, here);
    EXPECT_EQ(here, manager.LoadModule(kRelative, 0, 0));
    SetCurrentDirectoryW(previous);
}

TEST_F(YmlibModule, GetClassObjectAnswers) {
    CModuleManager manager;
    CModule* const module = manager.LoadModule(kRelative, 0, 0);
    ASSERT_NE(nullptr, module);
    ComPtr<IReferenceClock> clock;
    ASSERT_EQ(S_OK, module->GetClassObject(kTestClock, IID_PPV_ARGS(&clock)));
    using CanUnload = HRESULT(STDAPICALLTYPE*)();
    const auto canUnload = reinterpret_cast<CanUnload>(
        reinterpret_cast<void*>(GetProcAddress(module->GetHandle(), "DllCanUnloadNow")));
    ASSERT_NE(nullptr, canUnload);
    EXPECT_EQ(S_FALSE, canUnload());
    EXPECT_EQ(0u, clock.Reset()) << "one reference";
    EXPECT_EQ(S_OK, canUnload());

    EXPECT_EQ(E_POINTER, module->GetClassObject(kTestClock, __uuidof(IUnknown), nullptr));
    CModule* const plain = manager.LoadModule(L"ymlib_modules\\ymlib_testdependency.dll", 0, 0);
    ASSERT_NE(nullptr, plain);
    CModule none(nullptr, L"");
    const struct {
        CModule* module;
        GUID clsid, iid;
        HRESULT expected;
    } cases[] = {
        {module, __uuidof(IBaseFilter), __uuidof(IUnknown), CLASS_E_CLASSNOTAVAILABLE},
        {module, kTestClock, __uuidof(IBaseFilter), E_NOINTERFACE},
        {module, kTestClaimsSuccess, __uuidof(IUnknown), E_FAIL},
        {module, kTestLeavesGarbage, __uuidof(IUnknown), E_ACCESSDENIED},
        {plain, kTestClock, __uuidof(IUnknown), E_FAIL},
        {&none, kTestClock, __uuidof(IUnknown), E_FAIL},
    };
    for (const auto& test : cases) {
        void* out = &out;
        EXPECT_EQ(test.expected, test.module->GetClassObject(test.clsid, test.iid, &out));
        EXPECT_EQ(nullptr, out);
    }
    EXPECT_EQ(S_OK, canUnload());
}

} // namespace
} // namespace ymlib
