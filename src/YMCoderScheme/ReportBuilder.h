#pragma once

#include "YMCoderScheme/ScriptText.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <ymlib/Json.h>

#include <ymdshow/SchemeReport.h>

namespace ymdshow {

/// A part of the script by its indices, put into words only when it is reported.
struct ScriptPlace {
    enum class List { None, Filter, Schemes };
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    List list = List::None;
    std::size_t index = kNone;
    std::size_t filter = kNone; ///< in the scheme's "Filters"

    std::wstring ToText(std::string_view key) const;
};

/// Fills the report of one load. Lines and columns wait for Finish: a script without
/// faults is not searched for them.
class ReportBuilder {
public:
    using Kind = SchemeLoadReport::Kind;
    using Failure = SchemeLoadReport::Failure;

    explicit ReportBuilder(SchemeLoadReport& report) : m_report(report) { m_report = {}; }

    /// What is reported from here on stands at `place`.
    void MoveTo(const ScriptPlace& place) { m_place = place; }

    /// Adds an entry about `value`, which is what stands at the place or, with a `key`, under
    /// that key there.
    void Add(Kind kind, std::string_view key, const Json::Value& value, std::wstring reason);

    /// Answers false, for a load to pass on.
    bool Fail(Failure failure, std::wstring reason, const TextPosition& position = {});

    void Finish(const ScriptText& text);

private:
    SchemeLoadReport& m_report;
    ScriptPlace m_place;
    /// Where each entry's value is in ScriptText::ForReader, and the entry's index.
    std::vector<std::pair<std::size_t, std::size_t>> m_offsets;
};

/// The beginning of `text` in quotes, to follow a reason.
std::wstring Quote(std::wstring_view text);

/// Text in code page 936 as UTF-16 to be shown: what is not valid becomes '?'.
std::wstring ShownText(std::string_view text);

} // namespace ymdshow
