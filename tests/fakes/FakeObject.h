#pragma once

#include <windows.h>

#include <wrl/client.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "fakes/Journal.h"

namespace fakes {

using Microsoft::WRL::ComPtr;

/// A ComPtr that takes over the caller's reference. (ComPtr::Attach adds one in mingw-w64.)
template <class T> ComPtr<T> Adopt(T* object) {
    ComPtr<T> owner;
    *owner.GetAddressOf() = object;
    return owner;
}

class FakeObject;

/// Every listed fake that is alive, so that a test can tell what was not released.
class Ledger {
public:
    using Mark = std::uint64_t;

    static Ledger& Get();

    /// Objects made after a mark are the business of whoever took it.
    Mark Now();
    std::size_t Count(Mark since = 0);

    /// One text for each object that is alive, with its reference counts.
    std::vector<std::string> Alive(Mark since = 0);

    /// `object` is expected to keep `references` that nobody owns when the test ends;
    /// they are released then. A reference that is not there is a failure.
    void ExpectLeak(FakeObject& object, ULONG references = 1);

    /// Releases the expected leaks, then lists and destroys what is still alive.
    std::vector<std::string> Settle(Mark since = 0);

private:
    friend class FakeObject;
    struct Expected {
        FakeObject* object;
        FakeObject* listed;
        ULONG references;
        std::string name;
    };

    void Add(FakeObject& object);
    void Remove(FakeObject& object);
    bool IsAlive(const FakeObject* object);

    std::mutex m_mutex;
    FakeObject* m_first = nullptr;
    Mark m_serial = 0;
    std::vector<Expected> m_expected;
};

/// The base of all fakes: a name, a reference count, the answer table.
class FakeObject {
public:
    FakeObject(const FakeObject&) = delete;
    FakeObject& operator=(const FakeObject&) = delete;

    const std::string& Name() const { return m_name; }
    ULONG Refs() const { return m_refs; }

    /// Answers to be given instead of the methods' own.
    ResultTable results;

    /// Answers of the enumerators that this object hands out from now on.
    ResultTable enumResults;

    /// Name and reference counts, for the report of leaks.
    virtual std::string Describe() const;

    /// The interface without a reference, or null.
    virtual IUnknown* FindInterface(REFIID iid) = 0;

    /// Forgets the references to others without releasing them: the others are destroyed too.
    virtual void Abandon() {}

    HRESULT Query(REFIID iid, void** out);
    virtual ULONG AddReference();
    virtual ULONG DropReference();

    /// The object whose life this one shares.
    virtual FakeObject& Listed() { return *this; }

    template <class Act, class... Args>
    HRESULT Call(const char* method, Act&& act, const Args&... args) {
        return Invoke(m_name, results, kCall, method, act, args...);
    }
    HRESULT Unexpected(const char* method);

protected:
    /// Starts with one reference. A fake that is part of another is not listed.
    explicit FakeObject(std::string name, bool listed = true);
    virtual ~FakeObject();

private:
    friend class Ledger;

    std::string m_name;
    std::atomic<ULONG> m_refs{1};
    bool m_listed;
    Ledger::Mark m_serial = 0;
    FakeObject* m_next = nullptr;
    FakeObject* m_previous = nullptr;
};

/// The fake behind an interface, or null for a foreign object.
FakeObject* AsFake(IUnknown* object);
template <class T> T* AsFake(IUnknown* object) {
    return dynamic_cast<T*>(AsFake(object));
}

/// A fake that implements interface I (one of several: override FindInterface).
template <class I> class FakeCom : public FakeObject, public I {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        return Query(iid, out);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return AddReference(); }
    ULONG STDMETHODCALLTYPE Release() override { return DropReference(); }

protected:
    using FakeObject::FakeObject;
};

/// One interface of a fake that has several, with its own answers and reference count;
/// shares the life of its owner.
template <class I> class Facet : public I {
public:
    Facet(FakeObject& owner, std::string name) : m_owner(owner), m_name(std::move(name)) {}
    Facet(const Facet&) = delete;
    Facet& operator=(const Facet&) = delete;

    /// False: the owner does not have this interface.
    bool present = true;
    ResultTable results;

    ULONG Refs() const { return m_refs; }
    const std::string& Name() const { return m_name; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        return m_owner.Query(iid, out);
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        ++m_refs;
        return m_owner.AddReference();
    }
    ULONG STDMETHODCALLTYPE Release() override {
        --m_refs;
        return m_owner.DropReference();
    }

protected:
    template <class Act, class... Args>
    HRESULT Call(const char* method, Act&& act, const Args&... args) {
        return Invoke(m_name, results, kCall, method, act, args...);
    }
    HRESULT Unexpected(const char* method) {
        ReportFailure("unexpected call of " + m_name + "." + method);
        return E_NOTIMPL;
    }
    FakeObject& Owner() const { return m_owner; }

private:
    FakeObject& m_owner;
    std::string m_name;
    std::atomic<ULONG> m_refs{0};
};

/// A facet whose interface derives from IDispatch.
template <class I> class DispatchFacet : public Facet<I> {
public:
    using Facet<I>::Facet;
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override {
        return this->Unexpected("GetTypeInfoCount");
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override {
        return this->Unexpected("GetTypeInfo");
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return this->Unexpected("GetIDsOfNames");
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                     UINT*) override {
        return this->Unexpected("Invoke");
    }

protected:
    template <class Act, class... Args>
    HRESULT Call(const char* method, Act&& act, const Args&... args) {
        return fakes::Invoke(this->Name(), this->results, kCall, method, act, args...);
    }
};

// A method that no test expects to be called.
#define FAKE_UNEXPECTED(method, ...)                                                               \
    HRESULT STDMETHODCALLTYPE method(__VA_ARGS__) override {                                       \
        return this->Unexpected(#method);                                                          \
    }

} // namespace fakes
