#include "fakes/Journal.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include <gtest/gtest.h>

namespace fakes {

namespace {

/// The nesting depth of each thread, in a system slot: thread_local may allocate.
DWORD DepthSlot() {
    static const DWORD slot = TlsAlloc();
    return slot;
}

} // namespace

bool Matches(std::string_view text, std::string_view pattern) {
    const std::size_t star = pattern.find('*');
    if (star == std::string_view::npos) {
        return text == pattern;
    }
    if (!text.starts_with(pattern.substr(0, star))) {
        return false;
    }
    for (std::size_t rest = star; rest <= text.size(); ++rest) {
        if (Matches(text.substr(rest), pattern.substr(star + 1))) {
            return true;
        }
    }
    return false;
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

void Write(Line& line, std::string_view text) {
    line.Text(text);
}

void Write(Line& line, const wchar_t* text) {
    if (text == nullptr) {
        line.Text("null");
        return;
    }
    char bytes[160];
    const int size = WideCharToMultiByte(CP_UTF8, 0, text,
                                         static_cast<int>(std::min<std::size_t>(wcslen(text), 50)),
                                         bytes, sizeof bytes, nullptr, nullptr);
    line.Text({bytes, static_cast<std::size_t>(std::max(size, 0))});
}

Journal::Journal() : m_slots(kCapacity) {
    DepthSlot();
}

Journal& Journal::Get() {
    static Journal journal;
    return journal;
}

void Journal::Append(std::string_view line) {
    if (const auto listener = m_listener.load(); listener != nullptr) {
        listener(line);
    }
    const std::size_t index = m_size.fetch_add(1, std::memory_order_relaxed);
    if (index >= m_slots.size()) {
        return; // Lines() reports the overflow
    }
    Slot& slot = m_slots[index];
    slot.size = static_cast<unsigned char>(std::min(line.size(), sizeof slot.text));
    std::memcpy(slot.text, line.data(), slot.size);
    slot.ready.store(true, std::memory_order_release);
}

void Journal::Clear() {
    const std::size_t size = std::min(m_size.load(), m_slots.size());
    for (std::size_t i = 0; i < size; ++i) {
        m_slots[i].ready.store(false, std::memory_order_relaxed);
    }
    m_size = 0;
}

std::vector<std::string> Journal::Lines() const {
    const std::size_t size = m_size.load();
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < std::min(size, m_slots.size()); ++i) {
        if (m_slots[i].ready.load(std::memory_order_acquire)) {
            lines.emplace_back(m_slots[i].text, m_slots[i].size);
        }
    }
    if (size > m_slots.size()) {
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

std::size_t Journal::Count(std::string_view pattern) const {
    return Matching(pattern).size();
}

bool Journal::InOrder(std::initializer_list<std::string_view> patterns) const {
    auto pattern = patterns.begin();
    for (const std::string& line : Lines()) {
        if (pattern != patterns.end() && Matches(line, *pattern)) {
            ++pattern;
        }
    }
    return pattern == patterns.end();
}

ResultTable::Entry& ResultTable::Entry::Set(std::vector<Answer> answers, bool always) {
    m_answers = std::move(answers);
    m_next = 0;
    m_always = always;
    return *this;
}

bool ResultTable::Take(std::string_view method, Answer& answer) {
    const auto found = m_entries.find(method);
    if (found == m_entries.end() || found->second.m_next >= found->second.m_answers.size()) {
        return false;
    }
    Entry& entry = found->second;
    answer = entry.m_answers[entry.m_next];
    entry.m_next += entry.m_always ? 0 : 1;
    return true;
}

Silence::Silence() : m_depth(reinterpret_cast<std::size_t>(TlsGetValue(DepthSlot()))) {
    TlsSetValue(DepthSlot(), reinterpret_cast<void*>(m_depth + 1));
}

Silence::~Silence() {
    TlsSetValue(DepthSlot(), reinterpret_cast<void*>(m_depth));
}

std::atomic<FaultPlan*> FaultPlan::s_current{nullptr};

FaultPlan::FaultPlan(std::size_t n, HRESULT result) : m_n(n), m_result(result) {
    s_current = this;
}

FaultPlan::~FaultPlan() {
    s_current = nullptr;
}

bool FaultPlan::Strikes(const Line& line) {
    if (++m_calls != m_n) {
        return false;
    }
    m_where = line;
    m_hit = true;
    return true;
}

void ReportFailure(const std::string& text) {
    ADD_FAILURE() << text;
}

} // namespace fakes
