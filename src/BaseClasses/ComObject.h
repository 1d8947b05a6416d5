#pragma once

#include <windows.h>

#include <unknwn.h>

#include <atomic>

namespace ymdshow {

/// The end of a QueryInterface: hands out what was found, null for nothing, with a reference
/// on `object`.
template <class Object> HRESULT AnswerQuery(Object& object, void* found, void** out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    *out = found;
    if (found == nullptr) {
        return E_NOINTERFACE;
    }
    object.AddRef();
    return S_OK;
}

/// The IUnknown of an object with the one interface `I`. It starts with one reference and
/// goes with the last.
template <class I> class ComObject : public I {
public:
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) final {
        const bool isKnown = iid == __uuidof(IUnknown) || iid == __uuidof(I);
        return AnswerQuery(*this, isKnown ? static_cast<I*>(this) : nullptr, out);
    }
    ULONG STDMETHODCALLTYPE AddRef() final { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() final {
        const ULONG left = --m_references;
        if (left == 0) {
            delete this;
        }
        return left;
    }

protected:
    ComObject() = default;
    virtual ~ComObject() = default;

private:
    std::atomic<ULONG> m_references{1};
};

} // namespace ymdshow
