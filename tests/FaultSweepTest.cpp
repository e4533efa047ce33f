#include "support/RingBufferTest.h"

#include <io.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <future>
#include <iostream>
#include <span>

namespace
{

using namespace std::chrono_literals;

constexpr auto c_code = static_cast<PYX_RESULT>(77); ///< of the failing call, where it has a code to answer

/// Puts every call of the module that can fail under the fault plan; the muxer's are there by themselves. A call
/// that fails has done nothing, only a descriptor is closed all the same. What answers a truth value is declared as
/// a pointer: null is false. Ends with the module.
struct FaultyCalls
{
    FaultyCalls(HMODULE library, HostContext* pContext) : module(library), allocBuffer(pContext, 3)
    {
        WritePointer(FindImport(module, "_close"), reinterpret_cast<void*>(&Close));
    }

    static int Close(int file)
    {
        const int closed = _close(file);
        return FaultPlan::Get().Check("_close") == PYX_OK ? closed : -1;
    }

    HMODULE module;
    FaultyCall<"AllocBuffer", 0, PYX_RESULT(void*, int, pyx_size, void*)> allocBuffer;
    FaultyCall<"CopyTo", 0, PYX_RESULT(void*, void*, bool)> copyTo{HostBuffer::Create(1).Get(), 10};
    FaultyCall<"_wsopen", -1, int(const wchar_t*, int, int, int)> open{module};
    FaultyCall<"_write", -1, int(int, const void*, unsigned)> write{module};
    FaultyCall<"short _write", 1, int(int, const void*, unsigned)> shortWrite{module, "_write"};
    FaultyCall<"_read", -1, int(int, void*, unsigned)> read{module};
    FaultyCall<"short _read", 1, int(int, void*, unsigned)> shortRead{module, "_read"};
    FaultyCall<"_lseeki64", -1, long long(int, long long, int)> seek{module};
    FaultyCall<"VirtualAlloc", 0, void*(void*, SIZE_T, DWORD, DWORD)> alloc{module};
    FaultyCall<"CoTaskMemAlloc", 0, void*(SIZE_T)> taskAlloc{module};
    FaultyCall<"CreateDirectoryW", 0, void*(const wchar_t*, void*)> createDirectory{module};
    FaultyCall<"RemoveDirectoryW", 0, void*(const wchar_t*)> removeDirectory{module};
    FaultyCall<"DeleteFileW", 0, void*(const wchar_t*)> deleteFile{module};
    FaultyCall<"FindFirstFileW", -1, long long(const wchar_t*, void*)> findFirst{module};
};

/// What the host's call answers when a call within it fails. The first row whose texts begin the two names holds.
struct Expectation
{
    std::string_view step;
    std::string_view failed;
    PYX_RESULT result;
};

constexpr Expectation c_expectations[] = {
    {"Create", "", PYX_OK},         // handed out in any case, without a muxer if need be
    {"Set", "SetProperty", c_code}, // what the muxer refuses is refused
    {"Set TempPath", "CoTaskMemAlloc", PYX_OUT_OF_MEMORY},
    {"", "CoTaskMemAlloc", PYX_INVALID_ARG}, // a text that cannot be read as a number is no number
    {"Set", "", PYX_OK},                     // the reaction to a property has no result
    {"A", "", PYX_OK},                       // tried again with the next packet
    {"", "Submit", PYX_OK},                  // the muxer loses that packet
    {"", "_close", PYX_OK},                  // nothing is buffered that could be lost
    {"", "CreateDirectoryW", PYX_OK},        // shows when the first file is opened
    {"", "RemoveDirectoryW", PYX_OK},        // the next Init tries again
    {"", "DeleteFileW", PYX_OK},
    {"", "FindFirstFileW", PYX_OK},
    {"", "_", PYX_FAIL},
    {"", "short _write", PYX_FAIL},
    {"", "short _read", PYX_UNEXPECTED},
    {"", "VirtualAlloc", PYX_OUT_OF_MEMORY},
    {"", "", c_code},
};

PYX_RESULT Expected(std::string_view step, std::string_view failed)
{
    return std::ranges::find_if(
               c_expectations,
               [&](const Expectation& row) { return step.starts_with(row.step) && failed.starts_with(row.failed); })
        ->result;
}

/// One call of the host.
struct Step
{
    std::string name;
    std::function<PYX_RESULT()> call;
};

using Results = std::vector<PYX_RESULT>;

/// Makes the calls on a thread of their own: a lock that an earlier call left held stops them.
Results CallElsewhere(std::span<const Step> steps, const std::string& where)
{
    auto results = std::async(std::launch::async, [steps] {
        Results all;
        std::ranges::transform(steps, std::back_inserter(all), [](const Step& step) { return step.call(); });
        return all;
    });
    if (results.wait_for(30s) != std::future_status::ready)
    {
        std::cerr << where << " has left a lock held\n";
        TerminateProcess(GetCurrentProcess(), 1);
    }
    return results.get();
}

class FaultSweepTest : public RingBufferTest, public testing::WithParamInterface<bool>
{
protected:
    Step Setting(const wchar_t* name, const wchar_t* value)
    {
        return {"Set " + Narrow(name), [=, this] { return Set(name, value); }};
    }

