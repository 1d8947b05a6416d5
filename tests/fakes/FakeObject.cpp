#include "fakes/FakeObject.h"

namespace fakes {

Lines Ledger::Alive(Mark since) {
    const std::lock_guard lock(m_mutex);
    Lines texts;
    for (const FakeObject* object : m_alive) {
        if (object->m_serial > since) {
            texts.push_back(object->Describe());
        }
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
    std::erase_if(m_alive, [&](FakeObject* object) { return object->m_serial > since; });
    return alive;
}

FakeObject::FakeObject(std::string name, FakeObject* owner)
    : m_name(std::move(name)), m_owner(owner), m_refs(owner == nullptr ? 1 : 0) {
    Ledger& ledger = Ledger::Get();
    const std::lock_guard lock(ledger.m_mutex);
    m_serial = ++ledger.m_serial;
    (owner != nullptr ? owner->m_parts : ledger.m_alive).push_back(this);
}

FakeObject::~FakeObject() {
    const std::lock_guard lock(Ledger::Get().m_mutex);
    std::erase(Ledger::Get().m_alive, this);
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
