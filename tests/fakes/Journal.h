#pragma once

#include <windows.h>

#include <unknwn.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <concepts>
#include <cstring>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace fakes {

/// Kinds of calls, as bits: what the journal writes down and a fault plan may fail.
enum CallKind : unsigned {
    kCall = 1,      ///< methods of filters, pins, graphs, classes
    kEnumCall = 2,  ///< methods of enumerators
    kQueryCall = 4, ///< QueryInterface
};

using Lines = std::vector<std::string>;

/// Tells the test framework of a misuse that a fake has seen.
void ReportFailure(const std::string& text);

/// Glob match with "*" for any run of characters.
bool Matches(std::string_view text, std::string_view pattern);

std::wstring Widen(std::string_view text);
std::string Narrow(std::wstring_view text);

/// One line of the journal. Numbers, identifiers and names of fakes are written without
/// allocating: a suspended or terminated event thread must not take the heap's lock or the
/// journal's with it.
class Line {
public:
    std::string_view View() const { return {m_text, m_size}; }

    void Write(std::string_view text) {
        const std::size_t size = std::min(text.size(), sizeof m_text - m_size);
        std::memcpy(m_text + m_size, text.data(), size);
        m_size += size;
    }
    void Write(const wchar_t* text) { Write(text != nullptr ? Narrow(text) : "null"); }
    void Write(const LONGLONG* number) { number != nullptr ? Write(*number) : Write("null"); }
    void Write(IUnknown* object); ///< the fake's name, "null", or "foreign"
    void Write(const GUID& guid);
    template <std::integral T> void Write(T number) {
        char digits[24];
        const auto end = std::to_chars(digits, std::end(digits), static_cast<LONGLONG>(number));
        Write(std::string_view(digits, end.ptr));
    }

private:
    char m_text[200] = {};
    std::size_t m_size = 0;
};

/// What was called on the fakes, one line a call: "A.Out1.ConnectedTo",
/// "graph.Connect(A.Out1, B.In1)". Calls that fakes make on each other are not written.
class Journal {
public:
    static Journal& Get() {
        static Journal journal;
        return journal;
    }

    /// A mask of CallKind; 0 switches the journal off. kCall from the start.
    void SetKinds(unsigned kinds) { m_kinds = kinds; }
    unsigned Kinds() const { return m_kinds.load(std::memory_order_relaxed); }

    void Append(std::string_view line) {
        if (const auto listener = m_listener.load(); listener != nullptr) {
            listener(line);
        }
        // Lines() reports when it is full.
        if (const std::size_t index = m_size++; index < m_slots.size()) {
            m_slots[index].line = {};
            m_slots[index].line.Write(line);
            m_slots[index].ready = true;
        }
    }
    void Clear() {
        for (Slot& slot : m_slots) {
            slot.ready = false;
        }
        m_size = 0;
    }

    /// Called with each line before the call is carried out, to make calls take time; null
    /// for nobody.
    void SetListener(void (*listener)(std::string_view line)) { m_listener = listener; }

    fakes::Lines Lines() const {
        fakes::Lines lines;
        for (const Slot& slot : m_slots) {
            if (slot.ready) {
                lines.emplace_back(slot.line.View());
            }
        }
        if (m_size > m_slots.size()) {
            ReportFailure("the journal is full: switch it off or clear it");
        }
        return lines;
    }
    /// The lines, then clears.
    fakes::Lines Take() {
        fakes::Lines lines = Lines();
        Clear();
        return lines;
    }
    fakes::Lines Matching(std::string_view pattern) const {
        fakes::Lines lines = Lines();
        std::erase_if(lines, [&](const std::string& line) { return !Matches(line, pattern); });
        return lines;
    }
    std::size_t Count(std::string_view pattern) const { return Matching(pattern).size(); }

