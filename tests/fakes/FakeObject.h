#pragma once

#include <windows.h>

#include <wrl/client.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <map>
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

/// An order of GUIDs, for maps.
struct GuidLess {
    bool operator()(const GUID& a, const GUID& b) const {
        return std::memcmp(&a, &b, sizeof a) < 0;
    }
};

/// Every fake that is alive and not part of another, so that a test can tell what was not
/// released.
class Ledger {
public:
    using Mark = std::uint64_t;

    static Ledger& Get();

    /// Objects made after a mark are the business of whoever took it.
    Mark Now();

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
        Mark serial; ///< of the object whose life it shares
        ULONG references;
        std::string name;
    };

    Mark Add(FakeObject& object);
    void Remove(Mark serial);
    bool IsAlive(Mark serial);
    FakeObject* FirstAfter(Mark since);

    std::mutex m_mutex;
    std::map<Mark, FakeObject*> m_alive;
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
    /// References other than those of its parts.
    ULONG OwnRefs() const;

    /// Answers to be given instead of the methods' own.
    ResultTable results;

    /// Answers of the enumerators that this object hands out from now on.
    ResultTable enumResults;

    /// Name and reference counts, for the report of leaks.
    virtual std::string Describe() const;

    /// The interface without a reference, or null.
    virtual IUnknown* FindInterface(REFIID iid) = 0;

    /// A further interface: `object`'s, or a bare IUnknown of the fake's own.
    void Expose(REFIID iid, IUnknown* object = nullptr) { m_exposed.emplace_back(iid, object); }

    /// Forgets the references to others without releasing them: the others are destroyed too.
    virtual void Abandon();

    HRESULT Query(REFIID iid, void** out);
    ULONG AddReference();
    ULONG DropReference();

    template <class Act> HRESULT Call(const char* method, Act&& act) {
        return Invoke(m_name, results, kCall, method, std::tuple<>(), act);
    }
    /// With the arguments for the journal: std::tie(filter, name).
    template <class Act, class... Args>
    HRESULT Call(const char* method, const std::tuple<Args...>& args, Act&& act) {
        return Invoke(m_name, results, kCall, method, args, act);
    }
    HRESULT Unexpected(const char* method);

    // Calls that only succeed, hand out a value, or keep their argument.
    template <class... Args> HRESULT Note(const char* method, const Args&... args) {
        return Call(method, std::tie(args...), [] { return S_OK; });
    }
    template <class Value> HRESULT Give(const char* method, Value* out, const Value& value) {
        return Call(method, [&] {
            *out = value;
            return S_OK;
        });
    }
    template <class Member, class Value>
    HRESULT Keep(const char* method, Member& member, const Value& value) {
        return Call(method, std::tie(value), [&] {
            member = value;
            return S_OK;
        });
    }

protected:
    /// Starts with one reference. A part of an owner starts with none, counts on the owner
    /// too, and shares its life.
    explicit FakeObject(std::string name, FakeObject* owner = nullptr);
    virtual ~FakeObject();

    FakeObject* Owner() const { return m_owner; }

    /// One that is exposed, or a facet's; null without one.
    IUnknown* FindFurther(REFIID iid);
    /// This part as the interface that its owner is asked for.
    virtual IUnknown* AsFacet(REFIID) { return nullptr; }

private:
    friend class Ledger;
    void Journalise(const char* method) const;

    std::string m_name;
    FakeObject* m_owner;
    std::vector<FakeObject*> m_parts;
    std::vector<std::pair<IID, ComPtr<IUnknown>>> m_exposed;
    std::atomic<ULONG> m_refs;
    Ledger::Mark m_serial;
};

/// The fake behind an interface, or null for a foreign object.
FakeObject* AsFake(IUnknown* object);
template <class T> T* AsFake(IUnknown* object) {
    return dynamic_cast<T*>(AsFake(object));
}

/// A fake that implements interface I, and perhaps others.
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

/// A fake with this one interface.
template <class I> class FakeOf : public FakeCom<I> {
public:
    using FakeCom<I>::FakeCom;
    IUnknown* FindInterface(REFIID iid) override {
        return iid == IID_IUnknown || iid == __uuidof(I) ? this : nullptr;
    }
};

// A method that no test expects to be called.
#define FAKE_UNEXPECTED(method, ...)                                                               \
    HRESULT STDMETHODCALLTYPE method(__VA_ARGS__) override {                                       \
        return this->Unexpected(#method);                                                          \
    }

/// One interface of a fake that has several, with its own answers and reference count.
template <class I> class Facet : public FakeCom<I> {
public:
    Facet(FakeObject& owner, std::string name, const IID& iid)
        : FakeCom<I>(std::move(name), &owner), m_iid(iid) {}

    /// False: the owner does not have this interface.
    bool present = true;

    IUnknown* FindInterface(REFIID iid) override { return this->Owner()->FindInterface(iid); }
    IUnknown* AsFacet(REFIID iid) override { return present && iid == m_iid ? this : nullptr; }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        return this->Owner()->Query(iid, out);
    }

private:
    const IID& m_iid;
};

/// A facet whose interface derives from IDispatch.
template <class I> class DispatchFacet : public Facet<I> {
public:
    using Facet<I>::Facet;
    FAKE_UNEXPECTED(GetTypeInfoCount, UINT*)
    FAKE_UNEXPECTED(GetTypeInfo, UINT, LCID, ITypeInfo**)
    FAKE_UNEXPECTED(GetIDsOfNames, REFIID, LPOLESTR*, UINT, LCID, DISPID*)
    FAKE_UNEXPECTED(Invoke, DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*)
};

} // namespace fakes
