#include "YMCoderScheme/SchemeLoader.h"

#include "Log.h"
#include "Text/Text.h"
#include "YMCoderScheme/FilterReader.h"
#include "YMCoderScheme/ScriptDocument.h"

#include <algorithm>
#include <cctype>
#include <unordered_map>
#include <utility>
#include <vector>

#define YMD_LOG_SOURCE "src/YMCoderScheme"

namespace ymdshow {

namespace {

using Kind = SchemeLoadReport::Kind;
using Key = FilterObject::Key;
using Scheme = CCoderScheme::Scheme;

constexpr const char* kFunction = "ymdshow::CCoderScheme::LoadSchemeByScript";

const Json::Value* Member(const Json::Value& object, std::string_view key) {
    const Json::Value* value =
        object.isObject() ? object.find(key.data(), key.data() + key.size()) : nullptr;
    return value == nullptr || value->isNull() ? nullptr : value;
}

/// The entries that one script may put into lists. A few names of types before a long
/// list multiply; no script in use comes near this, a hostile one must not fill memory.
std::size_t EntryBudget(const ScriptText& text) {
    constexpr std::size_t kBase = 4'000'000;
    return kBase + text.ForReader().size() / 8;
}

/// The names in the "Type" of a scheme, separated by ";", up to the first empty one. The
/// text is lower-cased byte by byte in the process locale, second bytes of double-byte
/// characters included; that is kept. `isCut` when names stand behind the empty one.
std::vector<std::string> SplitTypes(std::string& text, bool& isCut) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const std::string_view types = text::Trim(text);
    std::vector<std::string> names;
    isCut = false;
    for (std::size_t at = 0; at < types.size();) {
        const std::size_t end = std::min(types.find(';', at), types.size());
        if (end == at) {
            isCut = types.find_first_not_of("; \t\r\n", at) != types.npos;
            break;
        }
        names.emplace_back(text::Trim(types.substr(at, end - at)));
        at = end + 1;
    }
    return names;
}

template <class Map> void MoveInto(Map& map, Map& from) {
    if (map.empty()) {
        map.swap(from); // most sets are loaded once; merging looks for each key's place again
    } else {
        map.merge(from);
    }
}

/// Reads a script beside the tables of a scheme set.
class SchemeLoader {
public:
    SchemeLoader(const SchemeTables& tables, const ScriptDocument& document,
                 std::size_t entryBudget, bool replace, ReportBuilder& report)
        : m_tables(tables), m_document(document), m_reader(document, report), m_replace(replace),
          m_report(report), m_entriesLeft(entryBudget) {}

    void Read(const Json::Value& schemes);

    /// Moves what was read into the tables, which nothing can stop.
    void Commit() noexcept;

private:
    void ReportRootKeys();
    void ReadFilter(const Json::Value& element);
    void ReadScheme(const Json::Value& scheme, ScriptPlace place);
    FilterList ReadList(const Json::Value& filters, ScriptPlace place);
    FilterInfo* FindOrRead(const Json::Value& element);
    FilterInfo* Find(const std::wstring& name) const;
    FilterInfo* Add(std::shared_ptr<FilterInfo> info);
    bool Store(const std::string& type, FilterList list);