    /// True when lines that match the patterns appear in this order, others between allowed.
    bool InOrder(std::initializer_list<std::string_view> patterns) const {
        auto pattern = patterns.begin();
        for (const std::string& line : Lines()) {
            pattern += pattern != patterns.end() && Matches(line, *pattern) ? 1 : 0;
        }
        return pattern == patterns.end();
    }

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

/// As the result of a call: it throws a C++ exception instead of answering.
inline constexpr HRESULT kThrows = MAKE_HRESULT(SEVERITY_ERROR, FACILITY_NULL, 0x7777);
inline HRESULT Give(HRESULT result) {
    return result != kThrows ? result : throw std::runtime_error("a fake throws");
}

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

/// One answer for always, or a list of answers for one call each.
struct Answers {
    Answers() = default;
    Answers(Answer answer) : list{answer}, always(true) {}
    Answers(HRESULT result) : Answers(Answer(result)) {}
    Answers(std::initializer_list<HRESULT> results) : list(results.begin(), results.end()) {}
    std::vector<Answer> list;
    bool always = false;
};

/// Answers by method name.
///     filter.results["EnumPins"] = E_FAIL;              always, without doing anything
///     graph.results["Connect"] = VFW_S_PARTIAL_RENDER;  a success code: does it as well
///     pin.results["ConnectedTo"] = Skip(S_OK);          success that does nothing
///     pin.results["ConnectedTo"] = Do(E_FAIL);          does it and reports failure
///     graph.results["Connect"] = {E_FAIL, S_OK};        one call each, then its own results
struct ResultTable : std::map<std::string, Answers, std::less<>> {
    void Clear() { clear(); }
    /// The answer for this call, if one is set.
    std::optional<Answer> Take(std::string_view method) {
        const auto found = find(method);
        if (found == end() || found->second.list.empty()) {
            return std::nullopt;
        }
        auto& [list, always] = found->second;
        const Answer answer = list.front();
        list.erase(list.begin(), list.begin() + (always ? 0 : 1));
        return answer;
    }
};

/// Silences the journal and the fault plan on this thread: around COM calls by which a test
/// sets things up. The fakes use it for what they call on each other.
class Silence {
public:
    Silence() { TlsSetValue(s_slot, this); }
    ~Silence() { TlsSetValue(s_slot, m_outer); }

    /// No other was on this thread when this one was made.
    bool Outermost() const { return m_outer == nullptr; }

private:
    static inline const DWORD s_slot = TlsAlloc(); ///< thread_local may allocate
    void* const m_outer = TlsGetValue(s_slot);
};

/// While it lives, the n-th call (from 1) on any fake answers `result` and does nothing.
/// With n 0 it counts only.
class FaultPlan {
public:
    explicit FaultPlan(std::size_t n, HRESULT result = E_FAIL) : m_n(n), m_result(result) {
        s_current = this;
    }
    ~FaultPlan() { s_current = nullptr; }

    std::size_t Calls() const { return m_calls; }
    /// The call that was made to fail.
    std::string Where() const { return std::string(m_where.View()); }

    static FaultPlan* Current() { return s_current; }
    /// The result for this call when it is the one to fail, else S_OK.
    HRESULT Strike(const Line& line) {
        if (++m_calls != m_n) {
            return S_OK;
        }
        m_where = line;
        return m_result;
    }

private:
    static inline std::atomic<FaultPlan*> s_current{nullptr};

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
    if ((Journal::Get().Kinds() & kind) == 0 && !FaultPlan::Current() && results.empty()) {
        return run();
    }
    const Silence silence;
    if (silence.Outermost()) {
        Line line;
        const auto write = [&](const auto&... parts) { (..., line.Write(parts)); };
        const char* separator = "(";
        write(object, ".", method);
        std::apply([&](auto&... arg) { (..., write(std::exchange(separator, ", "), arg)); }, args);
        write(sizeof...(Args) > 0 ? ")" : "");
        if (const HRESULT fault = Announce(kind, line); fault != S_OK) {
            return Give(fault);
        }
    }
    const auto answer = results.Take(method);
    const HRESULT result = !answer || answer->act ? run() : S_OK;
    return answer ? Give(answer->result) : result;
}

} // namespace fakes
