#include "SchemeCheck.h"

#include <ymdshow/ymdshow.h>

#include "Console.h"
#include "MediaPath.h"
#include "Text.h"

namespace ymds {

namespace {

using Report = ymdshow::SchemeLoadReport;

const wchar_t* RoleName(std::int32_t role) {
    switch (role) {
    case 1:
        return L"source";
    case 2:
        return L"transform";
    case 4:
        return L"render";
    default:
        return L"role by its pins";
    }
}

std::wstring FilterText(const ymdshow::FilterInfo& filter) {
    std::wstring text = filter.strName + L"  (" + RoleName(filter.nType);
    text += filter.bOnlyOne ? L", only one" : L"";
    text += filter.bCache ? L"" : L", not cached";
    text += L")  " + ymdshow::GuidText(filter.clsid);
    if (filter.bHasDMOCategory) {
        text += L"  DMO of " + ymdshow::GuidText(filter.clsidDMOCategory);
    }
    if (filter.bHasCategory) {
        text += L"  category " + ymdshow::GuidText(filter.clsidCategory);
    }
    if (!filter.strPath.empty()) {
        text += L"  module " + filter.strPath;
    }
    return text;
}

const wchar_t* KindText(Report::Kind kind) {
    switch (kind) {
    case Report::Kind::IgnoredFilter:
    case Report::Kind::DuplicateName:
    case Report::Kind::UnknownReference:
    case Report::Kind::RepeatedFilter:
    case Report::Kind::IgnoredScheme:
        return L"ignored";
    case Report::Kind::CutTypeList:
        return L"not read to its end";
    default:
        return L"doubtful";
    }
}

std::wstring SchemesText(ymdshow::CCoderScheme& scheme) {
    std::wstring text;
    const std::vector<std::string> types = scheme.GetSchemeTypes();
    for (const std::string& type : types) {
        text += ymdshow::NarrowToWide(type) + L"\n";
        ymdshow::CCoderScheme::Scheme* filters = nullptr;
        unsigned number = 0;
        if (scheme.FindScheme(type, &filters)) {
            for (const ymdshow::FilterInfo* filter : filters->listFilter) {
                text += L"  " + std::to_wstring(++number) + L" " + FilterText(*filter) + L"\n";
            }
        }
        text += number == 0 ? L"  no filters\n" : L"";
    }
    return text + (types.empty() ? L"no types\n" : L"");
}

std::wstring EntriesText(const std::wstring& script, const Report& report) {
    std::wstring text;
    for (const Report::Entry& entry : report.entries) {
        text += ScriptPlace(script, entry.line, entry.column) + L": " + KindText(entry.kind) +
                L": " + entry.place + L": " + entry.reason + L"\n";
    }
    if (report.omitted > 0) {
        text += L"and " + std::to_wstring(report.omitted) + L" more\n";
    }
    return text;
}

} // namespace

std::wstring ScriptPlace(const std::wstring& script, std::size_t line, std::size_t column) {
    return line == 0 ? script
                     : script + L":" + std::to_wstring(line) + L":" + std::to_wstring(column);
}

int SchemeCheck(const SchemeCheckOptions& options) {
    ymdshow::CCoderScheme scheme;
    const bool loaded = scheme.LoadScheme(options.script, 0);
    const Report& report = scheme.GetLoadReport();
    if (!loaded) {
        Complain(ScriptPlace(options.script, report.line, report.column) +
                 L": the script does not load: " + report.failureReason);
        return kExitFailed;
    }
    Out().Write(SchemesText(scheme) + EntriesText(options.script, report));
    return kExitPlayed;
}

} // namespace ymds
