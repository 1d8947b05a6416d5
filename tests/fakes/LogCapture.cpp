#include "fakes/LogCapture.h"

#include <algorithm>

#include <ymlib/Log.h>

#include "fakes/Journal.h"

namespace fakes {

std::string LogCapture::Record::Line() const {
    return std::to_string(level) + " " + function + ": " + Narrow(text);
}

LogCapture::LogCapture()
    : m_sink(ymlib::CLoger::GetLoger()->AddSink([this](const ymlib::LogRecord& record) {
          if (record.category == std::string_view("YMDShow")) {
              const std::lock_guard lock(m_mutex);
              m_records.push_back({record.level, record.sourceFile, record.function, record.text});
          }
      })) {}

LogCapture::~LogCapture() {
    ymlib::CLoger::GetLoger()->RemoveSink(m_sink);
}

std::vector<LogCapture::Record> LogCapture::Records() const {
    const std::lock_guard lock(m_mutex);
    return m_records;
}

std::vector<std::string> LogCapture::Lines() const {
    std::vector<std::string> lines;
    for (const Record& record : Records()) {
        lines.push_back(record.Line());
    }
    return lines;
}

std::vector<std::string> LogCapture::Take() {
    const std::lock_guard lock(m_mutex);
    std::vector<std::string> lines = Lines();
    Clear();
    return lines;
}

void LogCapture::Clear() {
    const std::lock_guard lock(m_mutex);
    m_records.clear();
}

std::size_t LogCapture::Count(std::string_view pattern) const {
    std::vector<std::string> lines = Lines();
    return std::erase_if(lines, [&](const std::string& line) { return Matches(line, pattern); });
}

} // namespace fakes
