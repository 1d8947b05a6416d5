#pragma once

#include "YMCoderScheme/ScriptText.h"

#include <string_view>
#include <vector>

#include <ymdshow/SchemeReport.h>

namespace ymdshow {

/// A part of the script by its indices, put into words only when it is reported.
struct ScriptPlace {
    enum class List { None, Filter, Schemes };
    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    List list = List::None;
    std::size_t index = none;
    std::size_t filter = none; ///< in the scheme's "Filters"

    std::wstring ToText(std::string_view key) const;
};

/// Fills the report of one load. Lines and columns wait for Finish: a script without
/// faults is not searched for them.
class ReportBuilder {
public:
    using Kind = SchemeLoadReport::Kind;
    using Failure = SchemeLoadReport::Failure;

    explicit ReportBuilder(SchemeLoadReport& report);

    /// Adds an entry about what stands at `place` or, with a `key`, under that key there;
    /// `offset` is in ScriptText::ForReader. A `quoted` text follows the reason.
    void Add(Kind kind, const ScriptPlace& place, std::string_view key, std::size_t offset,
             std::wstring_view reason);
    void Add(Kind kind, const ScriptPlace& place, std::string_view key, std::size_t offset,
             std::wstring_view reason, std::wstring_view quoted);

    /// Answers false, for a load to pass on. `offset` is in ScriptText::ForReader.
    bool Fail(Failure failure, std::wstring_view reason);
    bool Fail(Failure failure, std::wstring_view reason, const TextPosition& position);

    void Finish(const ScriptText& text);

    /// Forgets all.
    void Reset();

private:
    SchemeLoadReport& m_report;
    std::vector<std::size_t> m_offsets; ///< one for each entry
};

/// Text in code page 936 as UTF-16 to be shown: what is not valid becomes '?'.
std::wstring ShownText(std::string_view text);

} // namespace ymdshow
