#pragma once

#include "BaseClasses/ComTypes.h"
#include "BaseClasses/InterfaceIds.h"

#include <windows.h>

#include <dshow.h>
#include <wrl/client.h>

#include <iterator>

namespace ymdshow::toolkit {

template <class T> using ComPtr = Microsoft::WRL::ComPtr<T>;

using ymdshow::Adopt;

/// The items of a COM enumerator, for a range-based for loop. Items are fetched one at a
/// time while Next answers exactly S_OK with an item, and released after their turn unless the
/// loop detaches or moves them; leaving the loop releases the item, then the enumerator.
template <class Enumerator, class Item> class EnumeratorRange {
public:
    class Iterator {
    public:
        explicit Iterator(EnumeratorRange& range) : m_range(range) {}
        ComPtr<Item>& operator*() const noexcept { return m_range.m_item; }
        Iterator& operator++() {
            m_range.Fetch();
            return *this;
        }
        bool operator==(std::default_sentinel_t) const noexcept {
            return m_range.m_item == nullptr;
        }

    private:
        EnumeratorRange& m_range;
    };

    EnumeratorRange(const EnumeratorRange&) = delete;
    EnumeratorRange& operator=(const EnumeratorRange&) = delete;

    /// What the call that makes the enumerator answered; E_POINTER when it succeeded with none.
    HRESULT Result() const noexcept { return m_result; }
    bool Failed() const noexcept { return FAILED(m_result); }

    /// Starts the enumerator again from its first item, also in the body of the loop: it then
    /// goes on with the first. An item that the body has not detached is released before.
    void Rewind() {
        m_item.Reset();
        if (m_enumerator != nullptr) {
            m_enumerator->Reset();
        }
    }

    Iterator begin() {
        if (m_enumerator != nullptr) {
            Fetch();
        }
        return Iterator(*this);
    }
    std::default_sentinel_t end() const noexcept { return {}; }

protected:
    EnumeratorRange() = default;

    Enumerator** Receive() noexcept { return m_enumerator.GetAddressOf(); }
    void SetResult(HRESULT hr) {
        m_result = SUCCEEDED(hr) && m_enumerator == nullptr ? E_POINTER : hr;
        if (Failed()) {
            m_enumerator.Reset();
        }
    }

private:
    void Fetch() {
        m_item.Reset();
        if (m_enumerator->Next(1, m_item.GetAddressOf(), nullptr) != S_OK) {
            m_item.Reset();
        }
    }

    HRESULT m_result = E_FAIL;
    ComPtr<Enumerator> m_enumerator;
    ComPtr<Item> m_item; // goes before the enumerator
};

/// The pins of a filter. An enumeration that cannot start has no pins, and says so in Failed.
class Pins : public EnumeratorRange<IEnumPins, IPin> {
public:
    explicit Pins(IBaseFilter* filter) { SetResult(filter->EnumPins(Receive())); }
};

/// The filters of a graph, or of its cache.
class Filters : public EnumeratorRange<IEnumFilters, IBaseFilter> {
public:
    explicit Filters(IFilterGraph* graph) { SetResult(graph->EnumFilters(Receive())); }
    explicit Filters(IGraphConfig* cache) { SetResult(cache->EnumCacheFilter(Receive())); }
};

/// True when the pin says that its direction is `direction`.
inline bool HasDirection(IPin* pin, PIN_DIRECTION direction) {
    PIN_DIRECTION answer{};
    return SUCCEEDED(pin->QueryDirection(&answer)) && answer == direction;
}

/// True when ConnectedTo succeeds.
inline bool IsLinked(IPin* pin) {
    ComPtr<IPin> peer;
    return SUCCEEDED(pin->ConnectedTo(peer.GetAddressOf()));
}

} // namespace ymdshow::toolkit
