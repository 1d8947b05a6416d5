#pragma once

#include <windows.h>

#include <dshow.h>
#include <wrl/client.h>

#include <mutex>

#include "fakes/Journal.h"

namespace fakes {

using Microsoft::WRL::ComPtr;

/// A ComPtr that takes over the caller's reference. (ComPtr::Attach adds one in mingw-w64.)
template <class T> ComPtr<T> Adopt(T* object) {
    ComPtr<T> owner;
    *owner.GetAddressOf() = object;
    return owner;
}

/// The interface with a reference for the caller.
template <class I> I* HandOut(I* object) {
    object->AddRef();
    return object;
}

class FakeObject;
template <class Enum, class Item, class List> class FakeEnum;

/// By this a fake tells that it is one; answered without a reference.
inline constexpr GUID kIidFake = {
    0x6f1d9c3e, 0x52b7, 0x4e0a, {0x9b, 0x64, 0x1c, 0x3a, 0x7d, 0x25, 0xe8, 0x90}};

/// The version of a list that is never changed.
inline constexpr unsigned kUnchanged = 0;

/// An order of GUIDs, for maps.
struct GuidLess {
    bool operator()(const GUID& a, const GUID& b) const { return std::memcmp(&a, &b, 16) < 0; }
};

/// Every fake that is alive and not part of another, so that a test can tell what was not
/// released.
class Ledger {
public:
    using Mark = unsigned long long;

    static Ledger& Get() {
        static Ledger ledger;
        return ledger;
    }

    /// Objects made after a mark are the business of whoever took it.
    Mark Now() const { return m_serial; }

    /// One text for each object that is alive, with its reference counts.
    Lines Alive(Mark since = 0);

    /// `object` is expected to keep `references` that nobody owns when the test ends;
    /// they are released then. A reference that is not there is a failure.
    void ExpectLeak(FakeObject& object, ULONG references = 1);

    /// Releases the expected leaks, then lists and forgets what is still alive.
    Lines Settle(Mark since = 0);

private:
    friend class FakeObject;

    std::recursive_mutex m_mutex;
    std::vector<FakeObject*> m_alive;
    std::atomic<Mark> m_serial = 0;
    std::vector<std::pair<FakeObject*, ULONG>> m_expected; ///< and one reference of its own
};

/// The base of all fakes: a name, a reference count, the answer table.
class FakeObject {
public:
    const std::string& Name() const { return m_name; }
    ULONG Refs() const { return m_refs; }

    /// Answers to be given instead of the methods' own.
    ResultTable results;

    /// Answers of the enumerators that this object hands out from now on.
    ResultTable enumResults;

    /// Name and reference counts, for the report of leaks.
    std::string Describe() const {
        std::string text = m_name + ": " + std::to_string(m_refs) + " references";
        for (const FakeObject* part : m_parts) {
            text += part->m_refs != 0 ? ", " + part->Describe() : "";
        }
        return text;
    }

    /// The interface without a reference, or null.
    virtual IUnknown* FindInterface(REFIID iid) = 0;

    /// A further interface: `object`'s, or a bare IUnknown of the fake's own.
    void Expose(REFIID iid, IUnknown* object = nullptr) { m_exposed.emplace_back(iid, object); }

    HRESULT Query(REFIID iid, void** out) {
        const auto act = [&] {
            IUnknown* const found = FindInterface(iid);
            *out = found != nullptr ? HandOut(found) : nullptr;
            return found != nullptr ? S_OK : E_NOINTERFACE;
        };
        *out = iid == kIidFake ? this : nullptr;
        if (*out != nullptr || iid == IID_IUnknown) {
            return *out != nullptr ? S_OK : act(); // neither may fail, by the rules of COM
        }
        return Invoke(m_name, results, kQueryCall, "QueryInterface", std::tie(iid), act);
    }
    ULONG AddReference() {
        if (m_owner != nullptr) {
            m_owner->AddReference();
        }
        return ++m_refs;
    }
    ULONG DropReference() {
        if (m_refs == 0) {
            ReportFailure(m_name + " is released more often than it is referenced");
            return 0;
        }
        const ULONG left = --m_refs;
        if (m_owner != nullptr) {
            m_owner->DropReference();
        } else if (left == 0) {
            delete this;
        }
        return left;
    }

