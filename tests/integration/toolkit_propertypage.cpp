// ShowPropertyPage with a real page in the system's frame, which a helper thread closes.
#include "fakes/FakeFilter.h"
#include "fakes/FakeTest.h"

#include <gtest/gtest.h>
#include <ocidl.h>
#include <olectl.h>

#include <ymdshow/GraphToolkit.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using namespace fakes;

const GUID kPageClass = {
    0xb5f0c1a2, 0x6d0e, 0x4c3b, {0x9e, 0x43, 0x5f, 0x1d, 0x2a, 0x7c, 0x90, 0x05}};

// What the pages were told.
struct PageLog {
    std::atomic<int> shown{0};
    std::atomic<int> objects{0};
    std::atomic<bool> isFilter{false};
};
PageLog g_pages;

// A page with an empty window.
class Page final : public FakeCom<IPropertyPage> {
public:
    Page() : FakeCom("page") {}
    ~Page() override {
        if (m_window) {
            DestroyWindow(m_window);
        }
    }
    IUnknown* FindInterface(REFIID iid) override {
        return iid == IID_IUnknown || iid == IID_IPropertyPage ? this : nullptr;
    }
    HRESULT STDMETHODCALLTYPE SetPageSite(IPropertyPageSite* site) override {
        m_site = site;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Activate(HWND parent, LPCRECT area, BOOL) override {
        m_window = CreateWindowExW(0, L"STATIC", L"page", WS_CHILD, area->left, area->top,
                                   area->right - area->left, area->bottom - area->top, parent,
                                   nullptr, nullptr, nullptr);
        return m_window ? S_OK : E_FAIL;
    }
    HRESULT STDMETHODCALLTYPE Deactivate() override {
        DestroyWindow(std::exchange(m_window, nullptr));
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetPageInfo(PROPPAGEINFO* info) override {
        const std::wstring title = L"Page";
        info->pszTitle = static_cast<LPOLESTR>(CoTaskMemAlloc((title.size() + 1) * 2));
        title.copy(info->pszTitle, title.size());
        info->pszTitle[title.size()] = L'\0';
        info->size = {200, 100};
        info->pszDocString = nullptr;
        info->pszHelpFile = nullptr;
        info->dwHelpContext = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetObjects(ULONG count, IUnknown** objects) override {
        if (count > 0) {
            g_pages.objects = static_cast<int>(count);
            g_pages.isFilter = AsFake<FakeFilter>(objects[0]) != nullptr;
        }
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Show(UINT command) override {
        if (command != SW_HIDE) {
            ++g_pages.shown;
        }
        ShowWindow(m_window, static_cast<int>(command));
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Move(LPCRECT area) override {
        MoveWindow(m_window, area->left, area->top, area->right - area->left,
                   area->bottom - area->top, TRUE);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE IsPageDirty() override { return S_FALSE; }
    HRESULT STDMETHODCALLTYPE Apply() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Help(LPCOLESTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE TranslateAccelerator(MSG*) override { return S_FALSE; }

private:
    ComPtr<IPropertyPageSite> m_site;
    HWND m_window = nullptr;
};

// Waits for the frame of a thread, remembers what is to be known of it, and closes it.
class Closer {
public:
    Closer() : m_watcher([this, thread = GetCurrentThreadId()] { Watch(thread); }) {}
    ~Closer() { Join(); }
    void Join() {
        m_stop = true;
        if (m_watcher.joinable()) {
            m_watcher.join();
        }
    }
    std::wstring Title() {
        Join();
        return m_title;
    }

private:
    void Watch(DWORD thread) {
        while (!m_stop) {
            HWND frame = nullptr;
            EnumThreadWindows(
                thread,
                [](HWND window, LPARAM found) {
                    wchar_t name[16] = {};
                    GetClassNameW(window, name, 16);
                    if (std::wstring(name) != L"#32770") {
                        return TRUE;
                    }
                    *reinterpret_cast<HWND*>(found) = window;
                    return FALSE;
                },
                reinterpret_cast<LPARAM>(&frame));
            if (frame && g_pages.shown > 0) {
                if (m_title.empty()) {
                    wchar_t title[64] = {};
                    GetWindowTextW(frame, title, 64);
                    m_title = title;
                }
                PostMessageW(frame, WM_CLOSE, 0, 0);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }

    std::atomic<bool> m_stop{false};
    std::wstring m_title;
    std::thread m_watcher;
};

class PropertyPage : public FakeTest {
protected:
    PropertyPage() {
        g_pages.shown = 0;
        g_pages.objects = 0;
        g_pages.isFilter = false;
    }
    static ComPtr<FakeFilter> WithPages(std::vector<CLSID> pages) {
        const auto filter = MakeFilter("Equaliser", {In(), Out()});
        filter->propertyPages.present = true;
        filter->propertyPages.pages = std::move(pages);
        return filter;
    }

private:
    FakeClass m_class{"page", kPageClass, [] { return Adopt<IUnknown>(new Page()); }};
};

TEST_F(PropertyPage, IsShownUntilTheUserClosesIt) {
    const auto filter = WithPages({kPageClass});
    HWND parent = CreateWindowExW(0, L"STATIC", L"host", WS_OVERLAPPEDWINDOW, 0, 0, 300, 200,
                                  nullptr, nullptr, nullptr, nullptr);
    Closer closer;
    EXPECT_EQ(ShowPropertyPage(filter.Get(), parent), 1);
    EXPECT_EQ(journal.Matching("Equaliser.*"),
              (Lines{"Equaliser.QueryFilterInfo", "Equaliser.GetPages"}));
    EXPECT_GE(g_pages.shown, 1);
    EXPECT_EQ(g_pages.objects, 1);
    EXPECT_TRUE(g_pages.isFilter);
    EXPECT_NE(closer.Title().find(L"Equaliser"), std::wstring::npos);
    EXPECT_EQ(GetIUnknownRef(filter.Get()), 1);
    DestroyWindow(parent);
}

TEST_F(PropertyPage, ThatCannotBeShown) {
    EXPECT_EQ(ShowPropertyPage(MakeFilter("Plain", {}).Get(), nullptr), 0);
    const auto nameless = WithPages({kPageClass});
    nameless->results["QueryFilterInfo"] = E_FAIL;
    EXPECT_EQ(ShowPropertyPage(nameless.Get(), nullptr), 0);
    const auto listless = WithPages({kPageClass});
    listless->propertyPages.results["GetPages"] = E_OUTOFMEMORY;
    EXPECT_EQ(ShowPropertyPage(listless.Get(), nullptr), 0);
    EXPECT_EQ(g_pages.shown, 0);
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
