#include "YMCoderScheme/SchemeLoader.h"

#include "Log.h"
#include "Text/Text.h"
#include "YMCoderScheme/ScriptParts.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <utility>

#define YMD_LOG_SOURCE "src/YMCoderScheme"

namespace ymdshow {

namespace {

constexpr const char* loadFunction = "ymdshow::CCoderScheme::LoadSchemeByScript";

const Json::Value* Member(const Json::Value& object, std::string_view key) {
    const Json::Value* value =
        object.isObject() ? object.find(key.data(), key.data() + key.size()) : nullptr;
    return value == nullptr || value->isNull() ? nullptr : value;
}

Json::Value* Member(Json::Value& object, std::string_view key) {
    return const_cast<Json::Value*>(Member(std::as_const(object), key));
}

/// Frees a part of the document that has been read, while it is still in the caches; what
/// is made of the next part takes its memory.
void Discard(Json::Value& value) {
    Json::Value().swap(value);
}

/// The entries that one script may put into lists. A few names of types before a long
/// list multiply; no script in use comes near this, a hostile one must not fill memory.
std::size_t EntryBudget(const ScriptText& text) {
    constexpr std::size_t base = 4'000'000;
    return base + text.ForReader().size() / 8;
}

/// The names in the "Type" of a scheme, separated by ";", up to the first empty one. The
/// text is lower-cased byte by byte in the process locale, second bytes of double-byte
/// characters included; that is kept. True when names stand behind the empty one.
bool SplitTypes(std::string& text, std::vector<std::string_view>& names) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const std::string_view types = text::Trim(text);
    names.clear();
    for (std::size_t at = 0; at < types.size();) {
        const std::size_t end = std::min(types.find(';', at), types.size());
        if (end == at) {
            return types.find_first_not_of("; \t\r\n", at) != types.npos;
        }
        names.push_back(text::Trim(types.substr(at, end - at)));
        at = end + 1;
    }
    return false;
}

} // namespace

SchemeLoader::SchemeLoader(const SchemeTables& tables, const ScriptText& text, bool replace,
                           ReportBuilder& report)
    : m_tables(tables), m_changes(tables), m_text(text), m_document(text),
      m_reader(m_document, report), m_replace(replace), m_report(report),
      m_entriesLeft(EntryBudget(text)) {}

bool SchemeLoader::Load(const SchemeTables& tables, const ScriptText& text, bool replace,
                        ReportBuilder& report) {
    {
        SchemeLoader loader(tables, text, replace, report);
        if (loader.LoadParts()) {
            loader.Finish();
            return true;
        }
    }
    report.Reset();
    SchemeLoader loader(tables, text, replace, report);
    if (loader.LoadWhole()) {
        loader.Finish();
        return true;
    }
    return false;
}

bool SchemeLoader::LoadParts() {
    ScriptParts parts;
    if (!SplitScript(m_text.ForReader(), parts)) {
        return false;
    }
    ScriptPlace place{ScriptPlace::List::Filter, 0};
    for (const ScriptParts::Range& part : parts.filters) {
        if (!m_document.ParsePart(part.begin, part.end)) {
            return false;
        }
        ReadFilter(m_document.Root(), place);
        ++place.index;
    }
    place = {ScriptPlace::List::Schemes, 0};
    for (const ScriptParts::Range& part : parts.schemes) {
        if (!m_document.ParsePart(part.begin, part.end)) {
            return false;
        }
        ReadScheme(m_document.Root(), place);
        ++place.index;
    }
    return true;
}

bool SchemeLoader::LoadWhole() {
    Json::Value* schemes = ParseSchemes();
    if (schemes == nullptr) {
        return false;
    }
    ReportRootKeys();
    Json::Value* filters = Member(m_document.Root(), "Filter");
    if (filters != nullptr && filters->isArray()) {
        ReadFilters(*filters);
    } else if (filters != nullptr) {
        Report(Kind::WrongType, {}, "Filter", *filters, L"is no array");
    }
    ScriptPlace place{ScriptPlace::List::Schemes, 0};
    for (Json::Value& scheme : *schemes) {
        ReadScheme(scheme, place);
        Discard(scheme);
        ++place.index;
    }
    return true;
}

