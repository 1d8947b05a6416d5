#pragma once

#include "YMCoderScheme/FilterReader.h"
#include "YMCoderScheme/NameIndex.h"

#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace ymdshow {

/// What a scheme set consists of.
struct SchemeTables {
    std::map<std::wstring, std::shared_ptr<FilterInfo>>& filters;
    std::map<std::string, std::shared_ptr<CCoderScheme::Scheme>>& schemes;
};

/// Reads one script into a scheme set.
class SchemeLoader {
public:
    SchemeLoader(const SchemeTables& tables, const ScriptText& text, bool replace,
                 ReportBuilder& report);
    SchemeLoader(const SchemeLoader&) = delete;
    SchemeLoader& operator=(const SchemeLoader&) = delete;

    /// False, with the tables as they were, when the script is refused.
    bool Load();

private:
    using FilterList = std::list<FilterInfo*>;
    using Kind = SchemeLoadReport::Kind;

    const Json::Value* ParseSchemes();
    void ReportRootKeys();
    void ReadFilters(const Json::Value& filters);
    void ReadScheme(const Json::Value& scheme, ScriptPlace place);
    FilterList ReadList(const Json::Value& filters, ScriptPlace place);
    FilterInfo* FindOrRead(const Json::Value& element, const ScriptPlace& place);
    std::vector<std::string> ReadTypes(const Json::Value& type, const ScriptPlace& place);
    bool Store(const std::string& type, FilterList& list, bool mayMove);
    NameIndex& IndexOf(CCoderScheme::Scheme& scheme);

    SchemeTables m_tables;
    const ScriptText& m_text;
    ScriptDocument m_document;
    FilterReader m_reader;
    bool m_replace;
    ReportBuilder& m_report;
    std::size_t m_entriesLeft;
    std::unordered_map<CCoderScheme::Scheme*, NameIndex> m_indexes; ///< of schemes merged into
};

/// The names in the "Type" of a scheme: lower-cased byte by byte in the process locale,
/// separated by ";", up to the first empty one. `cut` tells that more stand behind it.
std::vector<std::string> SplitTypes(std::string_view text, bool* cut);

} // namespace ymdshow
