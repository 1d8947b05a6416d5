#pragma once

// What the functions of the C interface share: the way in and out of a call, text, and memory that
// goes to the host.

#include <windows.h>

#include <cstring>
#include <string>
#include <type_traits>
#include <utility>

#include <ymdshow/ymdshow_c.h>

namespace ymdshow::c {

/// Ends a call: its result, its text and the HRESULT behind it.
struct Failure {
    ymd_result code;
    std::string text;
    HRESULT hresult = S_OK;
};

inline void Require(bool holds, ymd_result code, const char* text) {
    if (!holds) {
        throw Failure{code, text};
    }
}

/// Of an operation that says no more than whether it could.
inline void RequireDone(bool isDone) {
    Require(isDone, YMD_ERROR_FAILED, "the graph cannot, or there is none");
}

/// Notes how the call ended, for ymd_last_error.
void Note(const char* function, const Failure& failure);
void ForgetFailure();
const char* LastText();
HRESULT LastResult();

/// The result of what is being thrown.
ymd_result NoteException(const char* function);

/// On a thread that is in a host's callback for log records, which holds the logger's lock.
extern thread_local bool t_isLogging;

/// Runs the body of a function, and keeps what it throws.
template <class Body> ymd_result Call(const char* function, Body&& body) noexcept {
    try {
        ForgetFailure();
        Require(!t_isLogging, YMD_ERROR_STATE, "called from a callback for log records");
        std::forward<Body>(body)();
        return YMD_OK;
    } catch (...) {
        return NoteException(function);
    }
}

/// An out-parameter, cleared.
template <class Value> Value& Out(Value* out) {
    Require(out != nullptr, YMD_ERROR_ARGUMENT, "an out-parameter is null");
    return *out = Value();
}

/// The host's text; what is no text ends the call.
std::wstring Wide(const char* text);
std::string Utf8FromNarrow(const std::string& narrow);

/// Copies a record into the host's, as far as that goes.
template <class Record> void Fill(Record* host, Record record) {
    Require(host != nullptr && host->size > sizeof(host->size) && host->size <= 4096,
            YMD_ERROR_ARGUMENT, "a record is null or without its size");
    const std::size_t size = host->size;
    std::memset(reinterpret_cast<char*>(host) + sizeof(host->size), 0, size - sizeof(host->size));
    record.size = host->size;
    std::memcpy(host, &record, size < sizeof(Record) ? size : sizeof(Record));
}

/// The record of a host; members that an older host does not have are 0.
template <class Record> Record Read(const Record* host, std::size_t least) {
    Require(host != nullptr && host->size >= least, YMD_ERROR_ARGUMENT,
            "a record is null or too small");
    Record record{};
    std::memcpy(&record, host, host->size < sizeof(Record) ? host->size : sizeof(Record));
    return record;
}

/// Memory for the host, as one block however much is added to it; ymd_free gives it back.
class Block {
public:
    Block() = default;
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    ~Block();

    /// Zeroed; the first that is made is what the host gets.
    void* Add(std::size_t size);

    template <class Value> Value* Make(std::size_t count = 1) {
        static_assert(std::is_trivial_v<Value>);
        return static_cast<Value*>(Add(count * sizeof(Value)));
    }
    template <class Record> Record* MakeRecord() {
        Record* const record = Make<Record>();
        record->size = static_cast<std::uint32_t>(sizeof(Record));
        return record;
    }

    char* Text(const std::string& utf8);
    char* Text(const std::wstring& text);

    /// A list of records, one for each of `values`.
    template <class Record, class Values, class Convert>
    Record** List(const Values& values, std::uint32_t& count, Convert&& convert) {
        Record** const list = Make<Record*>(values.size() + 1);
        for (const auto& value : values) {
            Record* const record = MakeRecord<Record>();
            convert(*record, value);
            list[count++] = record;
        }
        return list;
    }

    /// Hands it to the host.
    template <class Value> void Give(Value*& out, Value* first) {
        m_first = nullptr;
        out = first;
    }

    static void Free(const void* block);

private:
    struct Chunk;
    Chunk* m_first = nullptr;
};

/// A text as the result of a call.
template <class Text> void GiveText(char** out, const Text& text) {
    Out(out);
    Block block;
    block.Give(*out, block.Text(text));
}

/// A list as the result of a call.
template <class Record, class Values, class Convert>
void GiveList(Record*** out, std::uint32_t* count, const Values& values, Convert&& convert) {
    Out(out);
    Out(count);
    Block block;
    std::uint32_t made = 0;
    Record** const list = block.List<Record>(
        values, made, [&](Record& record, const auto& value) { convert(block, record, value); });
    block.Give(*out, list);
    *count = made;
}

} // namespace ymdshow::c
