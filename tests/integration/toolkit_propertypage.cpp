// ShowPropertyPage with a real page in the system's frame, which a timer closes.
#include "fakes/FakeFilter.h"
#include "fakes/FakeTest.h"

#include <gtest/gtest.h>
#include <ocidl.h>
#include <olectl.h>

#include <ymdshow/GraphToolkit.h>

#include <stdexcept>
#include <string>

namespace {

using namespace fakes;

const GUID kPageClass = {
    0xb5f0c1a2, 0x6d0e, 0x4c3b, {0x9e, 0x43, 0x5f, 0x1d, 0x2a, 0x7c, 0x90, 0x05}};

// What the page and its frame were told.
struct PageLog {
    int shown = 0;
    ULONG objects = 0;
    bool isFilter = false;
    std::wstring title;
};
PageLog g_log;

// A page without a window.
class Page final : public FakeCom<IPropertyPage> {
public:
    Page() : FakeCom("page") {}
    IUnknown* FindInterface(REFIID iid) override {
        return iid == IID_IUnknown || iid == IID_IPropertyPage ? this : nullptr;
    }
    HRESULT STDMETHODCALLTYPE GetPageInfo(PROPPAGEINFO* info) override {
        *info = PROPPAGEINFO{};
        info->pszTitle = static_cast<LPOLESTR>(CoTaskMemAlloc(sizeof L"Page"));
        wcscpy(info->pszTitle, L"Page");
        info->size = {200, 100};
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetObjects(ULONG count, IUnknown** objects) override {
        if (count > 0) {
            g_log.objects = count;
            g_log.isFilter = AsFake<FakeFilter>(objects[0]) != nullptr;
        }
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Show(UINT command) override {
        g_log.shown += command != SW_HIDE ? 1 : 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetPageSite(IPropertyPageSite*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Activate(HWND, LPCRECT, BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Deactivate() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Move(LPCRECT) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE IsPageDirty() override { return S_FALSE; }
    HRESULT STDMETHODCALLTYPE Apply() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Help(LPCOLESTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE TranslateAccelerator(MSG*) override { return S_FALSE; }
};

BOOL CALLBACK CloseFrame(HWND window, LPARAM) {
    wchar_t text[64] = {};
    GetClassNameW(window, text, 64);
    if (std::wstring(text) != L"#32770" || g_log.shown == 0) {
        return TRUE;
    }
    GetWindowTextW(window, text, 64);
    g_log.title = text;
    PostMessageW(window, WM_CLOSE, 0, 0);
    return FALSE;
}

void CALLBACK CloseFrames(HWND, UINT, UINT_PTR, DWORD) {
    EnumThreadWindows(GetCurrentThreadId(), &CloseFrame, 0);
}

class PropertyPage : public FakeTest {
protected:
    PropertyPage() { g_log = {}; }
    ~PropertyPage() override { KillTimer(nullptr, m_timer); }
    static ComPtr<FakeFilter> WithPages() {
        const auto filter = MakeFilter("Equaliser", {In(), Out()});
        filter->propertyPages.present = true;
        filter->propertyPages.pages = {kPageClass};
        return filter;
    }

private:
    FakeClass m_class{"page", kPageClass, [] { return Adopt<IUnknown>(new Page()); }};
    UINT_PTR m_timer = SetTimer(nullptr, 0, 20, &CloseFrames);
};

TEST_F(PropertyPage, IsShownUntilTheUserClosesIt) {
    const auto filter = WithPages();
    HWND parent = CreateWindowExW(0, L"STATIC", L"host", WS_OVERLAPPEDWINDOW, 0, 0, 300, 200,
                                  nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(ShowPropertyPage(filter.Get(), parent), 1);
    EXPECT_EQ(journal.Matching("Equaliser.*"),
              (Lines{"Equaliser.QueryFilterInfo", "Equaliser.GetPages"}));
    EXPECT_GE(g_log.shown, 1);
    EXPECT_EQ(g_log.objects, 1u);
    EXPECT_TRUE(g_log.isFilter);
    EXPECT_NE(g_log.title.find(L"Equaliser"), std::wstring::npos);
    EXPECT_EQ(GetIUnknownRef(filter.Get()), 1);
    DestroyWindow(parent);
}

TEST_F(PropertyPage, ThatCannotBeShown) {
    EXPECT_EQ(ShowPropertyPage(MakeFilter("Plain", {}).Get(), nullptr), 0);
    const auto nameless = WithPages();
    nameless->results["QueryFilterInfo"] = E_FAIL;
    EXPECT_EQ(ShowPropertyPage(nameless.Get(), nullptr), 0);
    const auto listless = WithPages();
    listless->propertyPages.results["GetPages"] = E_OUTOFMEMORY;
    EXPECT_EQ(ShowPropertyPage(listless.Get(), nullptr), 0);
    EXPECT_EQ(g_log.shown, 0);
}

// Throws from within a call that the toolkit makes.
class ThrowingPages final : public FakeCom<ISpecifyPropertyPages> {
public:
    ThrowingPages() : FakeCom("throwing pages") {}
    IUnknown* FindInterface(REFIID iid) override {
        return iid == IID_IUnknown || iid == IID_ISpecifyPropertyPages ? this : nullptr;
    }
    HRESULT STDMETHODCALLTYPE GetPages(CAUUID*) override {
        throw std::runtime_error("no pages today");
    }
};

TEST_F(PropertyPage, OfAFilterThatThrows) {
    const auto filter = MakeFilter("Rude", {});
    ThrowingPages* pages = new ThrowingPages();
    filter->Expose(IID_ISpecifyPropertyPages, pages);
    EXPECT_EQ(ShowPropertyPage(filter.Get(), nullptr), E_FAIL);
    EXPECT_EQ(pages->Refs(), 2u); // the test's and the filter's
    EXPECT_EQ(GetIUnknownRef(filter.Get()), 1);
    pages->Release();
}

} // namespace
