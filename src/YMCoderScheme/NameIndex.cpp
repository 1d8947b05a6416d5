#include "YMCoderScheme/NameIndex.h"

#include <functional>
#include <iterator>

namespace ymdshow {

namespace {

/// Below this, walking the list is cheaper than hashing.
constexpr std::size_t shortList = 16;

} // namespace

bool NameIndex::Contains(std::wstring_view name, std::size_t count) {
    if (count <= shortList) {
        auto at = m_list.begin();
        for (std::size_t i = 0; i < count; ++i, ++at) {
            if ((*at)->strName == name) {
                return true;
            }
        }
        return false;
    }
    while (m_counted < count) {
        m_last = m_counted == 0 ? m_list.begin() : std::next(m_last);
        m_names.insert((*m_last)->strName);
        ++m_counted;
    }
    return m_names.count(name) != 0;
}

void NameIndex::Reset() {
    m_names.clear();
    m_counted = 0;
}

FilterInfo* FilterCache::Find(std::wstring_view name) const {
    if (m_slots.empty()) {
        return nullptr;
    }
    return m_slots[SlotOf(m_slots, std::hash<std::wstring_view>()(name), name)].info;
}

void FilterCache::Remember(FilterInfo* info) {
    if (2 * (m_count + 1) > m_slots.size()) {
        std::vector<Slot> larger(m_slots.empty() ? 64 : 2 * m_slots.size());
        for (const Slot& slot : m_slots) {
            if (slot.info != nullptr) {
                larger[SlotOf(larger, slot.hash, slot.info->strName)] = slot;
            }
        }
        m_slots.swap(larger);
    }
    const std::size_t hash = std::hash<std::wstring_view>()(info->strName);
    Slot& slot = m_slots[SlotOf(m_slots, hash, info->strName)];
    m_count += slot.info == nullptr ? 1 : 0;
    slot = {hash, info};
}

std::size_t FilterCache::SlotOf(const std::vector<Slot>& slots, std::size_t hash,
                                std::wstring_view name) {
    std::size_t at = hash & (slots.size() - 1);
    while (slots[at].info != nullptr &&
           (slots[at].hash != hash || slots[at].info->strName != name)) {
        at = (at + 1) & (slots.size() - 1);
    }
    return at;
}

void MergeFilters(std::list<FilterInfo*>& list, const std::list<FilterInfo*>& from,
                  NameIndex& index) {
    const std::size_t before = list.size();
    auto at = from.begin();
    for (std::size_t left = from.size(); left > 0; --left, ++at) {
        if (!(*at)->bOnlyOne || !index.Contains((*at)->strName, before)) {
            list.push_back(*at);
        }
    }
}

} // namespace ymdshow
