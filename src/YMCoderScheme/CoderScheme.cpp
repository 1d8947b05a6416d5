#include <ymdshow/CoderScheme.h>

#include "Guard.h"
#include "Text/Text.h"
#include "YMCoderScheme/SchemeLoader.h"

#include <optional>
#include <utility>

namespace ymdshow {

namespace {

using Failure = SchemeLoadReport::Failure;

/// The entries of a scheme set are shared by its copies. The lists are not: a load into
/// one copy changes them in place.
std::map<std::string, std::shared_ptr<CCoderScheme::Scheme>>
DuplicateSchemes(const std::map<std::string, std::shared_ptr<CCoderScheme::Scheme>>& schemes) {
    std::map<std::string, std::shared_ptr<CCoderScheme::Scheme>> copies;
    for (const auto& [type, scheme] : schemes) {
        copies.emplace_hint(copies.end(), type, std::make_shared<CCoderScheme::Scheme>(*scheme));
    }
    return copies;
}

/// Runs a load. Whatever is thrown, mostly by memory that ran out, is its failure.
template <class Action> bool RunLoad(SchemeLoadReport& report, Action&& action) {
    std::wstring reason; // made before there is need
    const std::optional<bool> loaded = AnswerOr(std::optional<bool>(), [&] {
        reason = L"memory ran out";
        ReportBuilder builder(report);
        return std::optional<bool>(action(builder));
    });
    if (!loaded.has_value()) {
        report = {};
        report.failure = Failure::OutOfMemory;
        report.failureReason = std::move(reason);
    }
    return loaded.value_or(false);
}

bool LoadFile(const SchemeTables& tables, const std::wstring& path, int replace,
              ReportBuilder& report) {
    if (path.empty()) {
        return report.Fail(Failure::NoPath, L"there is no path");
    }
    std::string bytes;
    if (!text::ReadFile(path, bytes)) {
        return report.Fail(Failure::CannotOpen, L"the file cannot be opened or read");
    }
    ScriptText script;
    TextPosition bad;
    if (!script.SetFile(std::move(bytes), &bad)) {
        return report.Fail(Failure::Encoding, L"the file is malformed UTF-8", bad);
    }
    return LoadScript(tables, script, replace != 0, report);
}

} // namespace

CCoderScheme::CCoderScheme() = default;

CCoderScheme::CCoderScheme(const CCoderScheme& other)
    : m_mapFilterInfo(other.m_mapFilterInfo), m_moduleManager(other.m_moduleManager),
      m_mapScheme(DuplicateSchemes(other.m_mapScheme)), m_report(other.m_report) {}

CCoderScheme& CCoderScheme::operator=(const CCoderScheme& other) {
    // All or nothing: the lists of the one must never stand beside the entries of the other.
    CCoderScheme copy(other);
    m_moduleManager = copy.m_moduleManager;
    m_mapFilterInfo.swap(copy.m_mapFilterInfo);
    m_mapScheme.swap(copy.m_mapScheme);
    std::swap(m_report, copy.m_report);
    return *this;
}

CCoderScheme::~CCoderScheme() {
    UnloadScheme();
    UnloadModules();
}

bool CCoderScheme::LoadScheme(const std::wstring& path, int replace) {
    return RunLoad(m_report, [&](ReportBuilder& report) {
        return LoadFile({m_mapFilterInfo, m_mapScheme}, path, replace, report);
    });
}

bool CCoderScheme::LoadScheme(const std::string& path, int replace) {
    return RunLoad(m_report, [&](ReportBuilder& report) {
        return LoadFile({m_mapFilterInfo, m_mapScheme}, text::ToWide(path), replace, report);
    });
}

bool CCoderScheme::LoadSchemeByScript(const std::string& script, int replace) {
    return RunLoad(m_report, [&](ReportBuilder& report) {
        ScriptText text;
        text.SetScript(script);
        return LoadScript({m_mapFilterInfo, m_mapScheme}, text, replace != 0, report);
    });
}

bool CCoderScheme::FindScheme(const std::string& type, Scheme** out) {
    if (type.empty()) {
        return false;
    }
    if (out != nullptr) {
        *out = nullptr;
    }
    const auto found = m_mapScheme.find(type);
    if (found == m_mapScheme.end()) {
        return false;
    }
    if (out != nullptr) {
        *out = found->second.get();
    }
    return true;
}

bool CCoderScheme::FindScheme(const std::wstring& type, Scheme** out) {
    return AnswerOr(false, [&] { return FindScheme(text::ToNarrow(type), out); });
}

bool CCoderScheme::ConfigScheme(const std::vector<std::string>& types, Scheme& out) {
    return AnswerOr(false, [&] {
        FilterNames names;
        AddNames(out.listFilter, names);
        for (const std::string& type : types) {
            Scheme* scheme = nullptr;
            if (FindScheme(type, &scheme)) {
                MergeFilters(out.listFilter, scheme->listFilter, names);
            }
        }
        return true;
    });
}

bool CCoderScheme::ConfigScheme(const std::vector<std::wstring>& types, Scheme& out) {
    return AnswerOr(false, [&] {
        std::vector<std::string> narrow;
        for (const std::wstring& type : types) {
            narrow.push_back(text::ToNarrow(type));
        }
        return ConfigScheme(narrow, out);
    });
}

const SchemeLoadReport& CCoderScheme::GetLoadReport() const {
    return m_report;
}

std::vector<std::string> CCoderScheme::GetSchemeTypes() const {
    return AnswerOr(std::vector<std::string>(), [&] {
        std::vector<std::string> types;
        for (const auto& [type, scheme] : m_mapScheme) {
            if (!type.empty()) { // a blank name in a script makes this; no look-up finds it
                types.push_back(type);
            }
        }
        return types;
    });
}

void CCoderScheme::UnloadScheme() {
    m_mapFilterInfo.clear();
    m_mapScheme.clear();
}

void CCoderScheme::UnloadModules() {
    m_moduleManager.RemoveAllModule();
}

} // namespace ymdshow
