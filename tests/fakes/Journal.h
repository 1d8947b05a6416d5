#pragma once

#include <windows.h>

#include <unknwn.h>

#include <atomic>
#include <concepts>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace fakes {

/// Kinds of calls, as bits: what the journal writes down and a fault plan may fail.
enum CallKind : unsigned {
    kCall = 1,      ///< methods of filters, pins, graphs, classes
    kEnumCall = 2,  ///< methods of enumerators
    kQueryCall = 4, ///< QueryInterface
    kRefCall = 8    ///< AddRef and Release (journal only)
};

using Lines = std::vector<std::string>;

/// Glob match with "*" for any run of characters.
bool Matches(std::string_view text, std::string_view pattern);

std::wstring Widen(std::string_view text);
std::string Narrow(std::wstring_view text);

/// One line of the journal, written without allocating: a suspended or terminated event
/// thread must not take the heap's lock or the journal's with it.
class Line {
public:
    void Text(std::string_view text);
    void Number(long long number);
    std::string_view View() const { return {m_text, m_size}; }

    void Write(std::string_view text) { Text(text); }
    void Write(const wchar_t* text);
    void Write(const LONGLONG* number);
    void Write(IUnknown* object); ///< the fake's name, "null", or "foreign"
    void Write(const GUID& guid);
    template <class T>
    requires(std::integral<T> || std::is_enum_v<T>) void Write(T number) {
        Number(static_cast<long long>(number));
    }

private:
    char m_text[200] = {};
    std::size_t m_size = 0;
};

/// What was called on the fakes, one line a call: "A.Out1.ConnectedTo",
/// "graph.Connect(A.Out1, B.In1)". Calls that fakes make on each other are not written.
class Journal {
public:
    static Journal& Get();

    /// A mask of CallKind; 0 switches the journal off. kCall from the start.
    void SetKinds(unsigned kinds) { m_kinds = kinds; }
    unsigned Kinds() const { return m_kinds.load(std::memory_order_relaxed); }

    void Append(std::string_view line);
    void Clear();

    /// Called with each line before the call is carried out, to make calls take time; null
    /// for nobody.
    void SetListener(void (*listener)(std::string_view line)) { m_listener = listener; }

    std::vector<std::string> Lines() const;
    std::vector<std::string> Take(); ///< the lines, then clears
    std::vector<std::string> Matching(std::string_view pattern) const;
    std::size_t Count(std::string_view pattern) const { return Matching(pattern).size(); }

    /// True when lines that match the patterns appear in this order, others between allowed.
    bool InOrder(std::initializer_list<std::string_view> patterns) const;

private:
    struct Slot {
        std::atomic<bool> ready{false};
        Line line;
    };

    std::atomic<unsigned> m_kinds{kCall};
    std::atomic<void (*)(std::string_view)> m_listener{nullptr};
    std::atomic<std::size_t> m_size{0};
    std::vector<Slot> m_slots{16384};
};

/// What a method answers instead of its own result. With a success code it does its work
/// all the same.
struct Answer {
    Answer(HRESULT result_) : Answer(result_, SUCCEEDED(result_)) {}
    Answer(HRESULT result_, bool act_) : result(result_), act(act_) {}
    HRESULT result;
    bool act;
};
inline Answer Do(HRESULT result) {
    return {result, true};
}
inline Answer Skip(HRESULT result) {
    return {result, false};
}

/// Answers by method name.
///     filter.results["EnumPins"] = E_FAIL;              always, without doing anything
///     graph.results["Connect"] = VFW_S_PARTIAL_RENDER;  a success code: does it as well
///     pin.results["ConnectedTo"] = Skip(S_OK);          success that does nothing
///     pin.results["ConnectedTo"] = Do(E_FAIL);          does it and reports failure
///     graph.results["Connect"] = {E_FAIL, S_OK};        one call each, then its own results
class ResultTable {
public:
    struct Entry {
        void operator=(Answer answer);
        void operator=(std::initializer_list<HRESULT> results);
        std::vector<Answer> answers;
        bool always = false;
    };

    Entry& operator[](const std::string& method) { return m_entries[method]; }
    void Clear() { m_entries.clear(); }
    bool Empty() const { return m_entries.empty(); }

    /// The answer for this call, if one is set.
    std::optional<Answer> Take(std::string_view method);

private:
    std::map<std::string, Entry, std::less<>> m_entries;
};

/// Silences the journal and the fault plan on this thread: around COM calls by which a test
/// sets things up. The fakes use it for what they call on each other.
class Silence {
public:
    Silence();
    ~Silence();
    Silence(const Silence&) = delete;

    /// No other was on this thread when this one was made.
    bool Outermost() const { return m_depth == 0; }

private:
    const std::size_t m_depth;
};

/// While it lives, the n-th call (from 1) on any fake answers `result` and does nothing.
/// With n 0 it counts only.
class FaultPlan {
public:
    explicit FaultPlan(std::size_t n, HRESULT result = E_FAIL);
    ~FaultPlan();

    std::size_t Calls() const { return m_calls; }
    bool Hit() const { return m_calls >= m_n; }
    /// The call that was made to fail.
    std::string Where() const { return std::string(m_where.View()); }

    static FaultPlan* Current() { return s_current.load(std::memory_order_acquire); }
    /// The result for this call when it is the one to fail, else S_OK.
    HRESULT Strike(const Line& line);

private:
    static std::atomic<FaultPlan*> s_current;

    const std::size_t m_n;
    const HRESULT m_result;
    std::atomic<std::size_t> m_calls{0};
    Line m_where;
};

/// Tells the journal and the fault plan of a call; a failure is to be its result.
HRESULT Announce(CallKind kind, const Line& line);

/// One call of a fake: journal, fault plan, answer table, and then the fake's own act, which
/// gives S_OK when it gives nothing.
template <class Act, class... Args>
HRESULT Invoke(std::string_view object, ResultTable& results, CallKind kind, const char* method,
               const std::tuple<Args...>& args, Act&& act) {
    const auto run = [&]() -> HRESULT {
        if constexpr (std::is_void_v<decltype(act())>) {
            return act(), S_OK;
        } else {
            return act();
        }
    };
    if ((Journal::Get().Kinds() & kind) == 0 && !FaultPlan::Current() && results.Empty()) {
        return run();
    }
    const Silence silence;
    if (silence.Outermost()) {
        Line line;
        line.Text(object);
        line.Text(".");
        line.Text(method);
        const char* separator = "(";
        const auto write = [&](const auto& arg) {
            line.Text(std::exchange(separator, ", "));
            line.Write(arg);
        };
        std::apply([&](const auto&... each) { (..., write(each)); }, args);
        line.Text(sizeof...(Args) > 0 ? ")" : "");
        if (const HRESULT fault = Announce(kind, line); fault != S_OK) {
            return fault;
        }
    }
    const std::optional<Answer> answer = results.Take(method);
    if (answer && !answer->act) {
        return answer->result;
    }
    const HRESULT result = run();
    return answer ? answer->result : result;
}

/// Tells the test framework of a misuse that a fake has seen.
void ReportFailure(const std::string& text);

} // namespace fakes
