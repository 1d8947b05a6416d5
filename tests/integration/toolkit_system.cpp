// The toolkit over the system's own filters and graph, device enumerator, registry, loader and
// property frame.
#include "fakes/FakeTest.h"

#include <ocidl.h>

#include <ymdshow/GraphToolkit.h>

#include <filesystem>
#include <optional>
#include <string>

using namespace fakes;

namespace {

const GUID kClass = {0xb5f0c1a2, 0x6d0e, 0x4c3b, {0x9e, 0x43, 0x5f, 0x1d, 0x2a, 0x7c, 0x90, 0x01}};
const char kClassText[] = "{B5F0C1A2-6D0E-4C3B-9E43-5F1D2A7C9001}";
std::string g_entered; // the entry points of this module that were called

class System : public FakeTest {};

TEST_F(System, FiltersAreFoundInTheirCategory) {
    ComPtr<IBaseFilter> filter;
    GetFilterByCLSID(CLSID_LegacyAmFilterCategory, CLSID_VideoRenderer, filter.GetAddressOf());
    ASSERT_TRUE(filter);
    GUID clsid{};
    filter->GetClassID(&clsid);
    EXPECT_EQ(clsid, CLSID_VideoRenderer);
    wchar_t name[] = L"Video Renderer"; // of more than one class
    GetFilterByName(CLSID_LegacyAmFilterCategory, name, filter.ReleaseAndGetAddressOf());
    ASSERT_TRUE(filter);
    EXPECT_EQ(CheckFilterType(filter.Get()), DSFT_RENDER);
}

// The bytes of a key's default value; empty: without a value; absent: the key too.
using Value = std::optional<std::string>;

void SetServer(const std::string& key, const Value& value) {
    RegDeleteTreeA(HKEY_CLASSES_ROOT, (key + kClassText).c_str());
    if (value) {
        RegSetKeyValueA(HKEY_CLASSES_ROOT, (key + kClassText + "\\InprocServer32").c_str(),
                        value->empty() ? "other" : nullptr,
                        value->ends_with('\0') ? REG_SZ : REG_BINARY, value->data(),
                        static_cast<DWORD>(value->size()));
    }
}

TEST_F(System, ServerFileIsReadFromTheFirstKeyThatOpens) {
    using namespace std::string_literals;
    const Value a = "C:\\a.ax\0"s;
    const Value b = "C:\\b.ax\0"s;
    const std::string fits(259, 'p');
    const std::string full(260, 'p');
    const struct {
        Value first;
        Value second;
        Value path;
    } cases[] = {
        {a, {}, "C:\\a.ax"},
        {{}, b, "C:\\b.ax"},
        {a, b, "C:\\a.ax"},
        {"", b, {}}, // the first key opens, so that its missing value is the answer
        {"\0"s, b, ""},
        {"ab\0cd"s, {}, "ab"}, // of another type
        {fits + '\0', {}, fits},
        {full, {}, full},
        {full + '\0', b, {}},
        {{}, {}, {}},
    };
    for (const auto& [first, second, path] : cases) {
        SetServer("CLSID\\", first);
        SetServer("CLSID\\{083863F1-70DE-11d0-BD40-00A0C911CE86}\\Instance\\", second);
        std::string byText = "before";
        EXPECT_EQ(FindFileNameFromCLSID(std::string(kClassText), byText), path.has_value());
        EXPECT_EQ(byText, path.value_or("before"));
        std::string byGuid = "before";
        EXPECT_EQ(FindFileNameFromCLSID(kClass, byGuid), path.has_value());
        EXPECT_EQ(byGuid, path.value_or(""));
    }
}

TEST_F(System, EntryPointsOfAModuleAreCalled) {
    char self[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, self, MAX_PATH);
    EXPECT_TRUE(RegisterServer(self));
    EXPECT_TRUE(UnregisterServer(self));
    EXPECT_EQ(g_entered, "RU");
    // Needs a DLL that lies beside it, and has no entry points.
    const auto plain =
        std::filesystem::path(self).replace_filename("ymlib_modules") / "ymlib_testmodule.dll";
    EXPECT_TRUE(RegisterServer(plain.string().c_str()));
    EXPECT_TRUE(UnregisterServer(plain.string().c_str()));
    EXPECT_EQ(GetModuleHandleW(plain.c_str()), nullptr);
    for (const char* path : {"C:\\no such folder\\none.dll", "", "\\", "."}) {
        EXPECT_FALSE(RegisterServer(path) || UnregisterServer(path)) << path;
    }
    EXPECT_FALSE(RegisterServer(nullptr) || UnregisterServer(nullptr));
}

TEST_F(System, ModuleIsRegisteredWholeAndLeavesNothing) {
    char self[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, self, MAX_PATH);
    const std::string module =
        std::filesystem::path(self).replace_filename("filters\\ymdmedia.ax").string();
    wchar_t name[] = L"Media Video Decoder";
    CLSID clsid{};
    CLSIDFromString(L"{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C202}", &clsid);
    const GUID h264[] = {MEDIATYPE_Video,
                         {0x34363248, 0, 0x10, {0x80, 0, 0, 0xaa, 0, 0x38, 0x9b, 0x71}}};
    UnregisterServer(module.c_str()); // what a test that crashed has left
    for (const bool isRegistered : {true, false}) {
        EXPECT_TRUE((isRegistered ? RegisterServer : UnregisterServer)(module.c_str()));
        ComPtr<IBaseFilter> decoder;
        GetFilterByName(CLSID_LegacyAmFilterCategory, name, decoder.GetAddressOf());
        EXPECT_EQ(decoder != nullptr, isRegistered);
        std::string file;
        EXPECT_EQ(FindFileNameFromCLSID(clsid, file), isRegistered);
        EXPECT_EQ(file, isRegistered ? module : "");
        // Graphs find it by its types.
        ComPtr<IFilterMapper2> mapper;
        ComPtr<IEnumMoniker> matching;
        ComPtr<IMoniker> first;
        CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&mapper));
        mapper->EnumMatchingFilters(&matching, 0, TRUE, MERIT_NORMAL, TRUE, 1, h264, nullptr,
                                    nullptr, FALSE, TRUE, 0, nullptr, nullptr, nullptr);
        EXPECT_EQ(matching->Next(1, &first, nullptr) == S_OK, isRegistered);
    }
}

