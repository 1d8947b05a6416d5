#include "fakes/FakeTest.h"

#include <iomanip>
#include <ostream>

#include "fakes/TaskMemory.h"

namespace fakes {

namespace {

void ReportLeaks(Ledger::Mark mark, const std::string& where) {
    for (const std::string& leak : Ledger::Get().Settle(mark)) {
        ADD_FAILURE() << "not released" << where << ": " << leak;
    }
    for (const std::string& leak : TakeUnfreedTaskMemory()) {
        ADD_FAILURE() << leak << where;
    }
}

} // namespace

FakeTest::FakeTest() : m_mark(Ledger::Get().Now()) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    WatchTaskMemory(true);
    journal.SetKinds(kCall);
    journal.Clear();
}

FakeTest::~FakeTest() {
    ReportLeaks(m_mark, "");
    WatchTaskMemory(false);
    journal.Clear();
    journal.SetKinds(kCall);
    CoUninitialize();
}

std::size_t RunFaultPlan(const std::function<void()>& scenario, const FaultOptions& options) {
    std::size_t calls = 0;
    for (std::size_t n = 0; n <= calls; ++n) {
        const Ledger::Mark mark = Ledger::Get().Now();
        std::string where;
        bool hit = false;
        {
            const FaultPlan plan(n, options.result);
            scenario();
            where = plan.Where();
            hit = plan.Hit();
            if (n == 0) {
                calls = plan.Calls();
            }
        }
        if (n != 0 && !hit) {
            ADD_FAILURE() << "call " << n << " of " << calls << " was not reached";
        }
        if (options.check) {
            options.check(n, where);
        }
        ReportLeaks(mark, n == 0 ? " without a fault"
                                 : " after call " + std::to_string(n) + " failed: " + where);
    }
    return calls;
}

testing::AssertionResult JournalIs(std::initializer_list<std::string> expected) {
    const std::vector<std::string> actual = Journal::Get().Take();
    std::size_t same = 0;
    while (same < expected.size() && same < actual.size() &&
           Matches(actual[same], expected.begin()[same])) {
        ++same;
    }
    if (same == expected.size() && same == actual.size()) {
        return testing::AssertionSuccess();
    }
    auto failure = testing::AssertionFailure()
                   << "the journal differs at line " << same << ", expected "
                   << (same < expected.size() ? expected.begin()[same] : "its end")
                   << "\nthe journal:";
    for (std::size_t i = 0; i < actual.size(); ++i) {
        failure << (i == same ? "\n -> " : "\n    ") << actual[i];
    }
    return failure;
}

void PrintTo(Result result, std::ostream* out) {
    *out << "0x" << std::hex << std::setw(8) << std::setfill('0')
         << static_cast<unsigned long>(result.value);
}

} // namespace fakes