    /// From the making of a component to the clip: five groups of 0.6 s, of which 2 s are kept, and one late packet.
    std::vector<Step> Scenario()
    {
        std::vector<Step> steps = {
            {"Create", [this] { return Create(), PYX_OK; }},
            Setting(L"EnableAudio", L"true"),
            Setting(L"BufferInRamEnabled", GetParam() ? L"true" : L"false"),
            Setting(L"TempPath", m_temp.path.c_str()),
            Setting(L"Duration", L"2"),
            {"Describe", [this] { return Input(0)->SetProperty(L"BitRate", PYXVariantBorrowWString(L"5")); }},
            {"Init", [this] { return m_spComponent->Init(0, 640, 480); }},
        };
        for (const std::string& packet : Split(c_packets, ' '))
        {
            steps.push_back({packet == "A11000000" ? "Late audio" : packet, [packet, this] {
                                 // No input when it could not be switched on.
                                 return Input(packet[0] == 'A' ? 1 : 0) ? TryFeed(packet) : PYX_NOT_FOUND;
                             }});
        }
        steps.push_back({"Terminate", [this] { return Terminate(); }});
        return steps;
    }

    static constexpr const char* c_packets = "V0K+3000000 A0 V3000000+3000000 V6000000K+3000000 A6000000 "
                                             "V9000000+3000000 V12000000K+3000000 A11000000 A12000000 "
                                             "V15000000+3000000 V18000000K+3000000 A18000000 V21000000+3000000 "
                                             "V24000000K+3000000 A24000000 V27000000+3000000";
    static constexpr const char* c_clip = "V0+3000000 A0 V3000000+3000000 A5000000 "
                                          "V6000000+3000000 A6000000 V9000000+3000000 "
                                          "V12000000+3000000 A12000000 V15000000+3000000 V18000000+3000000 A18000000 "
                                          "V- A-";