void SchemeLoader::Finish() {
    m_report.Finish(m_text);
    m_changes.Confirm();
    for (const std::wstring& name : m_lostNames) {
        YMD_LOG_WARNING(loadFunction, L"Load Filter Info Failed, Has No Enougth Value : %s",
                        name.c_str());
    }
}

Json::Value* SchemeLoader::ParseSchemes() {
    using Failure = SchemeLoadReport::Failure;
    if (m_text.ForReader().empty()) {
        m_report.Fail(Failure::EmptyScript, L"the script is empty");
        return nullptr;
    }
    ScriptDocument::SyntaxError error;
    if (!m_document.Parse(error)) {
        m_report.Fail(Failure::Syntax, ShownText(error.message),
                      m_text.Locate({error.offset}).front());
        return nullptr;
    }
    Json::Value* schemes = Member(m_document.Root(), "Schemes");
    if (schemes == nullptr || !schemes->isArray()) {
        m_report.Fail(Failure::NoSchemes, schemes == nullptr ? L"the script has no \"Schemes\""
                                                             : L"\"Schemes\" is no array");
        return nullptr;
    }
    return schemes;
}

void SchemeLoader::ReportRootKeys() {
    const Json::Value& root = m_document.Root();
    for (auto it = root.begin(); it != root.end(); ++it) {
        const std::string name = it.name();
        // "$schema" names the schema for editors.
        if (name != "Schemes" && name != "Filter" && name != "$schema") {
            Report(Kind::UnknownKey, {}, name, *it, L"no script has this key");
        }
    }
}

void SchemeLoader::ReadFilters(Json::Value& filters) {
    ScriptPlace place{ScriptPlace::List::Filter, 0};
    for (Json::Value& element : filters) {
        ReadFilter(element, place);
        Discard(element);
        ++place.index;
    }
}

void SchemeLoader::ReadFilter(const Json::Value& element, const ScriptPlace& place) {
    const FilterObject object = m_reader.Collect(element, place);
    if (object.name == nullptr || object.clsid == nullptr) {
        Report(Kind::IgnoredFilter, place, {}, element,
               !element.isObject()      ? L"is no object"
               : object.name == nullptr ? L"has no \"Name\""
                                        : L"has no \"CLSID\"");
        return;
    }
    const std::wstring& name = m_reader.GetName(object);
    const auto at = m_tables.filters.lower_bound(name);
    if (at != m_tables.filters.end() && at->first == name) {
        Report(Kind::DuplicateName, place, {}, element,
               L"a filter of this name is described already:", name);
    } else if (auto info = m_reader.Read(object, place)) {
        m_known.Insert(m_changes.AddFilter(at, std::move(info)));
    } else {
        Report(Kind::IgnoredFilter, place, {}, element, L"\"CLSID\" is no string");
    }
}

void SchemeLoader::ReadScheme(Json::Value& scheme, ScriptPlace place) {
    const Json::Value* type = Member(scheme, "Type");
    Json::Value* filters = Member(scheme, "Filters");
    if (type == nullptr || !type->isString() || filters == nullptr || !filters->isArray()) {
        const bool noType = type == nullptr || !type->isString();
        Report(Kind::IgnoredScheme, place, {}, scheme,
               !scheme.isObject() ? L"is no object"
               : noType           ? L"has no \"Type\" that is a string"
                                  : L"has no \"Filters\" that is an array");
        return;
    }
    if (scheme.size() > 2) {
        for (auto it = scheme.begin(); it != scheme.end(); ++it) {
            if (&*it != type && &*it != filters) {
                Report(Kind::UnknownKey, place, it.name(), *it, L"no scheme has this key");
            }
        }
    }
    FilterList list = ReadList(*filters, place);
    ReadTypes(*type, place);
    if (m_types.empty()) {
        Report(Kind::IgnoredScheme, place, "Type", *type, L"names no file type");
    }
    for (std::size_t i = 0; i < m_types.size(); ++i) {
        if (!Store(m_types[i], list, i + 1 == m_types.size())) {
            Report(Kind::TooLarge, place, {}, scheme,
                   L"the lists of the script grow too long here; not stored from the type",
                   ShownText(m_types[i]));
            break;
        }
    }
}

