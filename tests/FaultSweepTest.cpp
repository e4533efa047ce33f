#include "support/RingBufferTest.h"

#include <io.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <future>

namespace
{

using namespace std::chrono_literals;

constexpr int c_thrown = -1;                         ///< for an exception
constexpr auto c_code = static_cast<PYX_RESULT>(77); ///< of the failing call, where it has a code to return

/// Puts every call of the module that can fail under the fault plan; the muxer's are there by themselves. A call
/// that fails has done nothing, only a descriptor is closed all the same. What returns a truth value is declared as
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

/// What the host's call returns when a call within it fails. The first row whose texts begin the two names holds.
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
    {"V", "malloc", PYX_OUT_OF_MEMORY}, // or, as everywhere, an exception
    {"", "malloc", PYX_OK},
    {"", "", c_code},
};

bool IsExpected(std::string_view step, std::string_view failed, int outcome)
{
    const auto* const row = std::ranges::find_if(c_expectations, [&](const Expectation& expected) {
        return step.starts_with(expected.step) && failed.starts_with(expected.failed);
    });
    return outcome == row->result || (failed == "malloc" && outcome == c_thrown);
}

/// One call of the host.
struct Step
{
    std::string name;
    std::function<PYX_RESULT()> call;
};

/// What the host sees of a call: its result, or c_thrown.
int Try(const Step& step)
{
    try
    {
        return step.call();
    }
    catch (const std::bad_alloc&)
    {
        return c_thrown;
    }
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

    /// The whole scenario while the nth call whose name begins with `watched` fails (negative: and every such call from
    /// there on); then the same component once more, with another value for each property in between. The step that the
    /// failure met and its outcome, "Init 77", or nothing when there were fewer calls.
    std::string Fail(const std::string& watched, int nth)
    {
        const auto steps = Scenario();
        m_faults.Fail(watched, nth, c_code);
        std::string met;
        bool isClean = nth > 0;
        bool isCreated = true;
        for (const Step& step : steps)
        {
            const int outcome = Try(step);
            isClean = isClean && outcome == PYX_OK;
            if (met.empty() && !m_faults.failed.empty())
            {
                met = step.name + ' ' + std::to_string(outcome);
                isCreated = m_faults.failed != "Create";
                m_where = met + ", failing: " + m_faults.failed + ' ' + std::to_string(nth);
                EXPECT_TRUE(nth < 0 || IsExpected(step.name, m_faults.failed, outcome)) << m_where;
            }
            EXPECT_TRUE(!met.empty() || outcome == PYX_OK) << step.name;
            if (!m_spComponent)
            {
                m_faults = {};
                Create();
            }
        }
        m_faults = {};
        const std::string written = Written();
        EXPECT_EQ(written.find('('), std::string::npos) << m_where << ": bytes without a record shift later packets";
        EXPECT_TRUE(!isClean || watched == "malloc" || written == c_clip) << m_where << ", unnoticed: " << written;
        const std::string traces = Traces();
        EXPECT_TRUE(watched != "malloc" || !met.ends_with(" 6") ||
                    traces.find("AddVideoStartPacket() - Out of memory") != std::string::npos ||
                    traces.find("Write() - Stream is not allocated") != std::string::npos)
            << m_where;
        EXPECT_EQ(m_spComponent->Init(0, 0, 0), isCreated ? PYX_OK : PYX_NOT_INITIALIZED) << m_where;
        if (!isCreated)
        {
            Create();
        }
        Repeat({steps.begin() + 1, steps.end()});
        // The last release writes a clip too; whatever it meets, it frees everything.
        EXPECT_EQ(m_spComponent->Init(0, 0, 0), PYX_OK) << m_where;
        Feed("V1K A1 V2 V3K A3 V4");
        const auto spInput = Input(0); // a host may keep it longer than the component
        m_faults.Fail(watched, std::abs(nth) % 8 + 1, c_code);
        Destroy();
        EXPECT_TRUE(!m_faults.failed.empty() || Files() == "none") << m_where;
        Written();
        EXPECT_EQ(HostObject::Alive(), 1) << m_where << ": only the context is to be left";
        return met;
    }

    /// On a thread of its own: a lock that an earlier call left held stops it.
    void Repeat(const std::vector<Step>& steps)
    {
        auto repeated = std::async(std::launch::async, [&] {
            EXPECT_EQ(Set(L"TempPath", L""), PYX_OK);
            EXPECT_EQ(Set(L"EnableAudio", L"false"), PYX_OK);
            EXPECT_EQ(Set(L"BufferInRamEnabled", GetParam() ? L"false" : L"true"), PYX_OK);
            EXPECT_EQ(Set(L"Duration", L"3"), PYX_OK);
            Written();
            for (const Step& step : steps)
            {
                EXPECT_EQ(step.call(), PYX_OK) << step.name << " after " << m_where;
            }
        });
        const auto isEnded = repeated.wait_for(30s);
        EXPECT_EQ(isEnded, std::future_status::ready) << m_where << " has left a lock held: waits until the time-out";
        repeated.wait();
        EXPECT_EQ(Written(), c_clip) << m_where;
    }

    std::string m_where = "nothing"; ///< what failed, for messages
    const FaultyCalls m_calls{m_pModule->handle, m_spContext.Get()};
};

TEST_P(FaultSweepTest, EveryCallFailsOnceOrForGoodAndNothingIsLost)
{
    int nth = 1;
    while (!Fail("", nth).empty() && !Fail("", -nth).empty())
    {
        ++nth;
    }
    EXPECT_GT(nth, 100) << "the sweep ended early";
}

TEST_P(FaultSweepTest, MemoryRunsOutOnceOrForGoodAndTheComponentGoesOn)
{
    const FaultyCall<"malloc", 0, void*(std::size_t)> allocation(m_pModule->handle);
    m_faults.Fail("malloc", 1, c_code);
    EXPECT_THROW(Create(), std::bad_alloc); // a thread's first exception needs memory, or the compiler's runtime aborts
    int groups = 0;
    int nth = 0;
    for (std::string met = "first"; !met.empty() && !HasFailure(); groups += met.ends_with(" 6") ? 1 : 0)
    {
        nth += std::getenv("PYX_TEST_LONG") ? 1 : 5;
        Fail("malloc", -nth);
        met = Fail("malloc", nth);
    }
    EXPECT_GT(groups, 1) << "groups that could not be made";
}

INSTANTIATE_STORAGE_SUITE(FaultSweepTest);

} // namespace
