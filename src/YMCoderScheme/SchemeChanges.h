#pragma once

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <ymdshow/CoderScheme.h>

namespace ymdshow {

/// What a scheme set consists of.
struct SchemeTables {
    using Filters = std::map<std::wstring, std::shared_ptr<FilterInfo>>;
    using Schemes = std::map<std::string, std::shared_ptr<CCoderScheme::Scheme>>;

    Filters& filters;
    Schemes& schemes;
};

/// The changes that one load makes to a scheme set. Undone when this object goes, unless
/// they were confirmed.
class SchemeChanges {
public:
    using FilterList = std::list<FilterInfo*>;

    explicit SchemeChanges(const SchemeTables& tables) : m_tables(tables) {}
    SchemeChanges(const SchemeChanges&) = delete;
    SchemeChanges& operator=(const SchemeChanges&) = delete;
    ~SchemeChanges();

    void Confirm();

    /// Adds a filter whose name is new; `hint` is where it belongs in the map.
    FilterInfo* AddFilter(SchemeTables::Filters::iterator hint, std::shared_ptr<FilterInfo> info);

    void AddScheme(const std::string& type, FilterList&& list);
    void ReplaceList(CCoderScheme::Scheme& scheme, FilterList&& list);

    /// To be called before entries are appended to its list.
    void WillExtend(CCoderScheme::Scheme& scheme);

private:
    /// A scheme that is new, or one with its former list or that list's length.
    struct Change {
        bool isNew = false;
        bool isReplaced = false;
        SchemeTables::Schemes::iterator added{};
        CCoderScheme::Scheme* scheme = nullptr;
        FilterList former{};
        std::size_t formerSize = 0;
    };

    void Undo(Change& change);

    SchemeTables m_tables;
    std::vector<SchemeTables::Filters::iterator> m_filters;
    std::vector<Change> m_changes;
};

} // namespace ymdshow
