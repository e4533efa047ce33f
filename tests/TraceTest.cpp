#include "common/CriticalSection.h"
#include "common/Trace.h"
#include "support/Companions.h"
#include "support/Faults.h"
#include "support/Hooks.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <future>
#include <vector>

namespace
{

constexpr PYXTraceSource c_traceSource{L"common/TraceTest", L"PYXTraceTest"};

PYX_RESULT CheckPositive(int value)
{
    FAIL_IF_NOT(value > 0, PYX_INVALID_ARG, L"Invalid index");
    FAIL_IF_NOT(value > 1, PYX_FAIL, L"%s is %d%%", L"value", value);
    FAIL_IF_NOT(value > 2, PYX_EOF, L"100% sure");
    return static_cast<PYX_RESULT>(value);
}

PYX_RESULT Pass(int value)
{
    PASS_ON_FAILURE(CheckPositive(value), L"check %s failed", L"two");
    return PYX_OK;
}

TEST(TraceTest, ChecksTraceAndReturnTheirCode)
{
    Companions::Get() = {};
    EXPECT_EQ(CheckPositive(0), PYX_INVALID_ARG);
    EXPECT_EQ(CheckPositive(1), PYX_FAIL);
    EXPECT_EQ(Pass(2), PYX_EOF);
    EXPECT_EQ(Pass(77), 77); // a code that is not the module's
    Trace(L"common/TraceTest", 1, PYX_TRACE_WARNING, L"PYXTraceTest", 1, L"%d", 5);
    EXPECT_EQ(Companions::Get().Take(&Companions::traces), "E TraceTest Assertion failed:Invalid index\n"
                                                           "E TraceTest Assertion failed:value is 1%\n"
                                                           "E TraceTest Assertion failed:100% sure\n"
                                                           "E TraceTest PYX_ERROR 23 : code 23: check two failed\n"
                                                           "E TraceTest PYX_ERROR 77 : code 77: check two failed\n"
                                                           "W* TraceTest 5");
    EXPECT_EQ(FormatText(L"%s%s", std::wstring(9000, L'x').c_str(), L"y"), std::wstring(9000, L'x') + L'y');
}

TEST(TraceTest, RecordsOfManyThreadsArriveWithoutAHoldOfTheLibrary)
{
    Companions::Get() = {};
    FaultPlan::Get().Fail("none", 0, PYX_OK); // several threads ask the plan: it must not count
    std::vector<std::future<void>> threads;
    for (int i = 0; i < 8; ++i)
    {
        threads.push_back(std::async(std::launch::async, [] {
            for (int j = 0; j < 25; ++j)
            {
                CheckPositive(0);
            }
        }));
    }
    threads.clear(); // waits for each
    EXPECT_EQ(Split(Companions::Get().Take(&Companions::traces), '\n').size(), 200u);
    EXPECT_EQ(GetModuleHandleW(L"pyxrt64.dll"), nullptr);
}

TEST(CriticalSectionTest, TriesAsOftenAsItsTimeOutSays)
{
    const FaultyCall<"Sleep", 0, void(DWORD)> sleep(GetModuleHandleW(nullptr));
    const FaultyCall<"TryEnterCriticalSection", 0, void*(CRITICAL_SECTION*)> tryEnter(GetModuleHandleW(nullptr));
    PYXCriticalSection section;
    for (const auto& [retries, tries] : {std::pair{0U, 1}, {1U, 2}, {3U, 4}})
    {
        FaultPlan::Get().Fail("Try", -1, 1);
        EXPECT_FALSE(section.Lock(retries));
        EXPECT_EQ(FaultPlan::Get().calls, tries);
        FaultPlan::Get().Fail("", 1, 1); // a try, a sleep, and the try that succeeds
        EXPECT_EQ(section.Lock(retries) && section.Unlock(), retries > 0);
        EXPECT_EQ(FaultPlan::Get().calls, retries > 0 ? 3 : 1);
    }
}

} // namespace
