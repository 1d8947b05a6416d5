#pragma once

#include <windows.h>

#include <dshow.h>

#include <utility>

namespace ymdshow {

/// Frees the format block and the interface of `type`; the structure itself stays, and
/// its two pointers are cleared.
void FreeMediaType(AM_MEDIA_TYPE& type) noexcept;

/// FreeMediaType, then frees the structure, which came from CoTaskMemAlloc. Null is ignored.
void DeleteMediaType(AM_MEDIA_TYPE* type) noexcept;

/// Makes `target` an independent copy of `source`. What `target` held is overwritten, not
/// freed. On E_OUTOFMEMORY it owns nothing.
HRESULT CopyMediaType(AM_MEDIA_TYPE& target, const AM_MEDIA_TYPE& source) noexcept;

/// Owns what a media type kept by value refers to.
class MediaType {
public:
    MediaType() = default;
    MediaType(MediaType&& other) noexcept : m_type(other.Detach()) {}
    MediaType& operator=(MediaType&& other) noexcept {
        if (this != &other) {
            Reset();
            m_type = other.Detach();
        }
        return *this;
    }
    ~MediaType() { Reset(); }

    void Reset() noexcept {
        FreeMediaType(m_type);
        m_type = {};
    }

    /// Releases what is held and gives the address to a function that fills it.
    AM_MEDIA_TYPE* Put() noexcept {
        Reset();
        return &m_type;
    }

    /// Replaces what is held by a copy of `source`, which may be the held one.
    HRESULT Assign(const AM_MEDIA_TYPE& source) noexcept {
        MediaType copy;
        const HRESULT hr = CopyMediaType(copy.m_type, source);
        if (SUCCEEDED(hr)) {
            *this = std::move(copy);
        }
        return hr;
    }

    /// Hands the contents over; the caller frees them.
    AM_MEDIA_TYPE Detach() noexcept { return std::exchange(m_type, AM_MEDIA_TYPE{}); }

    const AM_MEDIA_TYPE& Get() const noexcept { return m_type; }
    const AM_MEDIA_TYPE* operator->() const noexcept { return &m_type; }

private:
    AM_MEDIA_TYPE m_type{};
};

/// Owns a media type allocated with CoTaskMemAlloc, structure included.
class OwnedMediaType {
public:
    OwnedMediaType() = default;
    OwnedMediaType(const OwnedMediaType&) = delete;
    OwnedMediaType& operator=(const OwnedMediaType&) = delete;
    ~OwnedMediaType() { DeleteMediaType(m_type); }

    void Reset() noexcept { DeleteMediaType(std::exchange(m_type, nullptr)); }

    /// Releases what is held and gives the address to a function that fills it.
    AM_MEDIA_TYPE** Put() noexcept {
        Reset();
        return &m_type;
    }

    AM_MEDIA_TYPE* Get() const noexcept { return m_type; }
    AM_MEDIA_TYPE* operator->() const noexcept { return m_type; }
    AM_MEDIA_TYPE& operator*() const noexcept { return *m_type; }

private:
    AM_MEDIA_TYPE* m_type = nullptr;
};

} // namespace ymdshow
