#pragma once

#include "YMCoderScheme/FilterReader.h"
#include "YMCoderScheme/NameIndex.h"
#include "YMCoderScheme/SchemeChanges.h"

#include <list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace ymdshow {

/// Reads one script into a scheme set.
class SchemeLoader {
public:
    SchemeLoader(const SchemeLoader&) = delete;
    SchemeLoader& operator=(const SchemeLoader&) = delete;

    /// False, with the tables as they were, when the script is refused.
    static bool Load(const SchemeTables& tables, const ScriptText& text, bool replace,
                     ReportBuilder& report);

private:
    using FilterList = std::list<FilterInfo*>;
    using Kind = SchemeLoadReport::Kind;

    SchemeLoader(const SchemeTables& tables, const ScriptText& text, bool replace,
                 ReportBuilder& report);

    /// Reads a plain script element by element. False for any other, and for one that is
    /// no JSON: reading it as a whole tells what is wrong.
    bool LoadParts();
    bool LoadWhole();
    void Finish();

    Json::Value* ParseSchemes();
    void ReportRootKeys();
    void ReadFilters(Json::Value& filters);
    void ReadFilter(const Json::Value& element, const ScriptPlace& place);
    void ReadScheme(Json::Value& scheme, ScriptPlace place);
    FilterList ReadList(Json::Value& filters, ScriptPlace place);
    FilterInfo* FindOrRead(const Json::Value& element, const ScriptPlace& place);
    FilterInfo* FindFilter(const std::wstring& name);
    void ReadTypes(const Json::Value& type, const ScriptPlace& place);
    bool Store(std::string_view type, FilterList& list, bool mayMove);
    NameIndex& IndexOf(CCoderScheme::Scheme& scheme);

    void Report(Kind kind, const ScriptPlace& place, std::string_view key, const Json::Value& value,
                std::wstring_view reason);
    void Report(Kind kind, const ScriptPlace& place, std::string_view key, const Json::Value& value,
                std::wstring_view reason, std::wstring_view quoted);

    SchemeTables m_tables;
    SchemeChanges m_changes;
    const ScriptText& m_text;
    ScriptDocument m_document;
    FilterReader m_reader;
    bool m_replace;
    ReportBuilder& m_report;
    std::vector<std::wstring> m_lostNames; ///< referred to and not described
    std::size_t m_entriesLeft;
    FilterTable m_known; ///< filters of m_tables, as far as this script has named them
    std::unordered_map<CCoderScheme::Scheme*, NameIndex> m_indexes; ///< of schemes merged into
    std::string m_typeText;
    std::string m_typeKey;
    std::vector<std::string_view> m_types; ///< the names in m_typeText
};

} // namespace ymdshow
