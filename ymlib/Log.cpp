#include <ymlib/Log.h>

#include <windows.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <vector>

#include "LogFormat.h"
#include "LogSinks.h"

namespace ymlib {
namespace {

constexpr std::int64_t kDropAll = std::numeric_limits<std::int64_t>::max();

struct Sink {
    unsigned handle;
    LogSink function;
    bool isRemoved;
};

/// A logging caller may still want the error code of what it reports.
class LastErrorKeeper {
public:
    LastErrorKeeper() : m_error(GetLastError()) {}
    ~LastErrorKeeper() { SetLastError(m_error); }
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

private:
    DWORD m_error;
};

} // namespace

struct CLogCategory::Impl {
    explicit Impl(const char* categoryName) : name(categoryName) {}

    const std::string name;
    std::atomic<int> level{LOG_PROGRESS};
    /// Records below it go nowhere; kDropAll while there is no sink.
    std::atomic<std::int64_t> threshold{kDropAll};
};

struct CLoger::Impl {
    // A mutex of the system's, since the playback threads that log may be terminated: it is
    // then abandoned to the next thread rather than held for ever.
    const HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
    std::map<std::string, CLogCategory*, std::less<>> categories;
    std::vector<std::unique_ptr<Sink>> sinks;
    unsigned lastHandle = 0;
    bool isDispatching = false;
    bool hasRemovedSinks = false;

    void UpdateThreshold(CLogCategory& category) const {
        const int level = category.m_impl->level.load(std::memory_order_relaxed);
        category.m_impl->threshold.store(sinks.empty() || level == LOG_OFF ? kDropAll : level,
                                         std::memory_order_relaxed);
    }

    void UpdateThresholds() const {
        for (const auto& [name, category] : categories) {
            UpdateThreshold(*category);
        }
    }

    void DropRemovedSinks() {
        // What a sink's captures log while they are destroyed is dropped as well.
        isDispatching = true;
        std::erase_if(sinks, [](const auto& sink) { return sink->isRemoved; });
        isDispatching = false;
        hasRemovedSinks = false;
        UpdateThresholds();
    }

    void Dispatch(const LogRecord& record) {
        if (isDispatching) {
            return;
        }
        isDispatching = true;
        // By index and up to the size at the start: a sink may add others meanwhile.
        for (std::size_t index = 0, count = sinks.size(); index < count; ++index) {
            Sink& sink = *sinks[index];
            if (!sink.isRemoved) {
                try {
                    sink.function(record);
                } catch (...) {
                    // The sink's own trouble must not reach the code that logs.
                }
            }
        }
        isDispatching = false;
        if (hasRemovedSinks) {
            DropRemovedSinks();
        }
    }

    /// Holds the logger for its scope, unless there is no mutex to hold.
    class Hold {
    public:
        explicit Hold(Impl& loger) : m_loger(loger) {
            const DWORD result = WaitForSingleObject(loger.mutex, INFINITE);
            m_isHeld = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
            if (result == WAIT_ABANDONED) {
                loger.isDispatching = false;
            }
        }
        ~Hold() {
            if (m_isHeld) {
                ReleaseMutex(m_loger.mutex);
            }
        }
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;
        explicit operator bool() const { return m_isHeld; }

    private:
        Impl& m_loger;
        bool m_isHeld = false;
    };

    template <class Char>
    static void Write(const CLogCategory& category, int level, const char* sourceFile, int line,
                      const char* function, const Char* format, std::va_list arguments) {
        const LastErrorKeeper lastError;
        static constexpr Char kEmpty[] = {0};
        try {
            const std::wstring text =
                FormatMessageText(format != nullptr ? format : kEmpty, arguments);
            Impl& loger = *GetLoger()->m_impl;
            const Hold hold(loger);
            if (hold) {
                loger.Dispatch({category.GetName(), level, sourceFile != nullptr ? sourceFile : "",
                                line, function != nullptr ? function : "", text.c_str()});
            }
        } catch (...) {
            // Out of memory: the record is lost, the caller goes on.
        }
    }
};

CLogCategory::CLogCategory(const char* name) : m_impl(new Impl(name)) {}

void CLogCategory::Log(int level, const char* sourceFile, int line, const char* function,
                       const char* format, ...) {
    if (level < m_impl->threshold.load(std::memory_order_relaxed)) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    CLoger::Impl::Write(*this, level, sourceFile, line, function, format, arguments);
    va_end(arguments);
}

void CLogCategory::Log(int level, const char* sourceFile, int line, const char* function,
                       const wchar_t* format, ...) {
    if (level < m_impl->threshold.load(std::memory_order_relaxed)) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    CLoger::Impl::Write(*this, level, sourceFile, line, function, format, arguments);
    va_end(arguments);
}

void CLogCategory::SetLevel(int level) {
    CLoger::Impl& loger = *CLoger::GetLoger()->m_impl;
    const CLoger::Impl::Hold hold(loger);
    m_impl->level.store(level, std::memory_order_relaxed);
    loger.UpdateThreshold(*this);
}

int CLogCategory::GetLevel() const {
    return m_impl->level.load(std::memory_order_relaxed);
}

const char* CLogCategory::GetName() const {
    return m_impl->name.c_str();
}

CLoger::CLoger() : m_impl(new Impl) {}

CLoger* CLoger::GetLoger() {
    // Never destroyed: other libraries log from their static destructors.
    static CLoger* const loger = new CLoger;
    return loger;
}

CLogCategory* CLoger::GetCategory(const char* name) {
    if (name == nullptr) {
        return nullptr;
    }
    const Impl::Hold hold(*m_impl);
    try {
        if (const auto known = m_impl->categories.find(name); known != m_impl->categories.end()) {
            return known->second;
        }
        const auto position = m_impl->categories.emplace(name, nullptr).first;
        try {
            position->second = new CLogCategory(name);
        } catch (...) {
            m_impl->categories.erase(position);
            throw;
        }
        m_impl->UpdateThreshold(*position->second);
        return position->second;
    } catch (...) {
        return nullptr;
    }
}

unsigned CLoger::AddSink(LogSink sink) {
    if (!sink) {
        return 0;
    }
    const Impl::Hold hold(*m_impl);
    try {
        auto entry = std::make_unique<Sink>(Sink{m_impl->lastHandle + 1, std::move(sink), false});
        m_impl->sinks.push_back(std::move(entry));
    } catch (...) {
        return 0;
    }
    m_impl->UpdateThresholds();
    return ++m_impl->lastHandle;
}

void CLoger::RemoveSink(unsigned handle) {
    const Impl::Hold hold(*m_impl);
    for (const auto& sink : m_impl->sinks) {
        if (sink->handle == handle) {
            sink->isRemoved = true;
            m_impl->hasRemovedSinks = true;
        }
    }
    if (m_impl->hasRemovedSinks && !m_impl->isDispatching) {
        m_impl->DropRemovedSinks();
    }
}

unsigned CLoger::AddDebuggerSink() {
    return AddSink(MakeDebuggerSink());
}

unsigned CLoger::AddFileSink(const std::wstring& path) {
    return AddSink(MakeFileSink(path));
}

} // namespace ymlib
