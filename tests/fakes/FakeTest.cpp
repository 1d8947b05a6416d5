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
    journal.SetKinds(kCall);
    journal.Clear();
}

FakeTest::~FakeTest() {
    ReportLeaks(m_mark, "");
    CoUninitialize();
}

std::size_t
RunFaultPlan(const std::function<void()>& scenario, HRESULT result,
             const std::function<void(std::size_t n, const std::string& where)>& check) {
    std::size_t calls = 0;
    for (std::size_t n = 0; n <= calls; ++n) {
        const Ledger::Mark mark = Ledger::Get().Now();
        const FaultPlan plan(n, result);
        scenario();
        calls = n == 0 ? plan.Calls() : calls;
        EXPECT_GE(plan.Calls(), n) << "call " << n << " of " << calls << " was not reached";
        check(n, plan.Where());
        ReportLeaks(mark, n == 0 ? " without a fault"
                                 : " after call " + std::to_string(n) + " failed: " + plan.Where());
    }
    return calls;
}

} // namespace fakes
