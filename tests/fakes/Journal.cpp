#include "fakes/Journal.h"

#include <gtest/gtest.h>

namespace fakes {

bool Matches(std::string_view text, std::string_view pattern) {
    if (text.empty() || pattern.empty()) {
        return text.empty() && pattern.find_first_not_of('*') == std::string_view::npos;
    }
    const bool star = pattern[0] == '*';
    return (star && Matches(text, pattern.substr(1))) ||
           ((star || text[0] == pattern[0]) &&
            Matches(text.substr(1), pattern.substr(star ? 0 : 1)));
}

std::wstring Widen(std::string_view text) {
    std::wstring wide(text.size(), L'\0');
    const int size = static_cast<int>(text.size());
    wide.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), size)));
    return wide;
}

std::string Narrow(std::wstring_view text) {
    std::string narrow(text.size() * 3, '\0');
    const int size = static_cast<int>(text.size());
    narrow.resize(static_cast<std::size_t>(WideCharToMultiByte(
        CP_UTF8, 0, text.data(), size, narrow.data(), 3 * size, nullptr, nullptr)));
    return narrow;
}

HRESULT Announce(CallKind kind, const Line& line) {
    if ((Journal::Get().Kinds() & kind) != 0) {
        Journal::Get().Append(line.View());
    }
    FaultPlan* const plan = FaultPlan::Current();
    return plan != nullptr ? plan->Strike(line) : S_OK;
}

void ReportFailure(const std::string& text) {
    ADD_FAILURE() << text;
}

} // namespace fakes
