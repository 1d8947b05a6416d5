#include "YMCoderScheme/ReportBuilder.h"

#include "Text/Text.h"

namespace ymdshow {

namespace {

constexpr std::size_t maxQuoted = 100;

std::wstring Quote(std::wstring_view text) {
    std::wstring quoted = L" \"";
    quoted += text.substr(0, maxQuoted);
    quoted += text.size() > maxQuoted ? L"...\"" : L"\"";
    return quoted;
}

/// Keys come as the JSON reader gives them, mostly UTF-8.
std::wstring ShownKey(std::string_view key) {
    std::size_t bad = 0;
    std::wstring shown = text::DecodeUtf8(key, &bad);
    return bad == std::string_view::npos ? shown : ShownText(key);
}

} // namespace

std::wstring ScriptPlace::ToText(std::string_view key) const {
    std::wstring text;
    if (list != List::None) {
        text = list == List::Filter ? L"Filter" : L"Schemes";
        if (index != none) {
            text += L"[" + std::to_wstring(index) + L"]";
        }
        if (filter != none) {
            text += L".Filters[" + std::to_wstring(filter) + L"]";
        }
    }
    if (!key.empty()) {
        text += text.empty() ? L"" : L".";
        text += ShownKey(key).substr(0, maxQuoted);
    }
    return text;
}

ReportBuilder::ReportBuilder(SchemeLoadReport& report) : m_report(report) {
    m_report = {};
}

void ReportBuilder::Reset() {
    m_report = {};
    m_offsets.clear();
}

void ReportBuilder::Add(Kind kind, const ScriptPlace& place, std::string_view key,
                        std::size_t offset, std::wstring_view reason) {
    if (m_report.entries.size() == SchemeLoadReport::maxEntries) {
        ++m_report.omitted;
        return;
    }
    // A key may be empty; for the other kinds that means that there is none.
    const bool isUnnamed = kind == Kind::UnknownKey && key.empty();
    m_report.entries.push_back(
        {kind, place.ToText(isUnnamed ? "\"\"" : key), 0, 0, std::wstring(reason)});
    m_offsets.push_back(offset);
}

void ReportBuilder::Add(Kind kind, const ScriptPlace& place, std::string_view key,
                        std::size_t offset, std::wstring_view reason, std::wstring_view quoted) {
    const std::size_t count = m_report.entries.size();
    Add(kind, place, key, offset, reason);
    if (m_report.entries.size() > count) {
        m_report.entries.back().reason += Quote(quoted);
    }
}

bool ReportBuilder::Fail(Failure failure, std::wstring_view reason) {
    return Fail(failure, reason, {});
}

bool ReportBuilder::Fail(Failure failure, std::wstring_view reason, const TextPosition& position) {
    m_report.failure = failure;
    m_report.failureReason = reason;
    m_report.line = position.line;
    m_report.column = position.column;
    return false;
}

void ReportBuilder::Finish(const ScriptText& text) {
    if (m_report.entries.empty()) {
        return;
    }
    const std::vector<TextPosition> positions = text.Locate(m_offsets);
    for (std::size_t i = 0; i < positions.size(); ++i) {
        m_report.entries[i].line = positions[i].line;
        m_report.entries[i].column = positions[i].column;
    }
}

std::wstring ShownText(std::string_view text) {
    std::wstring shown = text::ToWide(std::string(text));
    if (shown.empty()) {
        for (const char c : text) {
            shown += static_cast<unsigned char>(c) < 0x80 ? static_cast<wchar_t>(c) : L'?';
        }
    }
    return shown;
}

} // namespace ymdshow
