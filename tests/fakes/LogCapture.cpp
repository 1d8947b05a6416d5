#include "fakes/LogCapture.h"

#include <windows.h>

#include <algorithm>
#include <utility>

#include <ymlib/Log.h>

#include "fakes/Journal.h"

namespace fakes {

namespace {

std::string ToUtf8(const std::wstring& wide) {
    std::string text(wide.size() * 3, '\0');
    const int size =
        WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), text.data(),
                            static_cast<int>(text.size()), nullptr, nullptr);
    text.resize(static_cast<std::size_t>(size));
    return text;
}

std::vector<std::string> ToLines(const std::vector<LogCapture::Record>& records) {
    std::vector<std::string> lines;
    for (const LogCapture::Record& record : records) {
        lines.push_back(record.Line());
    }
    return lines;
}

} // namespace

std::string LogCapture::Record::Line() const {
    return std::to_string(level) + " " + function + ": " + ToUtf8(text);
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
    return ToLines(Records());
}

std::vector<std::string> LogCapture::Take() {
    const std::lock_guard lock(m_mutex);
    return ToLines(std::exchange(m_records, {}));
}

void LogCapture::Clear() {
    const std::lock_guard lock(m_mutex);
    m_records.clear();
}

std::size_t LogCapture::Count(std::string_view pattern) const {
    const std::vector<std::string> lines = Lines();
    return static_cast<std::size_t>(
        std::count_if(lines.begin(), lines.end(),
                      [&](const std::string& line) { return Matches(line, pattern); }));
}

} // namespace fakes
