#include "YMCoderScheme/SchemeChanges.h"

#include <utility>

namespace ymdshow {

// Each change gets its place in the record first, so that none can be made and then not
// be recorded when memory runs out.

SchemeChanges::~SchemeChanges() {
    for (auto change = m_changes.rbegin(); change != m_changes.rend(); ++change) {
        Undo(*change);
    }
    for (const auto filter : m_filters) {
        if (filter != m_tables.filters.end()) {
            m_tables.filters.erase(filter);
        }
    }
}

void SchemeChanges::Confirm() {
    m_changes.clear();
    m_filters.clear();
}

FilterInfo* SchemeChanges::AddFilter(SchemeTables::Filters::iterator hint,
                                     std::shared_ptr<FilterInfo> info) {
    m_filters.push_back(m_tables.filters.end());
    m_filters.back() = m_tables.filters.emplace_hint(hint, info->strName, std::move(info));
    return m_filters.back()->second.get();
}

void SchemeChanges::AddScheme(const std::string& type, FilterList&& list) {
    auto scheme = std::make_shared<CCoderScheme::Scheme>();
    scheme->listFilter = std::move(list);
    Change& change = m_changes.emplace_back();
    change.added = m_tables.schemes.emplace(type, std::move(scheme)).first;
    change.isNew = true;
}

void SchemeChanges::ReplaceList(CCoderScheme::Scheme& scheme, FilterList&& list) {
    Change& change = m_changes.emplace_back();
    change.isReplaced = true;
    change.scheme = &scheme;
    change.former = std::move(scheme.listFilter);
    scheme.listFilter = std::move(list);
}

void SchemeChanges::WillExtend(CCoderScheme::Scheme& scheme) {
    Change& change = m_changes.emplace_back();
    change.scheme = &scheme;
    change.formerSize = scheme.listFilter.size();
}

void SchemeChanges::Undo(Change& change) {
    if (change.isNew) {
        m_tables.schemes.erase(change.added);
    } else if (change.isReplaced) {
        change.scheme->listFilter = std::move(change.former);
    } else if (change.scheme != nullptr) {
        while (change.scheme->listFilter.size() > change.formerSize) {
            change.scheme->listFilter.pop_back();
        }
    }
}

} // namespace ymdshow
