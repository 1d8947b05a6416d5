#pragma once

#include <windows.h>

#include <dshow.h>

#include <vector>

#include "BaseClasses/ComObject.h"

namespace ymfilters {

class Filter;
class Pin;

/// Walks a filter's pins as they were when it was made or last reset; out of sync once
/// the filter's list has changed.
class PinEnumerator final : public ymdshow::ComObject<IEnumPins> {
public:
    explicit PinEnumerator(Filter& filter);
    PinEnumerator(const PinEnumerator& other);

    HRESULT STDMETHODCALLTYPE Next(ULONG count, IPin** pins, ULONG* fetched) override;
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) override;
    HRESULT STDMETHODCALLTYPE Reset() override;
    HRESULT STDMETHODCALLTYPE Clone(IEnumPins** out) override;

private:
    ~PinEnumerator() override;

    Filter& m_filter; // counted
    std::vector<Pin*> m_pins;
    unsigned m_version;
    std::size_t m_next = 0;
};

/// Walks a pin's preferred types.
class TypeEnumerator final : public ymdshow::ComObject<IEnumMediaTypes> {
public:
    TypeEnumerator(Pin& pin, unsigned next);

    HRESULT STDMETHODCALLTYPE Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) override;
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) override;
    HRESULT STDMETHODCALLTYPE Reset() override;
    HRESULT STDMETHODCALLTYPE Clone(IEnumMediaTypes** out) override;

private:
    ~TypeEnumerator() override;

    Pin& m_pin; // counted
    unsigned m_next;
};

} // namespace ymfilters