    template <class Act> HRESULT Call(const char* method, Act&& act) {
        return Invoke(m_name, results, kCall, method, std::tuple<>(), act);
    }
    /// With the arguments for the journal: std::tie(filter, name).
    template <class Act, class... Args>
    HRESULT Call(const char* method, const std::tuple<Args...>& args, Act&& act) {
        return Invoke(m_name, results, kCall, method, args, act);
    }
    /// A call that only succeeds.
    template <class... Args> HRESULT Note(const char* method, const Args&... args) {
        return Call(method, std::tie(args...), [] {});
    }
    HRESULT Unexpected(const char* method) {
        ReportFailure("unexpected call of " + m_name + "." + method);
        return E_NOTIMPL;
    }

    /// An enumerator over `list` by HandOut; see FakeEnum.
    template <class Item, class Enum, class List>
    HRESULT Enumerate(const char* method, Enum** out, List& list,
                      const unsigned& version = kUnchanged) {
        *out = nullptr;
        return Call(method,
                    [&] { *out = new FakeEnum<Enum, Item, List>(*this, method, list, version); });
    }

protected:
    /// Starts with one reference. A part of an owner starts with none, counts on the owner
    /// too, and shares its life.
    explicit FakeObject(std::string name, FakeObject* owner = nullptr);
    virtual ~FakeObject();

    FakeObject* Owner() const { return m_owner; }

