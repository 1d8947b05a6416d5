#include "LogSinks.h"

#include "Text/Text.h"

#include <windows.h>

#include <cstdio>
#include <memory>
#include <string>

namespace ymlib {
namespace {

std::string MakeLine(const LogRecord& record) {
    SYSTEMTIME time;
    GetLocalTime(&time);
    char head[64];
    const int length = std::snprintf(head, sizeof(head), "%04d-%02d-%02d %02d:%02d:%02d.%03d %d ",
                                     time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute,
                                     time.wSecond, time.wMilliseconds, record.level);
    std::string line(head, length > 0 ? static_cast<std::size_t>(length) : 0);
    line += record.category;
    line += ' ';
    line += record.function;
    line += ": ";
    line += ymdshow::text::EncodeUtf8(record.text, ymdshow::text::Utf8::Full);
    for (char& character : line) {
        if (character == '\r' || character == '\n') {
            character = ' ';
        }
    }
    line += '\n';
    return line;
}

} // namespace

LogSink MakeDebuggerSink() {
    return [](const LogRecord& record) {
        std::wstring line = L"[";
        line.append(record.category,
                    record.category + std::char_traits<char>::length(record.category));
        line += L"] ";
        line.append(record.function,
                    record.function + std::char_traits<char>::length(record.function));
        line += L": ";
        line += record.text;
        line += L'\n';
        OutputDebugStringW(line.c_str());
    };
}

LogSink MakeFileSink(const std::wstring& path) {
    const HANDLE handle =
        CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        return {};
    }
    std::shared_ptr<void> file(handle, CloseHandle);
    return [file](const LogRecord& record) {
        const std::string line = MakeLine(record);
        // A full disk loses the record; there is nobody to tell.
        DWORD written = 0;
        WriteFile(file.get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    };
}

} // namespace ymlib
