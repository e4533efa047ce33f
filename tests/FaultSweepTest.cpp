#include "support/RingBufferTest.h"

#include <io.h>

#include <algorithm>
#include <cstdlib>
#include <future>

namespace
{

using namespace std::chrono_literals;

constexpr int c_thrown = -2;                         ///< for an exception
constexpr auto c_code = static_cast<PYX_RESULT>(77); ///< of the failing call, where it has a code to return

// From the switches of a component to the clip: five groups of 0.6 s, of which 2 s are kept, and one late packet.
constexpr const char* c_settings = " EnableAudio=true TempPath=T Duration=2 V.BitRate=5 Init ";
constexpr const char* c_packets = "V0K+3000000 A0 V3000000+3000000 V6000000K+3000000 A6000000 "
                                  "V9000000+3000000 V12000000K+3000000 A11000000 A12000000 "
                                  "V15000000+3000000 V18000000K+3000000 A18000000 V21000000+3000000 "
                                  "V24000000K+3000000 A24000000 V27000000+3000000 Terminate";
constexpr const char* c_late = "A11000000";
constexpr const char* c_clip = "V0+3000000 A0 V3000000+3000000 A5000000 V6000000+3000000 A6000000 V9000000+3000000 "
                               "V12000000+3000000 A12000000 V15000000+3000000 V18000000+3000000 A18000000 V- A-";

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

/// What the host's call returns when a call within it fails. The first row whose texts are in the step and begin the
/// call's name holds.
struct Expectation
{
    std::string_view step;
    std::string_view failed;
    PYX_RESULT result;
};

constexpr Expectation c_expectations[] = {
    {"new:", "", PYX_OK},         // handed out in any case, without a muxer if need be
    {"=", "SetProperty", c_code}, // what the muxer refuses is refused
    {"=", "Input", c_code},
    {"=", "GetInput", c_code},
    {"TempPath", "CoTaskMemAlloc", PYX_OUT_OF_MEMORY},
    {"", "CoTaskMemAlloc", PYX_INVALID_ARG}, // a text that cannot be read as a number is no number
    {"=", "", PYX_OK},                       // the reaction to a property has no result
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

bool IsExpected(const std::string& step, const std::string& failed, int outcome)
{
    const auto* const row = std::ranges::find_if(c_expectations, [&](const Expectation& expected) {
        const bool isStep = step != c_late || expected.step != "A";
        return isStep && step.find(expected.step) != std::string::npos && failed.starts_with(expected.failed);
    });
    return outcome == row->result || (failed == "malloc" && outcome == c_thrown);
}

class FaultSweepTest : public RingBufferTest, public testing::WithParamInterface<bool>
{
protected:
    /// What the host sees of a call: its result, or c_thrown.
    int Try(const std::string& step)
    {
        try
        {
            return Run(step);
        }
        catch (const std::bad_alloc&)
        {
            return c_thrown;
        }
    }

    /// All of the session while the nth call whose name begins with `watched` fails (negative: and every such call from
    /// there on); then the same component once more, with another value for each property in between. The step that the
    /// failure met and its outcome, "Init 77", or nothing when there were fewer calls.
    std::string Fail(const std::string& watched, int nth)
    {
        const std::string settings = StorageMode(GetParam()) + c_settings;
        m_faults.Fail(watched, nth, c_code);
        std::string met;
        bool isClean = nth > 0;
        bool isCreated = true;
        for (const std::string& step : Split("new:VA " + settings + c_packets))
        {
            const int outcome = Try(step);
            isClean = isClean && outcome == PYX_OK;
            if (met.empty() && !m_faults.failed.empty())
            {
                met = step + ' ' + std::to_string(outcome);
                isCreated = m_faults.failed != "Create";
                m_where = met + ", failing: " + m_faults.failed + ' ' + std::to_string(nth);
                EXPECT_TRUE(nth < 0 || IsExpected(step, m_faults.failed, outcome)) << m_where;
            }
            EXPECT_TRUE(!met.empty() || outcome == PYX_OK) << step;
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
        EXPECT_EQ(Run("Init"), isCreated ? PYX_OK : PYX_NOT_INITIALIZED) << m_where;
        if (!isCreated)
        {
            Create();
        }
        // On a thread of its own: a lock that an earlier call left held stops it.
        auto repeated = std::async(std::launch::async, [&] {
            const testing::ScopedTrace trace(__FILE__, __LINE__, "after " + m_where);
            Feed("TempPath= EnableAudio=false Duration=3 " + StorageMode(!GetParam()));
            Written();
            Feed(settings + c_packets);
        });
        const auto isEnded = repeated.wait_for(30s);
        EXPECT_EQ(isEnded, std::future_status::ready) << m_where << " has left a lock held: waits until the time-out";
        repeated.wait();
        EXPECT_EQ(Written(), c_clip) << m_where;
        // The last release writes a clip too; whatever it meets, it frees everything.
        Feed("Init V1K A1 V2 V3K A3 V4");
        const auto spInput = Input(0); // a host may keep it longer than the component
        m_faults.Fail(watched, std::abs(nth) % 8 + 1, c_code);
        Destroy();
        EXPECT_TRUE(!m_faults.failed.empty() || Files() == "none") << m_where;
        Written();
        EXPECT_EQ(HostObject::Alive(), 1) << m_where << ": only the context is to be left";
        return met;
    }

    std::string m_where = "nothing"; ///< what failed, for messages
    const FaultyCalls m_calls{m_module.get(), m_spContext.Get()};
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
    const FaultyCall<"malloc", 0, void*(std::size_t)> allocation(m_module.get());
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
    EXPECT_GT(groups, 0) << "groups that could not be made";
}

INSTANTIATE_STORAGE_SUITE(FaultSweepTest);

} // namespace
