#include "fakes/FakeObject.h"

namespace fakes {

namespace {

/// By this a fake tells that it is one; answered without a reference.
constexpr GUID kIidFake = {
    0x6f1d9c3e, 0x52b7, 0x4e0a, {0x9b, 0x64, 0x1c, 0x3a, 0x7d, 0x25, 0xe8, 0x90}};

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

std::vector<std::string> Ledger::Alive(Mark since) {
    const std::lock_guard lock(m_mutex);
    std::vector<std::string> texts;
    for (auto entry = m_alive.upper_bound(since); entry != m_alive.end(); ++entry) {
        texts.push_back(entry->second->Describe());
    }
    return texts;
}

void Ledger::ExpectLeak(FakeObject& object, ULONG references) {
    m_expected.insert(m_expected.end(), references, {&object, object.m_serial, object.Name()});
}

std::vector<std::string> Ledger::Settle(Mark since) {
    const std::lock_guard lock(m_mutex);
    const Silence silence;
    std::vector<std::string> problems;
    for (const Expected& expected : std::exchange(m_expected, {})) {
        if (m_alive.contains(expected.serial) && expected.object->Refs() > 0) {
            expected.object->DropReference();
        } else {
            problems.push_back(expected.name + ": an expected leak less");
        }
    }
    const std::vector<std::string> alive = Alive(since);
    problems.insert(problems.end(), alive.begin(), alive.end());
    m_alive.erase(m_alive.upper_bound(since), m_alive.end());
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
        text += part->m_refs != 0 ? ", " + part->Describe() : "";
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

HRESULT FakeObject::Query(REFIID iid, void** out) {
    if (out == nullptr) {
        return E_POINTER;
    }
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
        Line line;
        line.Text(m_name);
        line.Text(method);
        Journal::Get().Append(line.View());
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
    if (object == nullptr || FAILED(object->QueryInterface(kIidFake, &fake))) {
        return nullptr;
    }
    return static_cast<FakeObject*>(fake);
}

std::string NameOf(IUnknown* object) {
    Line line;
    line.Write(object);
    return std::string(line.View());
}

void Line::Write(IUnknown* object) {
    const FakeObject* const fake = AsFake(object);
    Text(fake != nullptr ? fake->Name() : object != nullptr ? "foreign" : "null");
}

} // namespace fakes
