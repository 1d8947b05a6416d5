#include "YMCoderScheme/ReportBuilder.h"

#include "Text/Text.h"

#include <algorithm>

namespace ymdshow {

namespace {

constexpr std::size_t kMaxQuoted = 100;

/// Keys come as the JSON reader gives them, mostly UTF-8.
std::wstring ShownKey(std::string_view key) {
    std::size_t bad = 0;
    std::wstring shown = text::DecodeUtf8(key, text::Utf8::Short, &bad);
    return bad == std::string_view::npos ? shown : ShownText(key);
}

} // namespace

std::wstring ScriptPlace::ToText(std::string_view key) const {
    std::wstring text;
    if (list != List::None) {
        text = list == List::Filter ? L"Filter" : L"Schemes";
        text += L"[" + std::to_wstring(index) + L"]";
        if (filter != kNone) {
            text += L".Filters[" + std::to_wstring(filter) + L"]";
        }
    }
    if (!key.empty()) {
        text += text.empty() ? L"" : L".";
        text += ShownKey(key).substr(0, kMaxQuoted);
    }
    return text;
}

void ReportBuilder::Add(Kind kind, std::string_view key, const Json::Value& value,
                        std::wstring reason) {
    if (m_report.entries.size() == SchemeLoadReport::maxEntries) {
        ++m_report.omitted;
        return;
    }
    // A key may be empty; for the other kinds that means that there is none.
    const bool isUnnamed = kind == Kind::UnknownKey && key.empty();
    m_offsets.emplace_back(static_cast<std::size_t>(value.getOffsetStart()),
                           m_report.entries.size());
    m_report.entries.push_back(
        {kind, m_place.ToText(isUnnamed ? "\"\"" : key), 0, 0, std::move(reason)});
}

bool ReportBuilder::Fail(Failure failure, std::wstring reason, const TextPosition& position) {
    m_report.failure = failure;
    m_report.failureReason = std::move(reason);
    m_report.line = position.line;
    m_report.column = position.column;
    return false;
}

void ReportBuilder::Finish(const ScriptText& text) {
    if (m_offsets.empty()) {
        return;
    }
    std::sort(m_offsets.begin(), m_offsets.end());
    TextLocator locator = text.Locator();
    for (const auto& [offset, index] : m_offsets) {
        const TextPosition position = locator.Find(text.OffsetInOriginal(offset));
        m_report.entries[index].line = position.line;
        m_report.entries[index].column = position.column;
    }
}

std::wstring Quote(std::wstring_view text) {
    std::wstring quoted = L" \"";
    quoted += text.substr(0, kMaxQuoted);
    quoted += text.size() > kMaxQuoted ? L"...\"" : L"\"";
    return quoted;
}

std::wstring ShownText(std::string_view text) {
    std::wstring shown = text::ToWide(text);
    if (shown.empty()) {
        for (const char c : text) {
            shown += static_cast<unsigned char>(c) < 0x80 ? static_cast<wchar_t>(c) : L'?';
        }
    }
    return shown;
}

} // namespace ymdshow
