#pragma once

#include <windows.h>

#include <dshow.h>

#include <atomic>
#include <vector>

#include "BaseClasses/MediaType.h"

namespace ymfilters {

class Filter;
class Pin;

/// Walks a filter's pins as they were when it was made or last reset; out of sync once
/// the filter's list has changed.
class PinEnumerator final : public IEnumPins {
public:
    explicit PinEnumerator(Filter& filter);
    PinEnumerator(const PinEnumerator& other);
    PinEnumerator& operator=(const PinEnumerator&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE Next(ULONG count, IPin** pins, ULONG* fetched) override;
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) override;
    HRESULT STDMETHODCALLTYPE Reset() override;
    HRESULT STDMETHODCALLTYPE Clone(IEnumPins** out) override;

private:
    ~PinEnumerator();

    std::atomic<ULONG> m_references{1};
    Filter& m_filter; // counted
    std::vector<Pin*> m_pins;
    unsigned m_version;
    std::size_t m_next = 0;
};

/// Walks a pin's preferred types.
class TypeEnumerator final : public IEnumMediaTypes {
public:
    TypeEnumerator(Pin& pin, unsigned next);
    TypeEnumerator(const TypeEnumerator&) = delete;
    TypeEnumerator& operator=(const TypeEnumerator&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) override;
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) override;
    HRESULT STDMETHODCALLTYPE Reset() override;
    HRESULT STDMETHODCALLTYPE Clone(IEnumMediaTypes** out) override;

private:
    ~TypeEnumerator();

    std::atomic<ULONG> m_references{1};
    Pin& m_pin; // counted
    unsigned m_next;
};

} // namespace ymfilters
