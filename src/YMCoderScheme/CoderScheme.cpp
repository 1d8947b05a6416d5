#include <ymdshow/CoderScheme.h>

#include "Text/Text.h"
#include "YMCoderScheme/SchemeLoader.h"
#include "YMCoderScheme/ScriptFile.h"

#include <exception>
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

/// Runs a load whose exceptions, those of memory that ran out, are its failure.
template <class Action> bool RunLoad(SchemeLoadReport& report, Action&& action) {
    std::wstring reason; // made before there is need
    try {
        reason = L"memory ran out";
        ReportBuilder builder(report);
        return action(builder);
    } catch (const std::exception&) {
        report = {};
        report.failure = Failure::OutOfMemory;
        report.failureReason = std::move(reason);
        return false;
    }
}

/// Runs an operation that fails when memory runs out.
template <class Action> bool RunGuarded(Action&& action) {
    try {
        return action();
    } catch (const std::exception&) {
        return false;
    }
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
        if (path.empty()) {
            return report.Fail(Failure::NoPath, L"there is no path");
        }
        std::string bytes;
        if (!ReadScriptFile(path, bytes)) {
            return report.Fail(Failure::CannotOpen, L"the file cannot be opened or read");
        }
        ScriptText script;
        TextPosition bad;
        if (!script.SetFile(std::move(bytes), &bad)) {
            return report.Fail(Failure::Encoding, L"the file is malformed UTF-8", bad);
        }
        return SchemeLoader::Load({m_mapFilterInfo, m_mapScheme}, script, replace != 0, report);
    });
}

bool CCoderScheme::LoadScheme(const std::string& path, int replace) {
    std::wstring wide;
    const auto widen = [&](ReportBuilder&) {
        wide = text::ToWide(path);
        return true;
    };
    return RunLoad(m_report, widen) && LoadScheme(wide, replace);
}

bool CCoderScheme::LoadSchemeByScript(const std::string& script, int replace) {
    return RunLoad(m_report, [&](ReportBuilder& report) {
        ScriptText text;
        text.SetScript(script);
        return SchemeLoader::Load({m_mapFilterInfo, m_mapScheme}, text, replace != 0, report);
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
    return RunGuarded([&] { return FindScheme(text::ToNarrow(type), out); });
}

bool CCoderScheme::ConfigScheme(const std::vector<std::string>& types, Scheme& out) {
    return RunGuarded([&] {
        NameIndex index(out.listFilter);
        for (const std::string& type : types) {
            Scheme* scheme = nullptr;
            if (FindScheme(type, &scheme)) {
                MergeFilters(out.listFilter, std::list<FilterInfo*>(scheme->listFilter), index);
            }
        }
        return true;
    });
}

bool CCoderScheme::ConfigScheme(const std::vector<std::wstring>& types, Scheme& out) {
    return RunGuarded([&] {
        std::vector<std::string> narrow;
        narrow.reserve(types.size());
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
    std::vector<std::string> types;
    const bool complete = RunGuarded([&] {
        types.reserve(m_mapScheme.size());
        for (const auto& [type, scheme] : m_mapScheme) {
            if (!type.empty()) { // a blank name in a script makes this; no look-up finds it
                types.push_back(type);
            }
        }
        return true;
    });
    if (!complete) {
        types.clear();
    }
    return types;
}

void CCoderScheme::UnloadScheme() {
    m_mapFilterInfo.clear();
    m_mapScheme.clear();
}

void CCoderScheme::UnloadModules() {
    m_moduleManager.RemoveAllModule();
}

} // namespace ymdshow
