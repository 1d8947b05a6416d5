#include <gtest/gtest.h>

#include <windows.h>

#include <dshow.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include <ymlib/Log.h>
#include <ymlib/Module.h>

#include "ymlib_testmodule.h"

namespace ymlib {
namespace {

namespace fs = std::filesystem;

constexpr wchar_t kName[] = L"ymlib_testmodule.dll";
const std::wstring kRelative = std::wstring(L"ymlib_modules\\") + kName;

bool IsLoaded() {
    return GetModuleHandleW(kName) != nullptr;
}

class YmlibModule : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_FALSE(IsLoaded());
        m_sink = CLoger::GetLoger()->AddSink([this](const LogRecord& record) {
            m_records.push_back(fs::path(record.category).wstring() + L" " +
                                std::to_wstring(record.level) + L" " + record.text);
        });
    }
    void TearDown() override {
        CLoger::GetLoger()->RemoveSink(m_sink);
        EXPECT_FALSE(IsLoaded()) << "a module stayed behind";
    }

    unsigned m_sink = 0;
    std::vector<std::wstring> m_records; // "category level text"
};

TEST_F(YmlibModule, EverySpellingIsOneModule) {
    CModuleManager manager;
    CModule* const module = manager.LoadModule(kRelative, 0, 0);
    ASSERT_NE(nullptr, module) << manager.GetLastLoadError();
    EXPECT_EQ(GetModuleHandleW(kName), module->GetHandle());
    const fs::path full = module->GetPath();
    for (const std::wstring& spelling :
         {full.wstring(), full.generic_wstring(), L".\\" + kRelative,
          std::wstring(L"ymlib_modules/../YMLIB_modules//") + kName}) {
        EXPECT_EQ(module, manager.LoadModule(spelling, 0, 0)) << testing::PrintToString(spelling);
    }
    // A relative path means the host's directory, then the current one.
    const fs::path previous = fs::current_path();
    fs::current_path(full.parent_path());
    EXPECT_EQ(module, manager.LoadModule(kName, 0, 0));
    fs::current_path(previous);
    manager.RemoveAllModule();
    EXPECT_FALSE(IsLoaded()) << "loaded more than once";
    // Its static objects may log, also when it goes.
    EXPECT_EQ((std::vector<std::wstring>{L"testmodule 4 up 42", L"testmodule 4 down 42"}),
              m_records);
}

TEST_F(YmlibModule, ACopyKeepsWhatItShares) {
    CModuleManager first;
    CModule* const module = first.LoadModule(kRelative, 0, 0);
    {
        CModuleManager copy(first);
        first.RemoveAllModule();
        EXPECT_EQ(module, copy.LoadModule(kRelative, 0, 0));
        first = copy;
    }
    EXPECT_TRUE(IsLoaded());
}

TEST_F(YmlibModule, FailureIsLoggedWithItsCause) {
    const fs::path junk = fs::temp_directory_path() /
                          (L"ymlib_junk_" + std::to_wstring(GetCurrentProcessId()) + L".dll");
    std::ofstream(junk, std::ios::binary) << std::string(4096, 'x');

    CModuleManager manager;
    EXPECT_EQ(0u, manager.GetLastLoadError());
    const std::pair<std::wstring, DWORD> cases[] = {
        {L"no_such_module.dll", ERROR_MOD_NOT_FOUND},
        {L"C:\\no\\such\\module.dll", ERROR_MOD_NOT_FOUND},
        {L"", ERROR_INVALID_NAME},
        {std::wstring(L"a\0b", 3), ERROR_INVALID_NAME},
        {junk.wstring(), ERROR_BAD_EXE_FORMAT}};
    for (const auto& [path, error] : cases) {
        m_records.clear();
        EXPECT_EQ(nullptr, manager.LoadModule(path, 0, 0));
        EXPECT_EQ(error, manager.GetLastLoadError());
        ASSERT_EQ(1u, m_records.size());
        EXPECT_TRUE(m_records[0].starts_with(L"YMLib 8 Load Module FAILED : "));
        EXPECT_NE(m_records[0].find(L" (" + std::to_wstring(error) + L" : "), std::wstring::npos);
    }
    fs::remove(junk);
    for (int round = 0; round < 2; ++round) { // loaded anew, then known
        EXPECT_EQ(nullptr, manager.LoadModule(L"no_such_module.dll", 0, 0));
        EXPECT_NE(nullptr, manager.LoadModule(kRelative, 0, 0));
        EXPECT_EQ(0u, manager.GetLastLoadError());
    }
}

TEST_F(YmlibModule, GetClassObjectAnswers) {
    CModuleManager manager;
    CModule* const module = manager.LoadModule(kRelative, 0, 0);
    ASSERT_NE(nullptr, module);
    IReferenceClock* clock = nullptr;
    ASSERT_EQ(S_OK, module->GetClassObject(kTestClock, IID_PPV_ARGS(&clock)));
    const auto canUnload = [module] {
        return static_cast<HRESULT>(GetProcAddress(module->GetHandle(), "DllCanUnloadNow")());
    };
    EXPECT_EQ(S_FALSE, canUnload());
    EXPECT_EQ(0u, clock->Release()) << "one reference";
    EXPECT_EQ(S_OK, canUnload());

    EXPECT_EQ(E_POINTER, module->GetClassObject(kTestClock, __uuidof(IUnknown), nullptr));
    CModule* const plain = manager.LoadModule(L"ymlib_modules\\ymlib_testdependency.dll", 0, 0);
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
        {module, kTestThrows, __uuidof(IUnknown), E_UNEXPECTED},
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
