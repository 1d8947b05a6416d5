#include "BaseClasses/ComTypes.h"
#include "GraphToolkit/Ranges.h"
#include "Guard.h"

#include <ymdshow/GraphToolkit.h>

#include <olectl.h>

using namespace ymdshow;
using namespace ymdshow::toolkit;

namespace {

class PageList {
public:
    PageList() = default;
    ~PageList() { CoTaskMemFree(m_pages.pElems); }
    PageList(const PageList&) = delete;
    PageList& operator=(const PageList&) = delete;

    CAUUID* Receive() noexcept { return &m_pages; }
    const CAUUID* operator->() const noexcept { return &m_pages; }

private:
    CAUUID m_pages{};
};

int ShowPages(IBaseFilter* filter, HWND parent) {
    ComPtr<ISpecifyPropertyPages> specify;
    if (FAILED(filter->QueryInterface(IID_PPV_ARGS(specify.GetAddressOf()))) ||
        specify == nullptr) {
        return 0;
    }
    PageList pages;
    FilterInfoHolder info;
    if (FAILED(filter->QueryFilterInfo(info.Put()))) {
        return 0;
    }
    const HRESULT listed = specify->GetPages(pages.Receive());
    specify.Reset();
    if (FAILED(listed)) {
        return 0;
    }
    ComPtr<IUnknown> unknown;
    if (FAILED(filter->QueryInterface(IID_PPV_ARGS(unknown.GetAddressOf()))) ||
        unknown == nullptr) {
        return 0;
    }
    IUnknown* object = unknown.Get();
    return SUCCEEDED(OleCreatePropertyFrame(parent, 0, 0, info->achName, 1, &object, pages->cElems,
                                            pages->pElems, 0, 0, nullptr));
}

} // namespace

int ShowPropertyPage(IBaseFilter* filter, HWND parent) {
    // Kept: a caller that tests for non-zero reads E_FAIL as success.
    return filter != nullptr ? AnswerOr<int>(E_FAIL, [&] { return ShowPages(filter, parent); }) : 0;
}
