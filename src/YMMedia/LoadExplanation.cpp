// The report of a load, for a person.

#include <windows.h>

#include <array>
#include <set>

#include <ymdshow/LoadReport.h>
#include <ymdshow/Text.h>

#include "Guard.h"

namespace ymdshow {

namespace {

std::wstring Number(HRESULT result) {
    std::array<wchar_t, 16> text{};
    swprintf_s(text.data(), text.size(), L"0x%08lX", static_cast<unsigned long>(result));
    return text.data();
}

std::wstring Hex(HRESULT result) {
    return L" (" + Number(result) + L")";
}

std::wstring InFull(HRESULT result) {
    return Number(result) + L", " + ResultText(result);
}

std::wstring MissingText(const LoadReport::Filter& filter) {
    return L" The filter " + filter.name +
           (filter.created ? L" was not taken into the graph: " : L" could not be made: ") +
           ResultText(filter.result) + Hex(filter.result) + L".";
}

std::wstring EndText(const LoadReport::DeadEnd& end) {
    std::wstring text = L" No renderer was reached from " + end.filter + L", pin " + end.pin;
    text += end.mediaType.empty() ? L"" : L": " + end.mediaType;
    if (FAILED(end.result)) {
        text += L"; " + ResultText(end.result) + Hex(end.result);
    }
    for (const LoadReport::Refusal& refusal : end.refusals) {
        text += L"; " + refusal.filter +
                (refusal.result == S_OK ? L" takes the type, but could not be connected"
                                        : L" refuses it: " + ResultText(refusal.result));
    }
    return text + L".";
}

/// A source filter that refused the file.
bool IsOpening(const LoadReport::Attempt& attempt) {
    return attempt.step == L"TrySourceFilter" && FAILED(attempt.result) && !attempt.filter.empty();
}

std::wstring Text(const LoadReport& report) {
    std::wstring text;
    std::set<std::wstring> told;
    if (!report.failure.empty()) {
        std::wstring failure = report.failure;
        for (const LoadReport::Attempt& attempt : report.attempts) {
            if (IsOpening(attempt) && failure == attempt.step + L": " + attempt.text) {
                failure = attempt.filter + L" would not open it: " + attempt.text;
                told.insert(attempt.filter);
            }
        }
        text = L"The load failed: " + failure + Hex(report.failureResult) + L".";
        for (const LoadReport::Filter& filter : report.filters) {
            text += FAILED(filter.result) ? MissingText(filter) : L"";
        }
    }
    for (const LoadReport::Attempt& attempt : report.attempts) {
        if (!report.failure.empty() && IsOpening(attempt) && told.insert(attempt.filter).second) {
            text += L" " + attempt.filter + L" would not open it: " + attempt.text + L".";
        }
    }
    for (const LoadReport::DeadEnd& end : report.deadEnds) {
        text += EndText(end);
    }
    return text.empty() || text.front() != L' ' ? text : L"Not everything is played." + text;
}

std::wstring Lines(const LoadReport& load) {
    std::wstring text;
    if (!load.names.empty()) {
        text += L"  scheme names:";
        for (const auto& name : load.names) {
            text += L" " + name.name + (name.found ? L" (found)" : L"");
        }
        text += L"\n";
    }
    for (const auto& filter : load.filters) {
        text += L"  filter " + filter.name + L" " +
                (filter.module.empty() ? GuidText(filter.clsid) : filter.module) + L": " +
                (filter.added                                 ? L"added"
                 : filter.created && SUCCEEDED(filter.result) ? L"left out, it has no role"
                 : filter.created ? L"refused by the graph, " + InFull(filter.result)
                                  : L"not created, " + InFull(filter.result)) +
                L"\n";
    }
    for (const auto& attempt : load.attempts) {
        text += L"  way " + std::to_wstring(attempt.way) + L", " + attempt.step;
        text += attempt.filter.empty() ? L"" : L" " + attempt.filter;
        text += L": " + Number(attempt.result) + L", " + attempt.text + L"\n";
    }
    return text;
}

} // namespace

std::wstring LoadReport::Steps() const {
    return AnswerOr(std::wstring(), [this] { return Lines(*this); });
}

std::wstring LoadReport::Explain() const {
    return AnswerOr(std::wstring(), [this] { return Text(*this); });
}

std::wstring FileTrouble(const std::wstring& path) {
    return AnswerOr(std::wstring(), [&]() -> std::wstring {
        const auto failure = [] {
            const HRESULT result = HRESULT_FROM_WIN32(GetLastError());
            return ResultText(result) + Hex(result);
        };
        WIN32_FILE_ATTRIBUTE_DATA data{};
        if (GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) == FALSE) {
            switch (GetLastError()) {
            case ERROR_FILE_NOT_FOUND:
            case ERROR_PATH_NOT_FOUND:
            case ERROR_INVALID_NAME:
            case ERROR_BAD_PATHNAME:
                return L"not found";
            default:
                return L"cannot be looked up: " + failure();
            }
        }
        if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
            return L"is a directory";
        }
        if (data.nFileSizeHigh == 0 && data.nFileSizeLow == 0) {
            return L"is empty";
        }
        const HANDLE file =
            CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                        OPEN_EXISTING, 0, nullptr);
        if (file == INVALID_HANDLE_VALUE) {
            return L"cannot be opened: " + failure();
        }
        CloseHandle(file);
        return {};
    });
}

} // namespace ymdshow
