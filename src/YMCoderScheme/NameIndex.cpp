#include "YMCoderScheme/NameIndex.h"

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
