#include "fakes/FakeObject.h"

#include <algorithm>
#include <cstdio>
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

void Ledger::Add(FakeObject& object) {
    const std::lock_guard lock(m_mutex);
    object.m_serial = ++m_serial;
    object.m_next = m_first;
    if (m_first != nullptr) {
        m_first->m_previous = &object;
    }
    m_first = &object;
}

void Ledger::Remove(FakeObject& object) {
    const std::lock_guard lock(m_mutex);
    (object.m_previous != nullptr ? object.m_previous->m_next : m_first) = object.m_next;
    if (object.m_next != nullptr) {
        object.m_next->m_previous = object.m_previous;
    }
}

Ledger::Mark Ledger::Now() {
    const std::lock_guard lock(m_mutex);
    return m_serial;
}

std::size_t Ledger::Count(Mark since) {
    const std::lock_guard lock(m_mutex);
    std::size_t count = 0;
    for (const FakeObject* object = m_first; object != nullptr; object = object->m_next) {
        count += object->m_serial > since ? 1 : 0;
    }
    return count;
}

std::vector<std::string> Ledger::Alive(Mark since) {
    const std::lock_guard lock(m_mutex);
    std::vector<std::string> texts;
    for (const FakeObject* object = m_first; object != nullptr; object = object->m_next) {
        if (object->m_serial > since) {
            texts.push_back(object->Describe());
        }
    }
    std::reverse(texts.begin(), texts.end());
    return texts;
}

bool Ledger::IsAlive(const FakeObject* object) {
    const std::lock_guard lock(m_mutex);
    for (const FakeObject* alive = m_first; alive != nullptr; alive = alive->m_next) {
        if (alive == object) {
            return true;
        }
    }
    return false;
}

void Ledger::ExpectLeak(FakeObject& object, ULONG references) {
    m_expected.push_back({&object, &object.Listed(), references, object.Name()});
}

std::vector<std::string> Ledger::Settle(Mark since) {
    Silence silence;
    std::vector<std::string> problems;
    for (const Expected& expected : std::exchange(m_expected, {})) {
        ULONG released = 0;
        while (released < expected.references && IsAlive(expected.listed) &&
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
    {
        const std::lock_guard lock(m_mutex);
        for (FakeObject* object = m_first; object != nullptr; object = object->m_next) {
            if (object->m_serial > since) {
                object->Abandon();
            }
        }
    }
    for (;;) {
        FakeObject* leaked = nullptr;
        {
            const std::lock_guard lock(m_mutex);
            for (FakeObject* object = m_first; object != nullptr; object = object->m_next) {
                if (object->m_serial > since) {
                    leaked = object;
                    break;
                }
            }
        }
        if (leaked == nullptr) {
            break;
        }
        delete leaked;
    }
    g_demolishing = false;
    return problems;
}

FakeObject::FakeObject(std::string name, bool listed) : m_name(std::move(name)), m_listed(listed) {
    if (m_listed) {
        Ledger::Get().Add(*this);
    } else {
        m_refs = 0;
    }
}

FakeObject::~FakeObject() {
    if (m_listed) {
        Ledger::Get().Remove(*this);
    }
}

std::string FakeObject::Describe() const {
    return m_name + ": " + std::to_string(Refs()) + " references";
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
    return Invoke(m_name, results, kQueryCall, "QueryInterface", act, iid);
}

ULONG FakeObject::AddReference() {
    if (g_demolishing) {
        return 1;
    }
    if ((Journal::Get().Kinds() & kRefCall) != 0) {
        Line line;
        detail::Describe(line, m_name, "AddRef");
        Journal::Get().Append(line.View());
    }
    return ++m_refs;
}

ULONG FakeObject::DropReference() {
    if (g_demolishing) {
        return 1;
    }
    if ((Journal::Get().Kinds() & kRefCall) != 0) {
        Line line;
        detail::Describe(line, m_name, "Release");
        Journal::Get().Append(line.View());
    }
    const ULONG left = --m_refs;
    if (left == static_cast<ULONG>(-1)) {
        m_refs = 0;
        ReportFailure(m_name + " is released more often than it is referenced");
        return 0;
    }
    if (left == 0 && m_listed) {
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
