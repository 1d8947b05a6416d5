#include "fakes/Journal.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include <gtest/gtest.h>

namespace fakes {

namespace {

/// The nesting depth of each thread, in a system slot: thread_local may allocate.
const DWORD g_depthSlot = TlsAlloc();

} // namespace

bool Matches(std::string_view text, std::string_view pattern) {
    if (pattern.empty() || pattern[0] != '*') {
        return text.empty() || pattern.empty()
                   ? text == pattern
                   : text[0] == pattern[0] && Matches(text.substr(1), pattern.substr(1));
    }
    return Matches(text, pattern.substr(1)) || (!text.empty() && Matches(text.substr(1), pattern));
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
    narrow.resize(static_cast<std::size_t>(
        WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), narrow.data(),
                            static_cast<int>(narrow.size()), nullptr, nullptr)));
    return narrow;
}

void Line::Text(std::string_view text) {
    const std::size_t size = std::min(text.size(), sizeof m_text - m_size);
    std::memcpy(m_text + m_size, text.data(), size);
    m_size += size;
}

void Line::Number(long long number) {
    char digits[24];
    Text({digits, std::to_chars(digits, std::end(digits), number).ptr});
}

void Line::Write(const wchar_t* text) {
    char bytes[160];
    const int length = text != nullptr ? static_cast<int>(wcsnlen(text, 50)) : 0;
    const int size =
        WideCharToMultiByte(CP_UTF8, 0, text, length, bytes, sizeof bytes, nullptr, nullptr);
    Text(text != nullptr ? std::string_view(bytes, static_cast<std::size_t>(size)) : "null");
}

void Line::Write(const LONGLONG* number) {
    number != nullptr ? Number(*number) : Text("null");
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
        m_slots[index].line.Text(line);
        m_slots[index].ready = true;
    }
}

void Journal::Clear() {
    for (Slot& slot : m_slots) {
        slot.ready = false;
    }
    m_size = 0;
}

std::vector<std::string> Journal::Lines() const {
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < std::min(m_size.load(), m_slots.size()); ++i) {
        if (m_slots[i].ready) {
            lines.emplace_back(m_slots[i].line.View());
        }
    }
    if (m_size > m_slots.size()) {
        ReportFailure("the journal is full: switch it off or clear it");
    }
    return lines;
}

std::vector<std::string> Journal::Take() {
    std::vector<std::string> lines = Lines();
    Clear();
    return lines;
}

std::vector<std::string> Journal::Matching(std::string_view pattern) const {
    std::vector<std::string> lines = Lines();
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

void ResultTable::Entry::operator=(Answer answer) {
    answers = {answer};
    always = true;
}

void ResultTable::Entry::operator=(std::initializer_list<HRESULT> results) {
    answers.assign(results.begin(), results.end());
    always = false;
}

std::optional<Answer> ResultTable::Take(std::string_view method) {
    const auto found = m_entries.find(method);
    if (found == m_entries.end() || found->second.answers.empty()) {
        return std::nullopt;
    }
    auto& [answers, always] = found->second;
    const Answer answer = answers.front();
    if (!always) {
        answers.erase(answers.begin());
    }
    return answer;
}

Silence::Silence() : m_depth(reinterpret_cast<std::size_t>(TlsGetValue(g_depthSlot))) {
    TlsSetValue(g_depthSlot, reinterpret_cast<void*>(m_depth + 1));
}

Silence::~Silence() {
    TlsSetValue(g_depthSlot, reinterpret_cast<void*>(m_depth));
}

std::atomic<FaultPlan*> FaultPlan::s_current{nullptr};

FaultPlan::FaultPlan(std::size_t n, HRESULT result) : m_n(n), m_result(result) {
    s_current = this;
}

FaultPlan::~FaultPlan() {
    s_current = nullptr;
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
