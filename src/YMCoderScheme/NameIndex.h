#pragma once

#include <cstddef>
#include <list>
#include <string_view>
#include <unordered_set>
#include <vector>

#include <ymdshow/CoderScheme.h>

namespace ymdshow {

/// Answers whether a filter's name stands in a list that grows at its end, without
/// walking it for each question.
class NameIndex {
public:
    explicit NameIndex(const std::list<FilterInfo*>& list) : m_list(list) {}
    NameIndex(const NameIndex&) = delete;
    NameIndex& operator=(const NameIndex&) = delete;

    /// Among the first `count` entries of the list; `count` never decreases.
    bool Contains(std::wstring_view name, std::size_t count);

    /// The list was replaced.
    void Reset();

private:
    const std::list<FilterInfo*>& m_list;
    std::unordered_set<std::wstring_view> m_names;
    std::list<FilterInfo*>::const_iterator m_last{};
    std::size_t m_counted = 0;
};

/// Remembers filters by their names, for look-ups that are far more frequent than the
/// names are many: one cache line each, where the ordered map takes a dozen and more.
class FilterCache {
public:
    /// Null when it is not remembered.
    FilterInfo* Find(std::wstring_view name) const;
    void Remember(FilterInfo* info);

private:
    struct Slot {
        std::size_t hash = 0;
        FilterInfo* info = nullptr;
    };

    static std::size_t SlotOf(const std::vector<Slot>& slots, std::size_t hash,
                              std::wstring_view name);

    std::vector<Slot> m_slots; ///< a power of two of them, at least half empty
    std::size_t m_count = 0;
};

/// Appends each entry of `from` unless it may stand only once and its name stood in
/// `list` before. `index` is that of `list`; both lists may be the same.
void MergeFilters(std::list<FilterInfo*>& list, const std::list<FilterInfo*>& from,
                  NameIndex& index);

} // namespace ymdshow
