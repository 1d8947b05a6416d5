#pragma once

#include <dshow.h>

#include <functional>
#include <utility>

#include "fakes/FakeObject.h"

namespace fakes {

/// An enumerator over what `at` gives: item number i with a reference (or memory) for the
/// caller, null at the end. With `version`, a change makes Next answer
/// VFW_E_ENUM_OUT_OF_SYNC until Reset. Keeps its owner alive.
template <class Enum, class Item> class FakeEnum final : public FakeOf<Enum> {
public:
    using At = std::function<Item*(std::size_t index)>;
    using Version = std::function<unsigned()>;

    FakeEnum(FakeObject& owner, const char* suffix, At at, Version version = nullptr)
        : FakeOf<Enum>(owner.Name() + suffix), m_owner(&owner), m_at(std::move(at)),
          m_version(std::move(version)) {
        m_owner->AddReference();
        this->results = owner.enumResults;
        m_seen = m_version ? m_version() : 0;
    }
    ~FakeEnum() override {
        if (m_owner != nullptr) {
            m_owner->DropReference();
        }
    }
    void Abandon() override { m_owner = nullptr; }

    HRESULT STDMETHODCALLTYPE Next(ULONG wanted, Item** items, ULONG* fetched) override {
        if (fetched != nullptr) {
            *fetched = 0;
        }
        return EnumCall("Next", [&]() -> HRESULT {
            if (items == nullptr || (wanted != 1 && fetched == nullptr)) {
                return E_POINTER;
            }
            if (m_version && m_version() != m_seen) {
                return VFW_E_ENUM_OUT_OF_SYNC;
            }
            ULONG count = 0;
            while (count < wanted && (items[count] = m_at(m_next)) != nullptr) {
                ++m_next;
                ++count;
            }
            if (fetched != nullptr) {
                *fetched = count;
            }
            return count == wanted ? S_OK : S_FALSE;
        });
    }
    HRESULT STDMETHODCALLTYPE Reset() override {
        return EnumCall("Reset", [&] {
            m_next = 0;
            m_seen = m_version ? m_version() : 0;
            return S_OK;
        });
    }
    FAKE_UNEXPECTED(Skip, ULONG)
    FAKE_UNEXPECTED(Clone, Enum**)

private:
    template <class Act> HRESULT EnumCall(const char* method, Act&& act) {
        return fakes::Invoke(this->Name(), this->results, kEnumCall, method, std::tuple<>(), act);
    }

    FakeObject* m_owner;
    At m_at;
    Version m_version;
    std::size_t m_next = 0;
    unsigned m_seen = 0;
};

} // namespace fakes
