#include "base/Enumerators.h"

#include "base/Filter.h"
#include "base/Pin.h"

namespace ymfilters {

PinEnumerator::PinEnumerator(Filter& filter)
    : m_filter(filter), m_pins(filter.Pins()), m_version(filter.PinVersion()) {
    m_filter.AddRef();
}

PinEnumerator::PinEnumerator(const PinEnumerator& other)
    : ComObject(), m_filter(other.m_filter), m_pins(other.m_pins), m_version(other.m_version),
      m_next(other.m_next) {
    m_filter.AddRef();
}

PinEnumerator::~PinEnumerator() {
    m_filter.Release();
}

HRESULT STDMETHODCALLTYPE PinEnumerator::Next(ULONG count, IPin** pins, ULONG* fetched) {
    if (pins == nullptr || (fetched == nullptr && count != 1)) {
        return E_POINTER;
    }
    if (m_version != m_filter.PinVersion()) {
        return VFW_E_ENUM_OUT_OF_SYNC;
    }
    ULONG done = 0;
    for (; done < count && m_next < m_pins.size(); ++done, ++m_next) {
        pins[done] = m_pins[m_next];
        pins[done]->AddRef();
    }
    if (fetched != nullptr) {
        *fetched = done;
    }
    return done == count ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE PinEnumerator::Skip(ULONG count) {
    if (m_version != m_filter.PinVersion()) {
        return VFW_E_ENUM_OUT_OF_SYNC;
    }
    if (count > m_pins.size() - m_next) {
        return S_FALSE;
    }
    m_next += count;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE PinEnumerator::Reset() {
    m_pins = m_filter.Pins();
    m_version = m_filter.PinVersion();
    m_next = 0;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE PinEnumerator::Clone(IEnumPins** out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    *out = new PinEnumerator(*this);
    return S_OK;
}

TypeEnumerator::TypeEnumerator(Pin& pin, unsigned next) : m_pin(pin), m_next(next) {
    m_pin.AddRef();
}

TypeEnumerator::~TypeEnumerator() {
    m_pin.Release();
}

HRESULT STDMETHODCALLTYPE TypeEnumerator::Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) {
    if (types == nullptr || (fetched == nullptr && count != 1)) {
        return E_POINTER;
    }
    ULONG done = 0;
    for (; done < count; ++done, ++m_next) {
        ymdshow::MediaType type;
        if (!m_pin.PreferredType(m_next, type)) {
            break;
        }
        auto* const copy = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
        if (copy == nullptr) {
            break;
        }
        *copy = type.Detach();
        types[done] = copy;
    }
    if (fetched != nullptr) {
        *fetched = done;
    }
    return done == count ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE TypeEnumerator::Skip(ULONG count) {
    ymdshow::MediaType type;
    for (ULONG i = 0; i < count; ++i) {
        if (!m_pin.PreferredType(m_next, type)) {
            return S_FALSE;
        }
        ++m_next;
    }
    return S_OK;
}

HRESULT STDMETHODCALLTYPE TypeEnumerator::Reset() {
    m_next = 0;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE TypeEnumerator::Clone(IEnumMediaTypes** out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    *out = new TypeEnumerator(m_pin, m_next);
    return S_OK;
}

} // namespace ymfilters
