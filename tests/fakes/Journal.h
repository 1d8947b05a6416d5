#pragma once

#include <windows.h>

#include <unknwn.h>

#include <atomic>
#include <cstddef>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
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

/// One line of the journal, written without allocating: a suspended or terminated event
/// thread must not take the heap's lock or the journal's with it.
class Line {
public:
    void Text(std::string_view text);
    void Number(long long number);
    std::string_view View() const { return {m_text, m_size}; }

private:
    char m_text[200] = {};
    std::size_t m_size = 0;
};

void Write(Line& line, IUnknown* object); ///< the fake's name, "null", or "foreign"
void Write(Line& line, const GUID& guid);
void Write(Line& line, const wchar_t* text);
void Write(Line& line, std::string_view text);
inline void Write(Line& line, const char* text) {
    Write(line, std::string_view(text));
}
template <class T, std::enable_if_t<std::is_integral_v<T> || std::is_enum_v<T>, int> = 0>
void Write(Line& line, T number) {
    line.Number(static_cast<long long>(number));
}

/// What was called on the fakes, one line a call: "A.Out1.ConnectedTo",
/// "graph.Connect(A.Out1, B.In1)". Calls that fakes make on each other are not written.
class Journal {
public:
    static Journal& Get();

    /// A mask of CallKind; 0 switches the journal off. kCall from the start.
    void SetKinds(unsigned kinds) { m_kinds.store(kinds, std::memory_order_relaxed); }
    unsigned Kinds() const { return m_kinds.load(std::memory_order_relaxed); }

    void Append(std::string_view line);

    /// Called with each line before the call is carried out, to make calls take time; null
    /// for nobody.
    void SetListener(void (*listener)(std::string_view line)) { m_listener = listener; }
    void Clear();

    std::vector<std::string> Lines() const;
    std::vector<std::string> Take(); ///< the lines, then clears
    std::vector<std::string> Matching(std::string_view pattern) const;
    std::size_t Count(std::string_view pattern) const;

    /// True when lines that match the patterns appear in this order, others between allowed.
    bool InOrder(std::initializer_list<std::string_view> patterns) const;

private:
    Journal();

    static constexpr std::size_t kCapacity = 16384;
    struct Slot {
        std::atomic<bool> ready{false};
        unsigned char size = 0;
        char text[200];
    };

    std::atomic<unsigned> m_kinds{kCall};
    std::atomic<void (*)(std::string_view)> m_listener{nullptr};
    std::atomic<std::size_t> m_size{0};
    std::vector<Slot> m_slots;
};

/// What a method answers instead of its own result. With a success code it does its work
/// all the same.
struct Answer {
    HRESULT result = S_OK;
    bool act = true;

    Answer() = default;
    Answer(HRESULT result_) : result(result_), act(SUCCEEDED(result_)) {}
};
inline Answer Do(HRESULT result) {
    Answer answer(result);
    answer.act = true;
    return answer;
}
inline Answer Skip(HRESULT result) {
    Answer answer(result);
    answer.act = false;
    return answer;
}

/// Answers by method name.
///     filter.results["EnumPins"] = E_FAIL;              always, without doing anything
///     graph.results["Connect"] = VFW_S_PARTIAL_RENDER;  a success code: does it as well
///     pin.results["ConnectedTo"] = Skip(S_OK);          success that does nothing
///     pin.results["ConnectedTo"] = Do(E_FAIL);          does it and reports failure
///     graph.results["Connect"] = {E_FAIL, S_OK};        one call each, then its own results
class ResultTable {
public:
    class Entry {
    public:
        Entry& operator=(Answer answer) { return Set({answer}, true); }
        Entry& operator=(std::initializer_list<HRESULT> results) {
            return Set({results.begin(), results.end()}, false);
        }

    private:
        friend class ResultTable;
        Entry& Set(std::vector<Answer> answers, bool always);

        std::vector<Answer> m_answers;
        std::size_t m_next = 0;
        bool m_always = false;
    };

    Entry& operator[](const std::string& method) { return m_entries[method]; }
    void Clear() { m_entries.clear(); }
    bool Empty() const { return m_entries.empty(); }

    /// The answer for this call, if one is set.
    bool Take(std::string_view method, Answer& answer);

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
    Silence& operator=(const Silence&) = delete;

    /// No other was on this thread when this one was made.
    bool Outermost() const { return m_depth == 0; }

private:
    std::size_t m_depth;
};

/// While it lives, the n-th call (from 1) on any fake answers `result` and does nothing.
/// With n 0 it counts only.
class FaultPlan {
public:
    explicit FaultPlan(std::size_t n, HRESULT result = E_FAIL);
    ~FaultPlan();
    FaultPlan(const FaultPlan&) = delete;
    FaultPlan& operator=(const FaultPlan&) = delete;

    std::size_t Calls() const { return m_calls; }
    bool Hit() const { return m_hit; }
    /// The call that was made to fail.
    std::string Where() const { return std::string(m_where.View()); }

    static FaultPlan* Current() { return s_current.load(std::memory_order_acquire); }
    /// True when this call is the one to fail.
    bool Strikes(const Line& line);
    HRESULT Result() const { return m_result; }

private:
    static std::atomic<FaultPlan*> s_current;

    std::size_t m_n;
    HRESULT m_result;
    std::atomic<std::size_t> m_calls{0};
    std::atomic<bool> m_hit{false};
    Line m_where;
};

template <class... Args>
void Describe(Line& line, std::string_view object, const char* method, const Args&... args) {
    line.Text(object);
    line.Text(".");
    line.Text(method);
    if constexpr (sizeof...(Args) > 0) {
        const char* separator = "(";
        (..., (line.Text(separator), Write(line, args), separator = ", "));
        line.Text(")");
    }
}

/// One call of a fake: journal, fault plan, answer table, and then the fake's own act.
template <class Act, class... Args>
HRESULT Invoke(std::string_view object, ResultTable& results, CallKind kind, const char* method,
               const std::tuple<Args...>& args, Act&& act) {
    const unsigned journalled = Journal::Get().Kinds() & kind;
    FaultPlan* const plan = FaultPlan::Current();
    if (journalled == 0 && plan == nullptr && results.Empty()) {
        return act();
    }
    Silence silence;
    if (silence.Outermost() && (journalled != 0 || plan != nullptr)) {
        Line line;
        std::apply([&](const auto&... each) { Describe(line, object, method, each...); }, args);
        if (journalled != 0) {
            Journal::Get().Append(line.View());
        }
        if (plan != nullptr && plan->Strikes(line)) {
            return plan->Result();
        }
    }
    Answer answer;
    const bool answered = results.Take(method, answer);
    if (answered && !answer.act) {
        return answer.result;
    }
    const HRESULT result = act();
    return answered ? answer.result : result;
}

/// Tells the test framework of a misuse that a fake has seen.
void ReportFailure(const std::string& text);

} // namespace fakes