    SchemeTables m_tables;
    const ScriptDocument& m_document;
    FilterReader m_reader;
    bool m_replace;
    ReportBuilder& m_report;
    std::size_t m_entriesLeft;
    SchemeTables::Filters m_filters; ///< the new ones
    /// New schemes; for a type that has one, what replaces its list or comes behind it.
    SchemeTables::Schemes m_schemes;
    std::unordered_map<const Scheme*, FilterNames> m_names; ///< of those merged into
};

void SchemeLoader::Read(const Json::Value& schemes) {
    ReportRootKeys();
    const Json::Value* const filters = Member(m_document.Root(), "Filter");
    if (filters != nullptr && filters->isArray()) {
        ScriptPlace place{ScriptPlace::List::Filter, 0};
        for (const Json::Value& element : *filters) {
            m_report.MoveTo(place);
            ReadFilter(element);
            ++place.index;
        }
    } else if (filters != nullptr) {
        m_report.Add(Kind::WrongType, "Filter", *filters, L"is no array");
    }
    ScriptPlace place{ScriptPlace::List::Schemes, 0};
    for (const Json::Value& scheme : schemes) {
        ReadScheme(scheme, place);
        ++place.index;
    }
}

void SchemeLoader::Commit() noexcept {
    MoveInto(m_tables.filters, m_filters);
    for (const auto& [type, added] : m_schemes) {
        const auto found = m_tables.schemes.find(type);
        if (found == m_tables.schemes.end()) {
            continue;
        }
        FilterList& list = found->second->listFilter;
        if (m_replace) {
            list.swap(added->listFilter);
        } else {
            list.splice(list.end(), added->listFilter);
        }
    }
    MoveInto(m_tables.schemes, m_schemes);
}

void SchemeLoader::ReportRootKeys() {
    const Json::Value& root = m_document.Root();
    for (auto it = root.begin(); it != root.end(); ++it) {
        const std::string name = it.name();
        // "$schema" names the schema for editors.
        if (name != "Schemes" && name != "Filter" && name != "$schema") {
            m_report.Add(Kind::UnknownKey, name, *it, L"no script has this key");
        }
    }
}

void SchemeLoader::ReadFilter(const Json::Value& element) {
    const FilterObject object = m_reader.Collect(element);
    if (object[Key::Name] == nullptr || object[Key::Clsid] == nullptr) {
        m_report.Add(Kind::IgnoredFilter, {}, element,
                     !element.isObject()            ? L"is no object"
                     : object[Key::Name] == nullptr ? L"has no \"Name\""
                                                    : L"has no \"CLSID\"");
        return;
    }
    const std::wstring& name = m_reader.GetName(object);
    if (Find(name) != nullptr) {
        m_report.Add(Kind::DuplicateName, {}, element,
                     L"a filter of this name is described already:" + Quote(name));
    } else if (auto info = m_reader.Read(object); info != nullptr) {
        Add(std::move(info));
    } else {
        m_report.Add(Kind::IgnoredFilter, {}, element, L"\"CLSID\" is no string");
    }
}

void SchemeLoader::ReadScheme(const Json::Value& scheme, ScriptPlace place) {
    m_report.MoveTo(place);
    const Json::Value* const type = Member(scheme, "Type");
    const Json::Value* const filters = Member(scheme, "Filters");
    const bool hasType = type != nullptr && type->isString();
    if (!hasType || filters == nullptr || !filters->isArray()) {
        m_report.Add(Kind::IgnoredScheme, {}, scheme,
                     !scheme.isObject() ? L"is no object"
                     : !hasType         ? L"has no \"Type\" that is a string"
                                        : L"has no \"Filters\" that is an array");
        return;
    }
    for (auto it = scheme.begin(); it != scheme.end(); ++it) {
        if (&*it != type && &*it != filters) {
            m_report.Add(Kind::UnknownKey, it.name(), *it, L"no scheme has this key");
        }
    }
    FilterList list = ReadList(*filters, place);
    m_report.MoveTo(place);
    std::string text;
    if (!m_document.GetNarrow(*type, text)) {
        m_report.Add(Kind::UnreadableText, "Type", *type,
                     L"has characters that are not in code page 936, read as \"?\"");
    }
    bool isCut = false;
    const std::vector<std::string> types = SplitTypes(text, isCut);
    if (isCut) {
        m_report.Add(Kind::CutTypeList, "Type", *type,
                     L"has an empty name; those behind it are not read:" + Quote(ShownText(text)));
    }
    if (types.empty()) {
        m_report.Add(Kind::IgnoredScheme, "Type", *type, L"names no file type");
    }
    for (const std::string& name : types) {
        if (!Store(name, &name == &types.back() ? std::move(list) : list)) {
            m_report.Add(Kind::TooLarge, {}, scheme,
                         L"the lists of the script grow too long here; not stored from the type" +
                             Quote(ShownText(name)));
            break;
        }
    }
}

FilterList SchemeLoader::ReadList(const Json::Value& filters, ScriptPlace place) {
    FilterList list;
    std::unordered_set<const FilterInfo*> once;
    place.filter = 0;
    for (const Json::Value& element : filters) {
        m_report.MoveTo(place);
        if (FilterInfo* const info = FindOrRead(element); info != nullptr) {
            // In one load a name is one description.
            if (info->bOnlyOne && !once.insert(info).second) {
                m_report.Add(Kind::RepeatedFilter, {}, element,
                             L"may stand only once and is in the list already:" +
                                 Quote(info->strName));
            } else {
                list.push_back(info);
            }
        }
        ++place.filter;
    }
    return list;
}

FilterInfo* SchemeLoader::FindOrRead(const Json::Value& element) {
    const FilterObject object = m_reader.Collect(element);
    if (object[Key::Name] == nullptr) {
        m_report.Add(Kind::IgnoredFilter, {}, element,
                     element.isObject() ? L"has no \"Name\"" : L"is no object");
        return nullptr;
    }
    const std::wstring& name = m_reader.GetName(object);
    if (FilterInfo* const known = Find(name); known != nullptr) {
        if (!object.isReference) {
            m_report.Add(Kind::DuplicateName, {}, element,
                         L"a filter of this name is described already, and that one stands here:" +
                             Quote(name));
        }
        return known;
    }
    if (object[Key::Clsid] == nullptr) {
        YMD_LOG_WARNING(kFunction, L"Load Filter Info Failed, Has No Enougth Value : %s",
                        name.c_str());
        m_report.Add(Kind::UnknownReference, {}, element,
                     L"no filter of this name is described so far:" + Quote(name));
        return nullptr;
    }
    auto info = m_reader.Read(object);
    if (info == nullptr) {
        m_report.Add(Kind::IgnoredFilter, {}, element, L"\"CLSID\" is no string");
        return nullptr;
    }
    return Add(std::move(info));
}

FilterInfo* SchemeLoader::Find(const std::wstring& name) const {
    for (const SchemeTables::Filters* filters : {&m_filters, &std::as_const(m_tables.filters)}) {
        const auto found = filters->find(name);
        if (found != filters->end()) {
            return found->second.get();
        }
    }
    return nullptr;
}

FilterInfo* SchemeLoader::Add(std::shared_ptr<FilterInfo> info) {
    return m_filters.emplace(info->strName, info).first->second.get();
}

/// False when the script's lists have grown too long.
bool SchemeLoader::Store(const std::string& type, FilterList list) {
    if (list.size() > m_entriesLeft) {
        return false;
    }
    m_entriesLeft -= list.size();
    const auto [at, isNew] = m_schemes.try_emplace(type);
    if (isNew) {
        at->second = std::make_shared<Scheme>();
    }
    Scheme& added = *at->second;
    const auto former = m_tables.schemes.find(type);
    if (m_replace || (isNew && former == m_tables.schemes.end())) {
        added.listFilter = std::move(list);
        return true;
    }
    const auto [names, isFirst] = m_names.try_emplace(&added);
    if (isFirst) {
        AddNames(added.listFilter, names->second);
        if (former != m_tables.schemes.end()) {
            AddNames(former->second->listFilter, names->second);
        }
    }
    MergeFilters(added.listFilter, list, names->second);
    return true;
}

} // namespace