IUnknown* g_object = nullptr; // not referenced
std::wstring g_title;

// A page without a window, which closes its frame when it is shown.
class Page final : public FakeOf<IPropertyPage> {
public:
    Page() : FakeOf("page") {}
    HRESULT STDMETHODCALLTYPE GetPageInfo(PROPPAGEINFO* info) override {
        *info = PROPPAGEINFO{};
        info->size = {200, 100};
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetObjects(ULONG count, IUnknown** objects) override {
        g_object = count == 1 ? objects[0] : g_object;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Activate(HWND window, LPCRECT, BOOL) override {
        m_frame = GetAncestor(window, GA_ROOT);
        PostMessageW(m_frame, WM_CLOSE, 0, 0);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Deactivate() override {
        wchar_t text[64] = {};
        GetWindowTextW(m_frame, text, 64);
        g_title = text;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetPageSite(IPropertyPageSite*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Show(UINT) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Move(LPCRECT) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE IsPageDirty() override { return S_FALSE; }
    HRESULT STDMETHODCALLTYPE Apply() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Help(LPCOLESTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE TranslateAccelerator(MSG*) override { return S_FALSE; }

private:
    HWND m_frame = nullptr;
};

TEST_F(System, PropertyPageIsShownUntilTheUserClosesIt) {
    const FakeClass pages("page", kClass, [] { return Adopt<IUnknown>(new Page()); });
    const auto filter = MakeFilter("Equaliser", {In(), Out()});
    filter->propertyPages.present = true;
    filter->propertyPages.pages = {kClass};
    EXPECT_EQ(ShowPropertyPage(filter.Get(), GetDesktopWindow()), 1);
    EXPECT_EQ(AsFake(g_object), filter.Get());
    EXPECT_NE(g_title.find(L"Equaliser"), std::wstring::npos);

    filter->propertyPages.results["GetPages"] = Do(E_FAIL);
    for (const std::size_t n : {1, 2, 9}) { // the calls before GetPages, then it alone
        const FaultPlan plan(n, E_FAIL);
        EXPECT_EQ(ShowPropertyPage(filter.Get(), nullptr), 0) << plan.Where();
    }
    // An exception of the filter's is told by a value that is not zero.
    filter->propertyPages.results["GetPages"] = kThrows;
    EXPECT_EQ(ShowPropertyPage(filter.Get(), nullptr), E_FAIL);
}

} // namespace

// Their answers are not told.
extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllRegisterServer() {
    g_entered += 'R';
    return E_FAIL;
}
extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllUnregisterServer() {
    g_entered += 'U';
    return E_FAIL;
}
