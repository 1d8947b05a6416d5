#pragma once

#include <functional>
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

/// Receives records; called under the logger's lock, from any thread. What it logs itself
/// is dropped, what it throws is swallowed. It may add and remove sinks, itself included.
using LogSink = std::function<void(const LogRecord&)>;

/// A named source of records. Owned by the logger, lives as long as the process.
class YMLIB_API CLogCategory {
public:
    CLogCategory(const CLogCategory&) = delete;
    CLogCategory& operator=(const CLogCategory&) = delete;
    ~CLogCategory() = delete;

    /// printf-style. Narrow text is in code page 936. In either form %s takes text of
    /// the format's own width. A record that cannot be formatted shows its format. Leaves
    /// GetLastError as it was.
    void Log(int level, const char* sourceFile, int line, const char* function, const char* format,
             ...);
    void Log(int level, const char* sourceFile, int line, const char* function,
             const wchar_t* format, ...);

    /// Records below `level` are dropped; LOG_PROGRESS from the start, LOG_OFF drops all.
    void SetLevel(int level);
    int GetLevel() const;
    const char* GetName() const;

private:
    friend class CLoger;
    struct Impl;
    explicit CLogCategory(const char* name);
    Impl* const m_impl;
};

/// The process's logger: categories by name, and the sinks that receive records.
/// Thread-safe; works from static initialisation to static destruction. Without a sink a
/// record costs one atomic read. A thread that is terminated while it logs does not stop
/// the others from logging.
class YMLIB_API CLoger {
public:
    CLoger(const CLoger&) = delete;
    CLoger& operator=(const CLoger&) = delete;
    ~CLoger() = delete;

    static CLoger* GetLoger();

    /// Makes the category on first use. Null for a null name.
    CLogCategory* GetCategory(const char* name);

    /// Adds a sink and returns its handle; 0 for an empty function.
    unsigned AddSink(LogSink sink);

    /// After it returns, the sink is not called any more; a running call is waited for,
    /// unless it is the sink itself that asks. Unknown handles are ignored.
    void RemoveSink(unsigned handle);

    /// Sinks of the library's own: the debugger's output, and a file that records are
    /// appended to as UTF-8 lines "date time level category function: text" (0 when it
    /// cannot be opened). Line breaks inside a record become spaces in the file.
    unsigned AddDebuggerSink();
    unsigned AddFileSink(const std::wstring& path);

private:
    friend class CLogCategory;
    CLoger();
    struct Impl;
    Impl* const m_impl;
};

} // namespace ymlib