    std::string FailCalls(int nth);
    std::string RefuseMemory(int nth);
};

/// The scenario with its nth fallible call failing (negative: and every call from there on), then once more with the
/// same component. The first call that failed, or nothing when there were fewer.
std::string FaultSweepTest::FailCalls(int nth)
{
    const auto steps = Scenario();
    m_pModule.reset();
    m_pModule = std::make_unique<LoadedModule>();
    const FaultyCalls calls(m_pModule->handle, m_spContext.Get());
    m_faults.Fail("", nth, c_code);
    auto next = steps.begin();
    PYX_RESULT result = PYX_OK;
    while (next != steps.end() && result == PYX_OK && m_faults.failed.empty())
    {
        result = (next++)->call();
    }
    const std::string failed = m_faults.failed;
    const std::string where = std::prev(next)->name + ", failing: " + failed + ' ' + std::to_string(nth);
    if (nth > 0)
    {
        EXPECT_EQ(result, failed.empty() ? PYX_OK : Expected(std::prev(next)->name, failed)) << where;
        m_faults = {};
    }
    Results results = CallElsewhere({next, steps.end()}, where);
    results.push_back(result);
    m_faults = {};
    const std::string written = Written();
    if (nth > 0 && std::ranges::count(results, PYX_OK) == std::ssize(results))
    {
        EXPECT_EQ(written, c_clip) << where << ", though the host saw nothing but success";
    }
    CallElsewhere({&steps.back(), 1}, where); // it may have failed, so once more
    const bool hasMuxer = m_spComponent->Init(0, 640, 480) != PYX_NOT_INITIALIZED;
    EXPECT_TRUE(nth < 0 || hasMuxer == (failed != "Create")) << where;
    if (hasMuxer)
    {
        Written();
        const Results again = CallElsewhere({steps.begin() + 1, steps.end()}, where);
        EXPECT_EQ(again, Results(steps.size() - 1, PYX_OK)) << where;
        EXPECT_EQ(Written(), c_clip) << where;
    }
    Destroy();
    EXPECT_EQ(Files(), "none") << where;
    EXPECT_EQ(HostObject::Alive(), 1) << where << ": only the context is to be left";
    return failed;
}

TEST_P(FaultSweepTest, EveryCallFailsOnceOrForGoodAndNothingIsLost)
{
    int nth = 1;
    while (!FailCalls(nth).empty() && !FailCalls(-nth).empty())
    {
        ++nth;
    }
    EXPECT_GT(nth, 100) << "the sweep ended early";
}

/// The scenario with its nth block of memory refused (negative: and every block from there on), until a step has
/// failed; then the same component, each property set to something else before, once more. The step that it met and
/// what the host saw of it, or nothing when there were fewer blocks.
std::string FaultSweepTest::RefuseMemory(int nth)
{
    const auto steps = Scenario();
    m_pModule.reset();
    m_pModule = std::make_unique<LoadedModule>();
    const FaultyCall<"malloc", 0, void*(std::size_t)> allocation(m_pModule->handle);
    m_faults.Fail("malloc", 1, c_code);
    EXPECT_THROW(Create(), std::bad_alloc); // a thread's first exception needs memory, or the compiler's runtime aborts
    m_faults.Fail("malloc", nth, c_code);
    std::string met;
    for (const Step& step : steps)
    {
        std::string outcome = "threw";
        try
        {
            outcome = std::to_string(step.call());
        }
        catch (const std::bad_alloc&)
        {
            EXPECT_FALSE(m_faults.failed.empty()) << step.name;
        }
        if (met.empty() && !m_faults.failed.empty())
        {
            met = step.name + ' ' + outcome;
        }
        if (!m_spComponent)
        {
            m_faults = {};
            Create();
        }
    }
    m_faults = {};
    EXPECT_EQ(Written().find('('), std::string::npos) << met << ": bytes without a record shift the packets behind";
    const std::string traces = Traces();
    EXPECT_TRUE(!met.ends_with(" 6") || traces.find("AddVideoStartPacket() - Out of memory") != std::string::npos ||
                traces.find("Write() - Stream is not allocated") != std::string::npos)
        << met;

    EXPECT_EQ(Set(L"TempPath", L""), PYX_OK);
    EXPECT_EQ(Set(L"EnableAudio", L"false"), PYX_OK);
    EXPECT_EQ(Set(L"BufferInRamEnabled", GetParam() ? L"false" : L"true"), PYX_OK);
    EXPECT_EQ(Set(L"Duration", L"3"), PYX_OK);
    Written();
    EXPECT_EQ(CallElsewhere({steps.begin() + 1, steps.end()}, met), Results(steps.size() - 1, PYX_OK)) << met << nth;
    EXPECT_EQ(Written(), c_clip) << met;
    Destroy();
    EXPECT_EQ(Files(), "none") << met;
    EXPECT_EQ(HostObject::Alive(), 1) << met << ": only the context is to be left";
    return met;
}

TEST_P(FaultSweepTest, MemoryRunsOutOnceOrForGoodAndTheComponentGoesOn)
{
    int groups = 0;
    int nth = 0;
    for (std::string met = "first"; !met.empty() && !HasFailure(); groups += met.ends_with(" 6") ? 1 : 0)
    {
        nth += std::getenv("PYX_TEST_LONG") ? 1 : 5;
        RefuseMemory(-nth);
        met = RefuseMemory(nth);
    }
    EXPECT_GT(groups, 3) << "groups that could not be made";
}

TEST_P(FaultSweepTest, TheLastReleaseFreesEverythingWhereverMemoryRunsOut)
{
    int nth = 0;
    for (bool met = true; met; m_faults = {})
    {
        Start(GetParam());
        Feed("V1K A1 V2 V3K A3 V4");
        const FaultyCall<"malloc", 0, void*(std::size_t)> allocation(m_pModule->handle);
        m_faults.Fail("malloc", ++nth, c_code);
        Destroy();
        met = !m_faults.failed.empty();
        EXPECT_EQ(Files(), met ? "" : "none") << "block " << nth;
        EXPECT_EQ(HostObject::Alive(), 1) << "only the context is to be left, block " << nth;
    }
    EXPECT_GT(nth, 2) << "blocks";
}

INSTANTIATE_STORAGE_SUITE(FaultSweepTest);

} // namespace
