#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace fakes {

/// What the library logs while it lives.
class LogCapture {
public:
    struct Record {
        int level;
        std::string source;   ///< source file
        std::string function; ///< qualified name
        std::wstring text;

        /// "8 ymdshow::CMedia::Load: _InitFilters Failed"
        std::string Line() const;
    };

    LogCapture();
    ~LogCapture();

    std::vector<Record> Records() const;
    std::vector<std::string> Lines() const;
    std::vector<std::string> Take(); ///< the lines, then clears
    void Clear();

    /// Records whose Line matches the pattern ("*": any run of characters).
    std::size_t Count(std::string_view pattern) const;
    bool Has(std::string_view pattern) const { return Count(pattern) != 0; }

private:
    unsigned m_sink;
    mutable std::recursive_mutex m_mutex;
    std::vector<Record> m_records;
};

} // namespace fakes
