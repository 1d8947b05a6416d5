#include "fakes/FakeObject.h"

namespace fakes {

/// By this a fake tells that it is one; answered without a reference.
static constexpr GUID kIidFake = {
    0x6f1d9c3e, 0x52b7, 0x4e0a, {0x9b, 0x64, 0x1c, 0x3a, 0x7d, 0x25, 0xe8, 0x90}};

Ledger& Ledger::Get() {
    static Ledger ledger;
    return ledger;
}

Lines Ledger::Alive(Mark since) {
    const std::lock_guard lock(m_mutex);
    Lines texts;
    for (auto entry = m_alive.upper_bound(since); entry != m_alive.end(); ++entry) {
        texts.push_back(entry->second->Describe());
    }
    return texts;
}

void Ledger::ExpectLeak(FakeObject& object, ULONG references) {
    object.AddReference();
    m_expected.emplace_back(&object, references);
}

Lines Ledger::Settle(Mark since) {
    const std::lock_guard lock(m_mutex);
    for (const auto& [object, references] : std::exchange(m_expected, {})) {
        const ULONG leaked = object->Refs() - 1;
        if (leaked < references) {
            ReportFailure(object->Name() + " has fewer leaks than expected");
        }
        for (ULONG i = 0; i <= std::min(leaked, references); ++i) {
            object->DropReference();
        }
    }
    const Lines alive = Alive(since);
    m_alive.erase(m_alive.upper_bound(since), m_alive.end());
    return alive;
}

FakeObject::FakeObject(std::string name, FakeObject* owner)
    : m_name(std::move(name)), m_owner(owner), m_refs(owner == nullptr ? 1 : 0) {
    Ledger& ledger = Ledger::Get();
    const std::lock_guard lock(ledger.m_mutex);
    if (owner != nullptr) {
        owner->m_parts.push_back(this);
        m_serial = owner->m_serial;
    } else {
        m_serial = ++ledger.m_serial;
        ledger.m_alive[m_serial] = this;
    }
}

FakeObject::~FakeObject() {
    const std::lock_guard lock(Ledger::Get().m_mutex);
    Ledger::Get().m_alive.erase(m_owner == nullptr ? m_serial : 0);
}

std::string FakeObject::Describe() const {
    ULONG own = m_refs;
    std::string parts;
    for (const FakeObject* part : m_parts) {
        own -= part->m_refs;
        parts += part->m_refs != 0 ? ", " + part->Describe() : "";
    }
    return m_name + ": " + std::to_string(own) + " references" + parts;
}

IUnknown* FakeObject::FindFurther(REFIID iid) {
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

HRESULT FakeObject::Query(REFIID iid, void** out) {
    *out = iid == kIidFake ? this : nullptr;
    if (*out != nullptr) {
        return S_OK;
    }
    const auto act = [&] {
        IUnknown* const found = FindInterface(iid);
        *out = found != nullptr ? HandOut(found) : nullptr;
        return found != nullptr ? S_OK : E_NOINTERFACE;
    };
    // IUnknown is always there by the rules of COM.
    return iid == IID_IUnknown
               ? act()
               : Invoke(m_name, results, kQueryCall, "QueryInterface", std::tie(iid), act);
}

void FakeObject::Journalise(const char* method) const {
    if ((Journal::Get().Kinds() & kRefCall) != 0) {
        Journal::Get().Append(m_name + method);
    }
}

ULONG FakeObject::AddReference() {
    if (m_owner != nullptr) {
        m_owner->AddReference();
    }
    Journalise(".AddRef");
    return ++m_refs;
}

ULONG FakeObject::DropReference() {
    Journalise(".Release");
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

HRESULT FakeObject::Unexpected(const char* method) {
    ReportFailure("unexpected call of " + m_name + "." + method);
    return E_NOTIMPL;
}

FakeObject* AsFake(IUnknown* object) {
    void* fake = nullptr;
    const bool found = object != nullptr && SUCCEEDED(object->QueryInterface(kIidFake, &fake));
    return found ? static_cast<FakeObject*>(fake) : nullptr;
}

const std::string& NameOf(IUnknown* object) {
    static const std::string null = "null", foreign = "foreign";
    const FakeObject* const fake = AsFake(object);
    return fake != nullptr ? fake->Name() : object != nullptr ? foreign : null;
}

void Line::Write(IUnknown* object) {
    Write(NameOf(object));
}

} // namespace fakes
