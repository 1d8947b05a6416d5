#pragma once

#include "YMCoderScheme/ReportBuilder.h"
#include "YMCoderScheme/ScriptText.h"

#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>

#include <ymdshow/CoderScheme.h>

namespace ymdshow {

/// What a scheme set consists of.
struct SchemeTables {
    using Filters = std::map<std::wstring, std::shared_ptr<FilterInfo>>;
    using Schemes = std::map<std::string, std::shared_ptr<CCoderScheme::Scheme>>;

    Filters& filters;
    Schemes& schemes;
};

/// Reads one script into a scheme set. False, with the tables as they were, when the script
/// is refused or anything is thrown.
bool LoadScript(const SchemeTables& tables, const ScriptText& text, bool replace,
                ReportBuilder& report);

using FilterList = std::list<FilterInfo*>;
using FilterNames = std::unordered_set<std::wstring_view>;

/// Appends each entry of `from` to `list` unless it may stand only once and its name is among
/// `names`, those that stood there before; they are told the new ones.
void MergeFilters(FilterList& list, const FilterList& from, FilterNames& names);

void AddNames(const FilterList& list, FilterNames& names);

} // namespace ymdshow
