#include "support/RingBufferTest.h"

#include <algorithm>
#include <cstdlib>

namespace
{

class WriteOutTest : public RingBufferTest, public testing::WithParamInterface<bool>
{
public:
    WriteOutTest()
    {
        Start(GetParam());
    }
};

INSTANTIATE_STORAGE_SUITE(WriteOutTest);

TEST_P(WriteOutTest, TimesMayBeOfAnySize)
{
    Feed("V9223372036854775807K+1 A9223372036854775807 V-9223372036854775807K A-9223372036854775807 V5s V0sK+7 A0s");
    Feed("Init Duration=2147483647");
    Feed("V0sK A0s V2147483646sK A2147483646s V2147483647sK A2147483647s Terminate");
    EXPECT_EQ(Written(), "V0 A0 V21474836460000000 A21474836460000000 V- A-");
}

TEST_P(WriteOutTest, TheMuxerAndTheContextMayCallBack)
{
    const std::string calls[] = {
        "Init", "Terminate", "TempPath=T\\other", StorageMode(!GetParam()), "Duration=1", "V20sK A20s V21s V22sK"};
    FaultyCall<"AllocBuffer", 0, PYX_RESULT(void*, int, pyx_size, void*)> alloc(m_spContext.Get(), 3);
    for (const char* place : {"AllocBuffer", "GetInput", "Input.GetProperty", "Submit V", "End A"})
    {
        for (const std::string& call : calls)
        {
            Feed("V1000K V1400 V1800 A1000 A1200 V9000K A9000");
            m_faults.Fail(place, 1, PYX_OK);
            m_faults.then = [&] { Feed(call); };
            Run("Terminate"); // may fail: the call may have removed the files
            EXPECT_EQ(m_faults.failed, place);
            Start(GetParam());
        }
    }
}

/// A recorder that runs all day and saves a clip each hour. Every hour has the same packets at later times, so whatever
/// is not as in the hour before was left by it.
TEST_P(WriteOutTest, EachHourOfADayLeavesWhatTheLastDid)
{
    const auto hold = [this] {
        return std::to_string(CountFiles()) + " open files, " + std::to_string(HostObject::Alive()) +
               " host objects, " + std::to_string(CountRuntimeBlocks()) + " blocks, " +
               std::to_string(std::ranges::count(Files(), 'T')) + " files";
    };
    const int hours = std::getenv("PYX_TEST_LONG") ? 24 : 6;
    std::string last(9000, ' '); // a text that has a block on the heap, as those that replace it
    for (int hour = 0; hour < hours && !HasFailure(); ++hour)
    {
        // 64 s of 20 pictures, audio with every other. After 32 groups their deque is at the same place in a block.
        for (int ticks = 0; ticks < 64 * 20; ++ticks)
        {
            const std::string time = std::to_string(1'000'000'000'000 + (hour * 64LL * 20 + ticks) * 500'000);
            Feed('V' + time + (ticks % 40 == 0 ? "K/800" : "/100") + (ticks % 2 ? "" : " A" + time + "/50"));
        }
        std::string left = hold();
        Feed("Terminate Init");
        left += "; saved: " + Written() + Calls() + Traces();
        EXPECT_EQ(std::ranges::count(left, 'V'), 30 * 20 + 1) << "with the end mark";
        left += "; " + hold();
        EXPECT_TRUE(hour < 2 || left == last) << left << "\nis not the last hour's:\n" << last;
        last = left;
    }
}

} // namespace
