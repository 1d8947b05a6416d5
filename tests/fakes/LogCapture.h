#pragma once

#include <mutex>

#include <ymlib/Log.h>

#include "fakes/Journal.h"

namespace fakes {

/// What the library logs while it lives.
class LogCapture {
public:
    struct Record {
        int level;
        std::string source;   ///< source file
        std::string function; ///< qualified name
        std::wstring text;
    };

    ~LogCapture() { ymlib::CLoger::GetLoger()->RemoveSink(m_sink); }

    std::vector<Record> Records() const {
        const std::lock_guard lock(m_mutex);
        return m_records;
    }
    void Clear() { Take(); }
    /// "8 ymdshow::CMedia::Load: _InitFilters Failed"
    fakes::Lines Lines() const { return Texts(Records()); }
    /// The lines, then clears.
    fakes::Lines Take() {
        const std::lock_guard lock(m_mutex);
        return Texts(std::exchange(m_records, {}));
    }

    /// Lines that match the pattern ("*": any run of characters).
    std::size_t Count(std::string_view pattern) const {
        fakes::Lines lines = Lines();
        return std::erase_if(lines, [&](const auto& line) { return Matches(line, pattern); });
    }
    bool Has(std::string_view pattern) const { return Count(pattern) != 0; }

private:
    static fakes::Lines Texts(const std::vector<Record>& records) {
        fakes::Lines lines;
        for (const auto& [level, source, function, text] : records) {
            lines.push_back(std::to_string(level) + " " + function + ": " + Narrow(text));
        }
        return lines;
    }

    mutable std::mutex m_mutex;
    std::vector<Record> m_records;
    unsigned m_sink = ymlib::CLoger::GetLoger()->AddSink([this](const ymlib::LogRecord& record) {
        if (record.category == std::string_view("YMDShow")) {
            const std::lock_guard lock(m_mutex);
            m_records.push_back({record.level, record.sourceFile, record.function, record.text});
        }
    });
};

} // namespace fakes
