#pragma once

#include <cstddef>
#include <list>
#include <string_view>
#include <vector>

#include <ymdshow/CoderScheme.h>

namespace ymdshow {

/// Filters by their names, in one block of memory: a look-up touches two places, where
/// the ordered map touches two for each of its levels.
class FilterTable {
public:
    /// Null when there is none.
    FilterInfo* Find(std::wstring_view name) const;
    void Insert(FilterInfo* info);
    void Clear();

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
    FilterTable m_names;
    std::list<FilterInfo*>::const_iterator m_last{};
    std::size_t m_counted = 0;
};

/// Moves each entry of `from` to the end of `list` unless it may stand only once and its
/// name stood in `list` before. `index` is that of `list`.
void MergeFilters(std::list<FilterInfo*>& list, std::list<FilterInfo*>&& from, NameIndex& index);

} // namespace ymdshow