    /// One that is exposed, or a facet's; null without one.
    IUnknown* FindFurther(REFIID iid) {
        for (const auto& [known, object] : m_exposed) {
            if (known == iid) {
                return object ? object.Get() : FindInterface(IID_IUnknown);
            }
        }
        for (FakeObject* part : m_parts) {
            if (IUnknown* const facet = part->AsFacet(iid)) {
                return facet;
            }
        }
        return nullptr;
    }
    /// This part as the interface that its owner is asked for.
    virtual IUnknown* AsFacet(REFIID) { return nullptr; }

private:
    friend class Ledger;
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
/// Its name, "null", or "foreign".
const std::string& NameOf(IUnknown* object);

/// A fake that implements interface I, and perhaps others.
template <class I> class FakeCom : public FakeObject, public I {
public:
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override { return Query(iid, out); }
    STDMETHODIMP_(ULONG) AddRef() override { return AddReference(); }
    STDMETHODIMP_(ULONG) Release() override { return DropReference(); }

protected:
    using FakeObject::FakeObject;
};

/// A fake with this one interface and its bases.
template <class I, class... Bases> class FakeOf : public FakeCom<I> {
public:
    using FakeCom<I>::FakeCom;
    IUnknown* FindInterface(REFIID iid) override {
        const IID own[] = {IID_IUnknown, __uuidof(I), __uuidof(Bases)...};
        const bool known = std::find(std::begin(own), std::end(own), iid) != std::end(own);
        return known ? this : this->FindFurther(iid);
    }
};

// macro(context, item) for each item, some thirty at most.
#define FAKE_EACH(...) FAKE_SCAN(FAKE_SCAN(FAKE_SCAN(FAKE_SCAN(FAKE_STEP(__VA_ARGS__)))))
#define FAKE_SCAN(...) FAKE_GO(FAKE_GO(FAKE_GO(FAKE_GO(FAKE_GO(FAKE_GO(FAKE_GO(__VA_ARGS__)))))))
#define FAKE_GO(...) __VA_ARGS__
#define FAKE_STEP(macro, context, item, ...)                                                       \
    macro(context, item) __VA_OPT__(FAKE_NEXT FAKE_PARENS(macro, context, __VA_ARGS__))
#define FAKE_NEXT() FAKE_STEP
#define FAKE_PARENS ()

// Methods that no test expects to be called: FAKE_UNEXPECTED(SetRate(double), GetRate(double*))
#define FAKE_UNEXPECTED(...) FAKE_EACH(FAKE_UNEXPECTED_METHOD, , __VA_ARGS__)
#define FAKE_UNEXPECTED_METHOD(context, method)                                                    \
    STDMETHODIMP method override {                                                                 \
        return this->Unexpected(#method);                                                          \
    }

// Methods that only succeed, keep their argument, or hand out a value.
#define FAKE_NOTE(type, ...) FAKE_EACH(FAKE_NOTE_METHOD, type, __VA_ARGS__)
#define FAKE_NOTE_METHOD(type, method)                                                             \
    STDMETHODIMP method(type value) override {                                                     \
        return this->Note(#method, value);                                                         \
    }
#define FAKE_KEEP(method, type, member)                                                            \
    STDMETHODIMP method(type value) override {                                                     \
        return this->Call(#method, std::tie(value), [&] { member = value; });                      \
    }
#define FAKE_GIVE(method, type, value)                                                             \
    STDMETHODIMP method(type* out) override {                                                      \
        return this->Call(#method, [&] { *out = value; });                                         \
    }

/// One interface of a fake that has several, with its own answers and reference count.
template <class I, const IID& id> class Facet : public FakeCom<I> {
public:
    Facet(FakeObject& owner, std::string name) : FakeCom<I>(std::move(name), &owner) {}

    /// False: the owner does not have this interface.
    bool present = true;

    IUnknown* FindInterface(REFIID iid) override { return this->Owner()->FindInterface(iid); }
    IUnknown* AsFacet(REFIID iid) override { return present && iid == id ? this : nullptr; }
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        return this->Owner()->Query(iid, out);
    }
};

/// A facet whose interface derives from IDispatch.
template <class I, const IID& id> class DispatchFacet : public Facet<I, id> {
public:
    using Facet<I, id>::Facet;
    FAKE_UNEXPECTED(GetTypeInfoCount(UINT*), GetTypeInfo(UINT, LCID, ITypeInfo**),
                    GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*),
                    Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*))
};

/// An enumerator over `list`, whose items HandOut gives with a reference or in memory for the
/// caller. After a change of `version` Next answers VFW_E_ENUM_OUT_OF_SYNC until Reset. Keeps
/// its owner alive.
template <class Enum, class Item, class List> class FakeEnum final : public FakeOf<Enum> {
public:
    FakeEnum(FakeObject& owner, const std::string& method, List& list, const unsigned& version)
        : FakeOf<Enum>(owner.Name() + "." + method), m_owner(owner), m_list(list),
          m_version(version), m_seen(version) {
        m_owner.AddReference();
        this->results = owner.enumResults;
    }
    ~FakeEnum() override { m_owner.DropReference(); }

    STDMETHODIMP Next(ULONG wanted, Item** items, ULONG* fetched) override {
        ULONG count = 0;
        const HRESULT result = EnumCall("Next", [&]() -> HRESULT {
            if (m_version != m_seen) {
                return VFW_E_ENUM_OUT_OF_SYNC;
            }
            while (count < wanted && m_next < m_list.size()) {
                items[count++] = HandOut(m_list[m_next++]);
            }
            return count == wanted ? S_OK : S_FALSE;
        });
        if (fetched != nullptr) {
            *fetched = count;
        }
        return result;
    }
    STDMETHODIMP Reset() override {
        return EnumCall("Reset", [&] { std::tie(m_next, m_seen) = std::tuple(0, m_version); });
    }
    FAKE_UNEXPECTED(Skip(ULONG), Clone(Enum**))

private:
    template <class Act> HRESULT EnumCall(const char* method, Act&& act) {
        return fakes::Invoke(this->Name(), this->results, kEnumCall, method, std::tuple<>(), act);
    }

    FakeObject& m_owner;
    List& m_list;
    const unsigned& m_version;
    unsigned m_seen;
    std::size_t m_next = 0;
};

} // namespace fakes
