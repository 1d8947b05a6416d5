#include "YMCoderScheme/NameIndex.h"

#include <functional>
#include <iterator>

namespace ymdshow {

namespace {

/// Below this, walking the list is cheaper than hashing.
constexpr std::size_t shortList = 16;

} // namespace

FilterInfo* FilterTable::Find(std::wstring_view name) const {
    if (m_slots.empty()) {
        return nullptr;
    }
    return m_slots[SlotOf(m_slots, std::hash<std::wstring_view>()(name), name)].info;
}

void FilterTable::Insert(FilterInfo* info) {
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

void FilterTable::Clear() {
    m_slots.clear();
    m_count = 0;
}

std::size_t FilterTable::SlotOf(const std::vector<Slot>& slots, std::size_t hash,
                                std::wstring_view name) {
    std::size_t at = hash & (slots.size() - 1);
    while (slots[at].info != nullptr &&
           (slots[at].hash != hash || slots[at].info->strName != name)) {
        at = (at + 1) & (slots.size() - 1);
    }
    return at;
}

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
        m_names.Insert(*m_last);
        ++m_counted;
    }
    return m_names.Find(name) != nullptr;
}

void NameIndex::Reset() {
    m_names.Clear();
    m_counted = 0;
}

void MergeFilters(std::list<FilterInfo*>& list, std::list<FilterInfo*>&& from, NameIndex& index) {
    const std::size_t before = list.size();
    while (!from.empty()) {
        const FilterInfo* info = from.front();
        if (info->bOnlyOne && index.Contains(info->strName, before)) {
            from.pop_front();
        } else {
            list.splice(list.end(), from, from.begin());
        }
    }
}

} // namespace ymdshow
