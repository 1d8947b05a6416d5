#pragma once

#include <cstdarg>
#include <functional>
#include <memory>
#include <string>

#include <ymlib/Export.h>

namespace ymlib {

/// Levels in use. A category passes records at or above its level.
enum LogLevel : int { LOG_PROGRESS = 4, LOG_WARNING = 8, LOG_ERROR = 16, LOG_OFF = 0x7fffffff };

/// One record as a sink receives it. The pointers are valid during the call.
struct LogRecord {
    const char* category;
    int level;
    const char* sourceFile;
    int line;
    const char* function;
    const wchar_t* text; ///< the formatted message
};

/// Receives records; called under the logger's lock, from any thread. Must not log.
using LogSink = std::function<void(const LogRecord&)>;

/// A named source of records. Owned by the logger, lives as long as the process.
class YMLIB_API CLogCategory {
public:
    CLogCategory(const CLogCategory&) = delete;
    CLogCategory& operator=(const CLogCategory&) = delete;
    ~CLogCategory();

    /// printf-style. Narrow text is in code page 936. In either form %s takes text of
    /// the format's own width.
    void Log(int level, const char* sourceFile, int line, const char* function, const char* format,
             ...);
    void Log(int level, const char* sourceFile, int line, const char* function,
             const wchar_t* format, ...);

    /// Records below `level` are dropped; LOG_PROGRESS from the start.
    void SetLevel(int level);
    int GetLevel() const;
    const char* GetName() const;

private:
    friend class CLoger;
    struct Impl;
    explicit CLogCategory(const char* name);
    std::unique_ptr<Impl> m_impl;
};

/// The process's logger: categories by name, and the sinks that receive records.
/// Thread-safe. Without a sink a record costs one atomic read.
class YMLIB_API CLoger {
public:
    static CLoger* GetLoger();

    /// Makes the category on first use.
    CLogCategory* GetCategory(const char* name);

    /// Adds a sink and returns its handle, never 0.
    unsigned AddSink(LogSink sink);

    /// After it returns, the sink is not called any more. Unknown handles are ignored.
    void RemoveSink(unsigned handle);

    /// Sinks of the library's own: the debugger's output, and a file that records are
    /// appended to as UTF-8 lines (0 when it cannot be opened).
    unsigned AddDebuggerSink();
    unsigned AddFileSink(const std::wstring& path);

private:
    CLoger();
    ~CLoger();
    struct Impl;
    std::unique_ptr<Impl> m_impl;
    friend class CLogCategory;
};

} // namespace ymlib