SchemeLoader::FilterList SchemeLoader::ReadList(Json::Value& filters, ScriptPlace place) {
    FilterList list;
    NameIndex index(list);
    place.filter = 0;
    for (Json::Value& element : filters) {
        if (FilterInfo* info = FindOrRead(element, place)) {
            if (info->bOnlyOne && index.Contains(info->strName, list.size())) {
                Report(Kind::RepeatedFilter, place, {}, element,
                       L"may stand only once and is in the list already:", info->strName);
            } else {
                list.push_back(info);
            }
        }
        Discard(element);
        ++place.filter;
    }
    return list;
}

FilterInfo* SchemeLoader::FindOrRead(const Json::Value& element, const ScriptPlace& place) {
    const FilterObject object = m_reader.Collect(element, place);
    if (object.name == nullptr) {
        Report(Kind::IgnoredFilter, place, {}, element,
               element.isObject() ? L"has no \"Name\"" : L"is no object");
        return nullptr;
    }
    const std::wstring& name = m_reader.GetName(object);
    if (FilterInfo* known = FindFilter(name)) {
        if (!object.IsReference()) {
            Report(Kind::DuplicateName, place, {}, element,
                   L"a filter of this name is described already, and that one stands here:", name);
        }
        return known;
    }
    if (object.clsid == nullptr) {
        m_lostNames.push_back(name);
        Report(Kind::UnknownReference, place, {}, element,
               L"no filter of this name is described so far:", name);
        return nullptr;
    }
    auto info = m_reader.Read(object, place);
    if (info == nullptr) {
        Report(Kind::IgnoredFilter, place, {}, element, L"\"CLSID\" is no string");
        return nullptr;
    }
    const auto at = m_tables.filters.lower_bound(name);
    FilterInfo* const added = m_changes.AddFilter(at, std::move(info));
    m_known.Insert(added);
    return added;
}

FilterInfo* SchemeLoader::FindFilter(const std::wstring& name) {
    if (FilterInfo* known = m_known.Find(name)) {
        return known;
    }
    const auto found = m_tables.filters.find(name);
    if (found == m_tables.filters.end()) {
        return nullptr;
    }
    m_known.Insert(found->second.get());
    return found->second.get();
}

void SchemeLoader::ReadTypes(const Json::Value& type, const ScriptPlace& place) {
    if (!m_document.GetNarrow(type, m_typeText)) {
        Report(Kind::UnreadableText, place, "Type", type,
               L"has characters that are not in code page 936, read as \"?\"");
    }
    if (SplitTypes(m_typeText, m_types)) {
        Report(Kind::CutTypeList, place, "Type", type,
               L"has an empty name; those behind it are not read:", ShownText(m_typeText));
    }
}

bool SchemeLoader::Store(std::string_view type, FilterList& list, bool mayMove) {
    if (list.size() > m_entriesLeft) {
        return false;
    }
    m_entriesLeft -= list.size();
    m_typeKey = type;
    FilterList own = mayMove ? std::move(list) : list;
    const auto found = m_tables.schemes.find(m_typeKey);
    if (found == m_tables.schemes.end()) {
        m_changes.AddScheme(m_typeKey, std::move(own));
        return true;
    }
    CCoderScheme::Scheme& scheme = *found->second;
    if (!m_replace) {
        m_changes.WillExtend(scheme);
        MergeFilters(scheme.listFilter, std::move(own), IndexOf(scheme));
        return true;
    }
    m_changes.ReplaceList(scheme, std::move(own));
    if (const auto index = m_indexes.find(&scheme); index != m_indexes.end()) {
        index->second.Reset();
    }
    return true;
}

NameIndex& SchemeLoader::IndexOf(CCoderScheme::Scheme& scheme) {
    return m_indexes.try_emplace(&scheme, scheme.listFilter).first->second;
}

void SchemeLoader::Report(Kind kind, const ScriptPlace& place, std::string_view key,
                          const Json::Value& value, std::wstring_view reason) {
    m_report.Add(kind, place, key, m_document.OffsetOf(value), reason);
}

void SchemeLoader::Report(Kind kind, const ScriptPlace& place, std::string_view key,
                          const Json::Value& value, std::wstring_view reason,
                          std::wstring_view quoted) {
    m_report.Add(kind, place, key, m_document.OffsetOf(value), reason, quoted);
}

} // namespace ymdshow
