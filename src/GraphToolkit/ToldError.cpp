#include "GraphToolkit/ToldError.h"

#include <windows.h>

#include <oleauto.h>
#include <wrl/client.h>

namespace ymdshow::toolkit {

ToldError::ToldError() {
    SetErrorInfo(0, nullptr);
}

std::wstring ToldError::Take() const {
    Microsoft::WRL::ComPtr<IErrorInfo> info;
    BSTR description = nullptr;
    if (GetErrorInfo(0, &info) != S_OK || info == nullptr ||
        FAILED(info->GetDescription(&description)) || description == nullptr) {
        return {};
    }
    std::wstring text(description, SysStringLen(description));
    SysFreeString(description);
    return text;
}

} // namespace ymdshow::toolkit
