// What the toolkit reads from the registry, with keys that the tests make and remove, and
// the registration of DLLs.
#include "toolkit_server.h"

#include <windows.h>

#include <dshow.h>
#include <gtest/gtest.h>

#include <ymdshow/GraphToolkit.h>

#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

const char kClass[] = "{B5F0C1A2-6D0E-4C3B-9E43-5F1D2A7C9001}";
const GUID kClassId = {
    0xb5f0c1a2, 0x6d0e, 0x4c3b, {0x9e, 0x43, 0x5f, 0x1d, 0x2a, 0x7c, 0x90, 0x01}};
const std::string kFirst = std::string("CLSID\\") + kClass;
const std::string kSecond =
    std::string("CLSID\\{083863F1-70DE-11d0-BD40-00A0C911CE86}\\Instance\\") + kClass;

void RemoveKey(const std::string& path) {
    RegDeleteTreeA(HKEY_CLASSES_ROOT, path.c_str());
    RegDeleteKeyA(HKEY_CLASSES_ROOT, path.c_str());
}

void SetValue(const std::string& path, DWORD type, const std::string& bytes) {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_CLASSES_ROOT, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr,
                              &key, nullptr),
              ERROR_SUCCESS);
    if (type != REG_NONE) {
        EXPECT_EQ(RegSetValueExA(key, nullptr, 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                                 static_cast<DWORD>(bytes.size())),
                  ERROR_SUCCESS);
    }
    RegCloseKey(key);
}

// ---- FindFileNameFromCLSID ------------------------------------------------------------

// A key of the two; one of type REG_NONE has no value.
struct Entry {
    bool present = false;
    DWORD type = REG_NONE;
    std::string bytes;
};

Entry Value(DWORD type, std::string bytes) {
    return {true, type, std::move(bytes)};
}
Entry Text(const std::string& text) {
    return Value(REG_SZ, text + '\0');
}

TEST(ServerFile, IsReadFromTheFirstKeyThatOpens) {
    const Entry a = Text("C:\\a.ax");
    const Entry b = Text("C:\\b.ax");
    const std::string fits(259, 'p');
    const std::string full(260, 'p');
    const struct {
        const char* name;
        Entry first;
        Entry second;
        std::optional<std::string> path;
    } cases[] = {
        {"nowhere", {}, {}, {}},
        {"first", a, {}, "C:\\a.ax"},
        {"second", {}, b, "C:\\b.ax"},
        {"both", a, b, "C:\\a.ax"},
        // The first key opens, so that its missing value is the answer.
        {"value missing", Value(REG_NONE, ""), b, {}},
        {"empty text", Text(""), b, ""},
        {"not expanded", Value(REG_EXPAND_SZ, "%windir%\\a.ax"), {}, "%windir%\\a.ax"},
        {"number", Value(REG_DWORD, std::string("ab\0\0", 4)), {}, "ab"},
        {"many strings", Value(REG_MULTI_SZ, std::string("a.ax\0b.ax\0\0", 11)), b, "a.ax"},
        {"259 bytes and zero", Text(fits), {}, fits},
        {"260 bytes without zero", Value(REG_BINARY, full), {}, full},
        {"261 bytes", Text(full), b, {}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        for (const auto& [key, entry] : {std::pair(kFirst, test.first), {kSecond, test.second}}) {
            RemoveKey(key);
            if (entry.present) {
                SetValue(key + "\\InprocServer32", entry.type, entry.bytes);
            }
        }
        std::string byText = "before";
        EXPECT_EQ(FindFileNameFromCLSID(std::string(kClass), byText), test.path.has_value());
        EXPECT_EQ(byText, test.path.value_or("before"));
        std::string byGuid = "before";
        EXPECT_EQ(FindFileNameFromCLSID(kClassId, byGuid), test.path.has_value());
        EXPECT_EQ(byGuid, test.path.value_or(""));
    }
    RemoveKey(kFirst);
    RemoveKey(kSecond);
}

// ---- RegisterServer -------------------------------------------------------------------

std::string BesideTest(const char* file) {
    char path[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    std::string folder(path);
    return folder.substr(0, folder.find_last_of("\\/") + 1) + file;
}

class Server : public testing::Test {
protected:
    // The DLL's entry points add to these values of its class.
    static DWORD Calls(const char* name) {
        DWORD count = 0;
        DWORD size = sizeof count;
        RegGetValueA(HKEY_CLASSES_ROOT, kServerKey, name, RRF_RT_REG_DWORD, nullptr, &count, &size);
        return count;
    }
    void SetUp() override { RemoveKey(kServerKey); }
    void TearDown() override { RemoveKey(kServerKey); }
};

TEST_F(Server, CallsTheEntryPointAndUnloadsTheDll) {
    const std::string dll = BesideTest(kServerDll);
    EXPECT_TRUE(RegisterServer(dll.c_str()));
    EXPECT_EQ(Calls("Registered"), 1u);
    EXPECT_EQ(Calls("Unregistered"), 0u);
    EXPECT_EQ(GetModuleHandleA(dll.c_str()), nullptr);

    // The filter is registered.
    std::string server;
    EXPECT_TRUE(FindFileNameFromCLSID(kServerClass, server));
    EXPECT_EQ(server.substr(server.find_last_of("\\/") + 1), kServerDll);
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    IBaseFilter* filter = nullptr;
    GetFilterByCLSID(kServerClass, &filter);
    EXPECT_EQ(CheckFilterType(filter), DSFT_TRANSFORM);
    if (filter) {
        filter->Release();
    }
    CoUninitialize(); // unloads the DLL

    // Its answer is E_FAIL, which nobody sees.
    EXPECT_TRUE(UnregisterServer(dll.c_str()));
    EXPECT_EQ(Calls("Registered"), 1u);
    EXPECT_EQ(Calls("Unregistered"), 1u);
    EXPECT_EQ(GetModuleHandleA(dll.c_str()), nullptr);
}

TEST_F(Server, NeedsADllButNoEntryPoints) {
    const std::string plain = BesideTest(kPlainDll);
    EXPECT_TRUE(RegisterServer(plain.c_str()));
    EXPECT_TRUE(UnregisterServer(plain.c_str()));
    EXPECT_EQ(GetModuleHandleA(plain.c_str()), nullptr);
    const std::string junk = BesideTest("toolkit_junk.dll");
    std::ofstream(junk, std::ios::binary) << "MZ and nothing of a DLL behind it";
    for (const char* path : {junk.c_str(), "C:\\no such folder\\none.dll", "", "\\", "."}) {
        EXPECT_FALSE(RegisterServer(path)) << path;
        EXPECT_FALSE(UnregisterServer(path)) << path;
    }
    EXPECT_FALSE(RegisterServer(nullptr));
    EXPECT_FALSE(UnregisterServer(nullptr));
    std::remove(junk.c_str());
}

} // namespace
