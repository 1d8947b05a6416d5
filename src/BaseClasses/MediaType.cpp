#include "BaseClasses/MediaType.h"

#include <objbase.h>

#include <cstring>

namespace ymdshow {

void FreeMediaType(AM_MEDIA_TYPE& type) noexcept {
    // Some filters leave a stale pointer beside a zero size: only the size tells.
    if (type.cbFormat != 0) {
        CoTaskMemFree(type.pbFormat);
        type.cbFormat = 0;
    }
    type.pbFormat = nullptr;
    if (IUnknown* const held = std::exchange(type.pUnk, nullptr); held != nullptr) {
        held->Release();
    }
}

void DeleteMediaType(AM_MEDIA_TYPE* type) noexcept {
    if (type != nullptr) {
        FreeMediaType(*type);
        CoTaskMemFree(type);
    }
}

HRESULT CopyMediaType(AM_MEDIA_TYPE& target, const AM_MEDIA_TYPE& source) noexcept {
    if (&target == &source) {
        return S_OK;
    }
    target = source;
    target.cbFormat = 0;
    target.pbFormat = nullptr;
    target.pUnk = nullptr;
    if (source.cbFormat != 0 && source.pbFormat != nullptr) {
        target.pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(source.cbFormat));
        if (target.pbFormat == nullptr) {
            return E_OUTOFMEMORY;
        }
        std::memcpy(target.pbFormat, source.pbFormat, source.cbFormat);
        target.cbFormat = source.cbFormat;
    }
    if (source.pUnk != nullptr) {
        target.pUnk = source.pUnk;
        target.pUnk->AddRef();
    }
    return S_OK;
}

} // namespace ymdshow
