#pragma once

#include <gtest/gtest.h>

#include "fakes/FakeClass.h"
#include "fakes/LogCapture.h"

namespace fakes {

/// The base of every fixture on fakes: COM in the multithreaded apartment, an empty journal,
/// and at the end, after the members of the derived fixture are gone, the check that no fake
/// is alive and that every media type and task memory block was freed.
class FakeTest : public testing::Test {
protected:
    FakeTest();
    ~FakeTest() override;

    Journal& journal = Journal::Get();
    Ledger& ledger = Ledger::Get();

private:
    Ledger::Mark m_mark = ledger.Now();
};

/// Runs the scenario once counting its calls, then once for each call with that call answering
/// `result`. Every run must leave no fake alive that it has made. The scenario makes its own
/// fakes, and makes them quietly. `check` is told after each run the number of the failing call
/// (0: the run without) and its text. Gives the number of calls of the first run.
std::size_t RunFaultPlan(
    const std::function<void()>& scenario, HRESULT result = E_FAIL,
    const std::function<void(std::size_t n, const std::string& where)>& check = [](auto...) {});

// Compares the whole journal and clears it.
#define EXPECT_JOURNAL(...) EXPECT_EQ(::fakes::Journal::Get().Take(), ::fakes::Lines(__VA_ARGS__))
#define EXPECT_HR(expected, actual) EXPECT_EQ(HRESULT{expected}, HRESULT{actual})

} // namespace fakes
