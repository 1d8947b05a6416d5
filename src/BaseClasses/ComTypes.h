#pragma once

#include <windows.h>

#include <dshow.h>
#include <wrl/client.h>

#include <utility>

namespace ymdshow {

/// Gives `target` a counted reference to own. ComPtr::Attach is avoided: that of mingw-w64
/// takes a reference of its own.
template <class T> void Adopt(Microsoft::WRL::ComPtr<T>& target, T* counted) noexcept {
    *target.ReleaseAndGetAddressOf() = counted;
}

/// Owns the one counted interface inside a DirectShow info record.
template <class Info, auto InterfaceMember> class InfoHolder {
public:
    InfoHolder() = default;
    InfoHolder(const InfoHolder&) = delete;
    InfoHolder& operator=(const InfoHolder&) = delete;
    ~InfoHolder() { Reset(); }

    void Reset() noexcept {
        if (auto* held = DetachInterface(); held != nullptr) {
            held->Release();
        }
        m_info = {};
    }

    /// Releases what is held and gives the address to a function that fills it.
    Info* Put() noexcept {
        Reset();
        return &m_info;
    }

    /// Hands the record's interface over with its reference.
    auto DetachInterface() noexcept { return std::exchange(m_info.*InterfaceMember, nullptr); }

    const Info& Get() const noexcept { return m_info; }
    const Info* operator->() const noexcept { return &m_info; }

private:
    Info m_info{};
};

/// A PIN_INFO with its reference on the pin's filter.
using PinInfo = InfoHolder<PIN_INFO, &PIN_INFO::pFilter>;

/// A FILTER_INFO with its reference on the filter's graph.
using FilterInfoHolder = InfoHolder<FILTER_INFO, &FILTER_INFO::pGraph>;

} // namespace ymdshow
