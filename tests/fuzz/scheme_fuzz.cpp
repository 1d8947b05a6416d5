// Loads arbitrary scripts and looks at what came of them. The first byte chooses: bit 0
// replace or merge, bit 1 the bytes of a file or a script text.

#include "Check.h"
#include "YMCoderScheme/SchemeLoader.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <utility>

#include <ymdshow/CoderScheme.h>

using namespace ymdshow;

namespace {

/// A scheme set whose loads also take the bytes of a file.
class Set : public CCoderScheme {
public:
    bool LoadFile(const std::string& bytes, bool replace, SchemeLoadReport& report) {
        ReportBuilder builder(report);
        ScriptText script;
        TextPosition bad;
        if (!script.SetFile(bytes, &bad)) {
            return builder.Fail(SchemeLoadReport::Failure::Encoding, L"malformed", bad);
        }
        return SchemeLoader::Load({m_mapFilterInfo, m_mapScheme}, script, replace, builder);
    }

    /// Every entry of every list is owned by the set, and stands under its name.
    void CheckEntries() const {
        for (const auto& [name, info] : m_mapFilterInfo) {
            FUZZ_CHECK(info != nullptr && info->strName == name);
        }
        for (const auto& [type, scheme] : m_mapScheme) {
            for (const FilterInfo* info : scheme->listFilter) {
                FUZZ_CHECK(m_mapFilterInfo.at(info->strName).get() == info);
            }
        }
    }
};

void CheckReport(const SchemeLoadReport& report, bool loaded, const std::string& text) {
    FUZZ_CHECK(loaded == (report.failure == SchemeLoadReport::Failure::None));
    FUZZ_CHECK(loaded == report.failureReason.empty());
    FUZZ_CHECK(loaded || report.entries.empty());
    const auto lines =
        static_cast<std::size_t>(std::count_if(text.begin(), text.end(),
                                               [](char c) { return c == '\n' || c == '\r'; })) +
        1;
    for (const SchemeLoadReport::Entry& entry : report.entries) {
        FUZZ_CHECK(entry.line >= 1 && entry.line <= lines);
        FUZZ_CHECK(entry.column >= 1 && entry.column <= text.size() + 1);
        FUZZ_CHECK(!entry.place.empty() && !entry.reason.empty());
    }
}

/// The script with a member that is read as a whole and means nothing; empty when there
/// is no place for one.
std::string ReadAsAWhole(const std::string& script) {
    const std::size_t brace = script.find_first_not_of(" \t\r\n");
    if (brace == script.npos || script[brace] != '{') {
        return {};
    }
    const std::size_t member = script.find_first_not_of(" \t\r\n", brace + 1);
    if (member == script.npos || script[member] != '"') {
        return {};
    }
    std::string whole = script;
    return whole.insert(brace + 1, "\"\\b\":0,");
}

/// Plain scripts are read element by element. That must come to the same.
void CheckOtherWay(CCoderScheme& set, bool loaded, bool replace, const std::string& script) {
    const std::string whole = ReadAsAWhole(script);
    if (whole.empty()) {
        return;
    }
    CCoderScheme other;
    FUZZ_CHECK(other.LoadSchemeByScript(whole, replace) == loaded);
    FUZZ_CHECK(other.GetSchemeTypes() == set.GetSchemeTypes());
    for (const std::string& type : set.GetSchemeTypes()) {
        CCoderScheme::Scheme* one = nullptr;
        CCoderScheme::Scheme* two = nullptr;
        FUZZ_CHECK(set.FindScheme(type, &one) && other.FindScheme(type, &two));
        FUZZ_CHECK(std::equal(one->listFilter.begin(), one->listFilter.end(),
                              two->listFilter.begin(), two->listFilter.end(),
                              [](const FilterInfo* a, const FilterInfo* b) {
                                  return a->strName == b->strName && a->strPath == b->strPath &&
                                         a->nType == b->nType && a->bOnlyOne == b->bOnlyOne;
                              }));
    }
    const auto& entries = set.GetLoadReport().entries;
    const auto& others = other.GetLoadReport().entries; // with one more, in front or behind
    if (loaded && others.size() < SchemeLoadReport::maxEntries) {
        FUZZ_CHECK(others.size() == entries.size() + 1);
        for (std::size_t i = 0; i < entries.size(); ++i) {
            FUZZ_CHECK(std::any_of(others.begin(), others.end(), [&](const auto& entry) {
                return entry.kind == entries[i].kind && entry.place == entries[i].place &&
                       entry.reason == entries[i].reason && entry.line == entries[i].line;
            }));
        }
    }
}

/// What was read by one load into an empty set, replacing.
void CheckLists(CCoderScheme& set) {
    for (const std::string& type : set.GetSchemeTypes()) {
        CCoderScheme::Scheme* scheme = nullptr;
        FUZZ_CHECK(set.FindScheme(type, &scheme) && scheme != nullptr);
        FUZZ_CHECK(type.find(';') == type.npos);
        std::set<std::wstring> seen;
        for (const FilterInfo* info : scheme->listFilter) {
            FUZZ_CHECK(!info->bOnlyOne || seen.insert(info->strName).second);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const bool replace = (data[0] & 1) != 0;
    const bool isFile = (data[0] & 2) != 0;
    const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);

    Set set;
    SchemeLoadReport report;
    const bool loaded =
        isFile ? set.LoadFile(text, replace, report) : set.LoadSchemeByScript(text, replace);
    CheckReport(isFile ? report : set.GetLoadReport(), loaded, text);
    FUZZ_CHECK(loaded || set.GetSchemeTypes().empty());
    set.CheckEntries();
    if (!isFile) {
        CheckOtherWay(set, loaded, replace, text);
    }
    if (!loaded) {
        return 0;
    }
    if (replace) {
        CheckLists(set);
    }

    // A copy outlives its source, and another load and merge.
    CCoderScheme copy(set);
    const std::vector<std::string> types = set.GetSchemeTypes();
    FUZZ_CHECK(set.LoadSchemeByScript(text, 0) || isFile);
    set.CheckEntries();
    set.UnloadScheme();
    CCoderScheme::Scheme merged;
    FUZZ_CHECK(copy.ConfigScheme(types, merged));
    std::size_t length = 0;
    for (const FilterInfo* info : merged.listFilter) {
        length += info->strName.size();
    }
    FUZZ_CHECK(copy.GetSchemeTypes() == types && length < (1U << 30));
    return 0;
}
