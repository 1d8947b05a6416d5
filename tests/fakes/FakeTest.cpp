#include "fakes/FakeTest.h"

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

FakeTest::FakeTest() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    WatchTaskMemory();
    journal.SetKinds(kCall);
    journal.Clear();
}

FakeTest::~FakeTest() {
    ReportLeaks(m_mark, "");
    CoUninitialize();
}

std::size_t RunFaultPlan(const std::function<void()>& scenario, const FaultOptions& options) {
    std::size_t calls = 0;
    for (std::size_t n = 0; n <= calls; ++n) {
        const Ledger::Mark mark = Ledger::Get().Now();
        std::string where;
        {
            const FaultPlan plan(n, options.result);
            scenario();
            where = plan.Where();
            calls = n == 0 ? plan.Calls() : calls;
            EXPECT_GE(plan.Calls(), n) << "call " << n << " of " << calls << " was not reached";
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
    const Lines actual = Journal::Get().Take();
    const auto [line, pattern] =
        std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end(), &Matches);
    if (line == actual.end() && pattern == expected.end()) {
        return testing::AssertionSuccess();
    }
    auto failure = testing::AssertionFailure()
                   << "the journal differs at \"->\", expected "
                   << (pattern != expected.end() ? *pattern : "its end") << "\nthe journal:";
    for (auto each = actual.begin(); each != actual.end(); ++each) {
        failure << (each == line ? "\n -> " : "\n    ") << *each;
    }
    return failure;
}

} // namespace fakes
