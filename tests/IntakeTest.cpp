#include "support/RingBufferTest.h"

namespace
{

class IntakeTest : public StorageTest
{
protected:
    /// Each group holds the context, as do the test, the component and its muxer.
    pyx_uint32 Groups()
    {
        m_spContext->Acquire();
        return m_spContext->Release() - 3;
    }

    std::string Kept()
    {
        EXPECT_EQ(Terminate(), PYX_OK);
        return Written();
    }

    /// One group per second that is one second long, its start packet `start` ticks.
    void FeedSeconds(int count, const std::string& start)
    {
        for (int second = 0; second < count; ++second)
        {
            const std::string s = std::to_string(second);
            Feed("V" + s + "sK+" + start + " A" + s + "s V" + s + "9666667+333333");
        }
    }
};

INSTANTIATE_STORAGE_SUITE(IntakeTest);

TEST_P(IntakeTest, VideoBeforeTheFirstStartIsDroppedAndAudioWaits)
{
    Feed("V1 A4 A5 V2 A5 V5K V6K A6");
    EXPECT_EQ(Kept(), "V0 A0 A0 V1 A1 V- A-");
}

TEST_P(IntakeTest, AudioGoesToTheGroupThatCoversIt)
{
    Feed("V10K V12 A10 A13 V20K A20 V30K A29 A20 A30 A9");
    EXPECT_EQ(Traces(), "");
    EXPECT_EQ(TryFeed("A28"), GetParam() ? PYX_OK : PYX_FILE_NOT_OPEN); // A30 has closed that group's audio
    const std::string failure = "\nE RingBufferImpl PYX_ERROR 16 : code 16: ";
    EXPECT_TRUE(Traces().ends_with(GetParam() ? ""
                                              : failure +
                                                    "AddAudioPacketsToGOP() failed to add audio packet to cached "
                                                    "GOP" +
                                                    failure + "SubmitInput() failed to store the audio packet"));
    EXPECT_EQ(Kept(), GetParam() ? "V0 A0 V2 A3 V10 A10 A19 A10 A18 V20 A20 V- A-"
                                 : "V0 A0 V2 A3 V10 A10 A19 A10 V20 A20 V- A-");
}

TEST_P(IntakeTest, ASpanOfExactlyTheDurationStaysAndALessOneIsTrimmedAtOnce)
{
    Set(L"Duration", L"3");
    FeedSeconds(6, "0");
    EXPECT_EQ(Groups(), 5u);
    Set(L"Duration", L"2");
    EXPECT_EQ(Groups(), 3u);
    EXPECT_EQ(Kept().substr(0, 21), "V0 A0 V9666667+333333");
    EXPECT_EQ(Groups(), 0u);
}

TEST_P(IntakeTest, AFailedPacketIsTracedAtEachLevelAndTheNextIsTaken)
{
    FaultyCall<"AllocBuffer", 0, PYX_RESULT(void*, int, pyx_size, void*)> alloc(m_spContext.Get(), 3);
    const std::string failure = "\nE RingBufferImpl PYX_ERROR 77 : code 77: ";
    m_faults.Fail("AllocBuffer", 1, 77);
    EXPECT_EQ(TryFeed("V1K"), 77);
    EXPECT_TRUE(Traces().ends_with(failure + "AddVideoStartPacket() failed" + failure +
                                   "SubmitInput() failed to store the start packet"));
    m_faults.Fail("AllocBuffer", 1, 77);
    EXPECT_EQ(TryFeed("V2"), 77);
    EXPECT_TRUE(Traces().ends_with(failure + "AddVideoRegularPacket() failed" + failure +
                                   "SubmitInput() failed to store the regular packet"));
    Feed("V3 A3 V4K A4"); // the empty group is still the active one
    EXPECT_EQ(Kept(), "V0 A0 V1 A1 V- A-");
}

} // namespace
