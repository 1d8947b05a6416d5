#include "fakes/FakeObject.h"

#include <utility>

namespace fakes {

namespace {

/// By this a fake tells that it is one; answered without a reference.
constexpr GUID kIidFake = {
    0x6f1d9c3e, 0x52b7, 0x4e0a, {0x9b, 0x64, 0x1c, 0x3a, 0x7d, 0x25, 0xe8, 0x90}};

/// Set while leaked fakes are destroyed: whatever references they hold no longer count.
std::atomic<bool> g_demolishing{false};

} // namespace

Ledger& Ledger::Get() {
    static Ledger ledger;
    return ledger;
}

Ledger::Mark Ledger::Add(FakeObject& object) {
    const std::lock_guard lock(m_mutex);
    m_alive[++m_serial] = &object;
    return m_serial;
}

void Ledger::Remove(Mark serial) {
    const std::lock_guard lock(m_mutex);
    m_alive.erase(serial);
}

Ledger::Mark Ledger::Now() {
    const std::lock_guard lock(m_mutex);
    return m_serial;
}

std::vector<std::string> Ledger::Alive(Mark since) {
    const std::lock_guard lock(m_mutex);
    std::vector<std::string> texts;
    for (auto entry = m_alive.upper_bound(since); entry != m_alive.end(); ++entry) {
        texts.push_back(entry->second->Describe());
    }
    return texts;
}

bool Ledger::IsAlive(Mark serial) {
    const std::lock_guard lock(m_mutex);
    return m_alive.contains(serial);
}

FakeObject* Ledger::FirstAfter(Mark since) {
    const std::lock_guard lock(m_mutex);
    const auto entry = m_alive.upper_bound(since);
    return entry != m_alive.end() ? entry->second : nullptr;
}

void Ledger::ExpectLeak(FakeObject& object, ULONG references) {
    m_expected.push_back({&object, object.m_serial, references, object.Name()});
}

std::vector<std::string> Ledger::Settle(Mark since) {
    Silence silence;
    std::vector<std::string> problems;
    for (const Expected& expected : std::exchange(m_expected, {})) {
        ULONG released = 0;
        while (released < expected.references && IsAlive(expected.serial) &&
               expected.object->Refs() > 0) {
            expected.object->DropReference();
            ++released;
        }
        if (released < expected.references) {
            problems.push_back(expected.name + ": only " + std::to_string(released) + " of " +
                               std::to_string(expected.references) + " expected leaks");
        }
    }
    const std::vector<std::string> alive = Alive(since);
    problems.insert(problems.end(), alive.begin(), alive.end());

    g_demolishing = true;
    for (auto entry = m_alive.upper_bound(since); entry != m_alive.end(); ++entry) {
        entry->second->Abandon();
    }
    while (FakeObject* const leaked = FirstAfter(since)) {
        delete leaked;
    }
    g_demolishing = false;
    return problems;
}

FakeObject::FakeObject(std::string name, FakeObject* owner)
    : m_name(std::move(name)), m_owner(owner), m_refs(owner == nullptr ? 1 : 0),
      m_serial(owner == nullptr ? Ledger::Get().Add(*this) : owner->m_serial) {
    if (owner != nullptr) {
        owner->m_parts.push_back(this);
    }
}

FakeObject::~FakeObject() {
    if (m_owner == nullptr) {
        Ledger::Get().Remove(m_serial);
    }
}

ULONG FakeObject::OwnRefs() const {
    ULONG references = m_refs;
    for (const FakeObject* part : m_parts) {
        references -= part->m_refs;
    }
    return references;
}

std::string FakeObject::Describe() const {
    std::string text = m_name + ": " + std::to_string(OwnRefs()) + " references";
    for (const FakeObject* part : m_parts) {
        if (part->m_refs != 0) {
            text += ", " + part->Describe();
        }
    }
    return text;
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

void FakeObject::Abandon() {
    for (auto& [iid, object] : m_exposed) {
        object.Detach();
    }
    for (FakeObject* part : m_parts) {
        part->Abandon();
    }
}

HRESULT FakeObject::Query(REFIID iid, void** out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    *out = nullptr;
    if (iid == kIidFake) {
        *out = this;
        return S_OK;
    }
    const auto act = [&]() -> HRESULT {
        IUnknown* const found = FindInterface(iid);
        if (found == nullptr) {
            return E_NOINTERFACE;
        }
        found->AddRef();
        *out = found;
        return S_OK;
    };
    if (iid == IID_IUnknown) {
        return act(); // cannot fail by the rules of COM
    }
    return Invoke(m_name, results, kQueryCall, "QueryInterface", std::tie(iid), act);
}

void FakeObject::Journalise(const char* method) const {
    if ((Journal::Get().Kinds() & kRefCall) != 0) {
        Line line;
        fakes::Describe(line, m_name, method);
        Journal::Get().Append(line.View());
    }
}

ULONG FakeObject::AddReference() {
    if (g_demolishing) {
        return 1;
    }
    if (m_owner != nullptr) {
        m_owner->AddReference();
    }
    Journalise("AddRef");
    return ++m_refs;
}

ULONG FakeObject::DropReference() {
    if (g_demolishing) {
        return 1;
    }
    Journalise("Release");
    const ULONG left = --m_refs;
    if (left == static_cast<ULONG>(-1)) {
        m_refs = 0;
        ReportFailure(m_name + " is released more often than it is referenced");
        return 0;
    }
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
    if (object == nullptr || FAILED(object->QueryInterface(kIidFake, &fake))) {
        return nullptr;
    }
    return static_cast<FakeObject*>(fake);
}

void Write(Line& line, IUnknown* object) {
    if (object == nullptr) {
        line.Text("null");
    } else if (const FakeObject* fake = AsFake(object); fake != nullptr) {
        line.Text(fake->Name());
    } else {
        line.Text("foreign");
    }
}

} // namespace fakes