bool LoadScript(const SchemeTables& tables, const ScriptText& text, bool replace,
                ReportBuilder& report) {
    using Failure = SchemeLoadReport::Failure;
    if (text.ForReader().empty()) {
        return report.Fail(Failure::EmptyScript, L"the script is empty");
    }
    ScriptDocument document(text);
    ScriptDocument::SyntaxError error;
    if (!document.Parse(error)) {
        return report.Fail(Failure::Syntax, ShownText(error.message),
                           text.Locator().Find(text.OffsetInOriginal(error.offset)));
    }
    const Json::Value* const schemes = Member(document.Root(), "Schemes");
    if (schemes == nullptr || !schemes->isArray()) {
        return report.Fail(Failure::NoSchemes, schemes == nullptr ? L"the script has no \"Schemes\""
                                                                  : L"\"Schemes\" is no array");
    }
    SchemeLoader loader(tables, document, EntryBudget(text), replace, report);
    loader.Read(*schemes);
    report.Finish(text);
    loader.Commit();
    return true;
}

void MergeFilters(FilterList& list, const FilterList& from, FilterNames& names) {
    FilterList added;
    for (FilterInfo* const info : from) {
        if (!info->bOnlyOne || !names.contains(info->strName)) {
            added.push_back(info);
        }
    }
    AddNames(added, names);
    list.splice(list.end(), added);
}

void AddNames(const FilterList& list, FilterNames& names) {
    for (const FilterInfo* const info : list) {
        names.insert(info->strName);
    }
}

} // namespace ymdshow
