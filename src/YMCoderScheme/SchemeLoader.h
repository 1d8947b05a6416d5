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

    Json::Value* ParseSchemes();
    void ReportRootKeys();
    void ReadFilters(Json::Value& filters);
    void ReadFilter(const Json::Value& element, const ScriptPlace& place);
    void ReadScheme(const Json::Value& scheme, ScriptPlace place);
    FilterList ReadList(const Json::Value& filters, ScriptPlace place);
    FilterInfo* FindOrRead(const Json::Value& element, const ScriptPlace& place);
    FilterInfo* FindFilter(const std::wstring& name);
    void ReadTypes(const Json::Value& type, const ScriptPlace& place);
    bool Store(std::string_view type, FilterList& list, bool mayMove);
    NameIndex& IndexOf(CCoderScheme::Scheme& scheme);

    SchemeTables m_tables;
    const ScriptText& m_text;
    ScriptDocument m_document;
    FilterReader m_reader;
    bool m_replace;
    ReportBuilder& m_report;
    std::size_t m_entriesLeft;
    FilterTable m_known; ///< filters of m_tables, as far as this script has named them
    std::unordered_map<CCoderScheme::Scheme*, NameIndex> m_indexes; ///< of schemes merged into
    std::string m_typeText;
    std::string m_typeKey;
    std::vector<std::string_view> m_types; ///< the names in m_typeText
};

} // namespace ymdshow
