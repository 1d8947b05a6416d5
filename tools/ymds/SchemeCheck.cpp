#include "SchemeCheck.h"

#include <ymdshow/ymdshow.h>

#include "Console.h"
#include "MediaPath.h"
#include "Text.h"

namespace ymds {

namespace {

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

} // namespace

int SchemeCheck(const SchemeCheckOptions& options) {
    ymdshow::CCoderScheme scheme;
    const bool loaded = scheme.LoadScheme(options.script, 0);
    const std::wstring said = scheme.GetLoadReport().Text(options.script);
    if (!loaded) {
        Complain(said);
        return kExitFailed;
    }
    Out().Write(SchemesText(scheme) + said);
    return kExitPlayed;
}

} // namespace ymds
