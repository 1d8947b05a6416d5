// The report of a script's load, for a person.

#include <ymdshow/SchemeReport.h>

#include "Guard.h"

namespace ymdshow {

namespace {

using Report = SchemeLoadReport;

/// "script.json:3:14"; the script alone for line 0.
std::wstring Place(const std::wstring& script, std::size_t line, std::size_t column) {
    return line == 0 ? script
                     : script + L":" + std::to_wstring(line) + L":" + std::to_wstring(column);
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

std::wstring Entries(const std::wstring& script, const Report& report) {
    std::wstring text;
    for (const Report::Entry& entry : report.entries) {
        text += Place(script, entry.line, entry.column) + L": " + KindText(entry.kind) + L": " +
                entry.place + L": " + entry.reason + L"\n";
    }
    if (report.omitted > 0) {
        text += L"and " + std::to_wstring(report.omitted) + L" more\n";
    }
    return text;
}

std::wstring Refusal(const std::wstring& script, const Report& report) {
    return Place(script, report.line, report.column) + L": the script does not load: " +
           report.failureReason;
}

} // namespace

std::wstring SchemeLoadReport::Text(const std::wstring& script) const {
    return AnswerOr(std::wstring(), [&] {
        return failure != Report::Failure::None ? Refusal(script, *this) : Entries(script, *this);
    });
}

} // namespace ymdshow
