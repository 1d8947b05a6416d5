#include "fakes/Journal.h"

#include <algorithm>
#include <cstring>

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

void Line::Write(std::string_view text) {
    const std::size_t size = std::min(text.size(), sizeof m_text - m_size);
    std::memcpy(m_text + m_size, text.data(), size);
    m_size += size;
}

Journal& Journal::Get() {
    static Journal journal;
    return journal;
}

void Journal::Append(std::string_view line) {
    if (const auto listener = m_listener.load(); listener != nullptr) {
        listener(line);
    }
    // Lines() reports when it is full.
    if (const std::size_t index = m_size++; index < m_slots.size()) {
        m_slots[index].line = {};
        m_slots[index].line.Write(line);
        m_slots[index].ready = true;
    }
}

void Journal::Clear() {
    for (Slot& slot : m_slots) {
        slot.ready = false;
    }
    m_size = 0;
}

Lines Journal::Lines() const {
    fakes::Lines lines;
    for (const Slot& slot : m_slots) {
        if (slot.ready) {
            lines.emplace_back(slot.line.View());
        }
    }
    if (m_size > m_slots.size()) {
        ReportFailure("the journal is full: switch it off or clear it");
    }
    return lines;
}

Lines Journal::Take() {
    fakes::Lines lines = Lines();
    Clear();
    return lines;
}

Lines Journal::Matching(std::string_view pattern) const {
    fakes::Lines lines = Lines();
    std::erase_if(lines, [&](const std::string& line) { return !Matches(line, pattern); });
    return lines;
}

bool Journal::InOrder(std::initializer_list<std::string_view> patterns) const {
    auto pattern = patterns.begin();
    for (const std::string& line : Lines()) {
        pattern += pattern != patterns.end() && Matches(line, *pattern) ? 1 : 0;
    }
    return pattern == patterns.end();
}

std::optional<Answer> ResultTable::Take(std::string_view method) {
    const auto found = find(method);
    if (found == end() || found->second.list.empty()) {
        return std::nullopt;
    }
    auto& [list, always] = found->second;
    const Answer answer = list.front();
    list.erase(list.begin(), list.begin() + (always ? 0 : 1));
    return answer;
}

HRESULT FaultPlan::Strike(const Line& line) {
    if (++m_calls != m_n) {
        return S_OK;
    }
    m_where = line;
    return m_result;
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
