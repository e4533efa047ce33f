#include "support/RingBufferTest.h"

namespace
{

constexpr const char* c_packets = "V1000K V1400 V1800 A1000 A1200 V9000K A9000";
constexpr const char* c_written = "V0 A0 A200 V400 V800 V8000 A8000 V- A-";

class WriteOutTest : public StorageTest
{
protected:
    /// A component whose muxer offers these inputs.
    void Restart(const std::string& inputs)
    {
        Destroy();
        m_companions.inputs = inputs;
        Start(GetParam());
    }

    /// What a failed write-out traces last.
    static std::string Failure(int result, const std::string& text)
    {
        const std::string code = std::to_string(result);
        const std::string prefix = "E RingBufferImpl PYX_ERROR " + code + " : code " + code + ": ";
        return (text.empty() ? "" : prefix + text + '\n') + prefix + "WriteBuffer() failed";
    }
};

INSTANTIATE_STORAGE_SUITE(WriteOutTest);

TEST_P(WriteOutTest, MergesByTimeAndVideoWinsATie)
{
    Feed(c_packets);
    EXPECT_EQ(Outcome(Terminate()), "0");
    EXPECT_EQ(Written(), c_written);
    EXPECT_EQ(Files(), "none");
    EXPECT_EQ(Outcome(Terminate()), "0");
    EXPECT_EQ(Written(), ""); // not even end marks
}

TEST_P(WriteOutTest, NeedsACompletedGroup)
{
    Feed("V1000K V1400 A1000");
    EXPECT_EQ(Outcome(Terminate()), "0");
    EXPECT_EQ(Written(), "");
    EXPECT_EQ(Files(), "none");
}

TEST_P(WriteOutTest, CutsAtTheDuration)
{
    Feed("V5K A5 V300000004 A300000004 V300000005 A300000005 V300000006K A300000006");
    EXPECT_EQ(Outcome(Terminate()), "0");
    EXPECT_EQ(Written(), "V0 A0 V299999999 A299999999 V- A-");
}

TEST_P(WriteOutTest, TheLastInputOfAKindIsUsedAndAMissingOneIsSkipped)
{
    const std::pair<const char*, const char*> rows[] = {{"VADV", "3V0 1A0 1A200 3V400 3V800 3V8000 1A8000 3V- 1A-"},
                                                        {"V", "V0 V400 V800 V8000 V-"},
                                                        {"A", "A0 A200 A8000 A-"},
                                                        {"D", ""}};
    for (const auto& [inputs, written] : rows)
    {
        Restart(inputs);
        Feed(c_packets);
        EXPECT_EQ(Outcome(Terminate()), "0");
        EXPECT_EQ(Written(), written);
    }
}

TEST_P(WriteOutTest, AFailureIsPassedOnAndTheNextAttemptWritesEverything)
{
    const std::pair<const char*, const char*> rows[] = {
        {"GetInput", "Muxer has invalid input stream"},
        {"Input.GetProperty", "Muxer GetProperty() failed"},
        {"AllocBuffer", "WriteBuffer() failed to retrieve video frame 0."},
        {"End V", "WriteBuffer() failed to submit empty video frame."},
        {"End A", "WriteBuffer() failed to submit empty audio frame."}};
    FaultyCall<"AllocBuffer", 0, PYX_RESULT(void*, int, pyx_size, void*)> alloc(m_spContext.Get(), 3);
    const int handles = CountHandles();
    for (const auto& [call, text] : rows)
    {
        m_spComponent->Init(0, 0, 0);
        Feed(c_packets);
        m_faults.Fail(call, 1, 77);
        EXPECT_EQ(Terminate(), 77) << call;
        if (call[0] == 'E')
        {
            EXPECT_EQ(CountHandles(), handles) << "files of groups that are written stay open";
        }
        EXPECT_TRUE(Traces().ends_with(Failure(77, text))) << call;
        Written();
        EXPECT_EQ(Outcome(Terminate()), "0") << call;
        EXPECT_EQ(Written(), c_written) << call;
    }
}

TEST_P(WriteOutTest, ARefusedPacketIsAWarningAndAnEndMarkMayAnswerTheEnd)
{
    Feed(c_packets);
    m_faults.Fail("Submit A", 2, 77);
    EXPECT_EQ(Outcome(Terminate()), "0\nW* RingBufferImpl WriteBuffer() failed to submit audio frame 1.");
    EXPECT_EQ(Written(), c_written);
    m_spComponent->Init(0, 0, 0);
    Feed(c_packets);
    m_faults.Fail("End", -1, PYX_EOF);
    EXPECT_EQ(Outcome(Terminate()), "0");
}

TEST_P(WriteOutTest, AMuxerOfTheWrongShapeIsUnexpected)
{
    Feed(c_packets);
    m_companions.isComponentEx = false;
    EXPECT_EQ(Outcome(Terminate()), "2\nE RingBufferImpl Assertion failed:Muxer is of invalid type\n" + Failure(2, ""));
    Restart("V0");
    Feed(c_packets);
    EXPECT_EQ(Outcome(Terminate()),
              "2\nE RingBufferImpl Assertion failed:Muxer input stream is NULL\n" + Failure(2, ""));
}

TEST_P(WriteOutTest, AComponentThatEndsAfterAFailureLeavesNoFile)
{
    Feed(c_packets);
    m_companions.isComponentEx = false;
    EXPECT_EQ(Terminate(), PYX_UNEXPECTED);
    const std::string files = GetParam() ? "" : "Temp1.RBA Temp1.RBV Temp2.RBA Temp2.RBV";
    FaultyCall<"Release", 0, pyx_uint32(void*)> release(m_spContext.Get(), 1);
    m_faults.Fail("Release", 1, PYX_OK); // of the context: the muxer's, before the groups'
    m_faults.then = [&] { EXPECT_EQ(Files(), files); };
    Destroy();
    EXPECT_EQ(m_faults.failed, "Release");
    EXPECT_EQ(Files(), "");
}

TEST_P(WriteOutTest, TheMuxerAndTheContextMayCallBack)
{
    const std::function<void()> calls[] = {[this] { static_cast<void>(m_spComponent->Init(0, 0, 0)); },
                                           [this] { static_cast<void>(Terminate()); },
                                           [this] { Set(L"TempPath", (m_temp.path / "other").c_str()); },
                                           [this] { Set(L"BufferInRamEnabled", GetParam() ? L"false" : L"true"); },
                                           [this] { Set(L"Duration", L"1"); },
                                           [this] { Feed("V20sK A20s V21s V22sK"); }};
    FaultyCall<"AllocBuffer", 0, PYX_RESULT(void*, int, pyx_size, void*)> alloc(m_spContext.Get(), 3);
    for (const char* place : {"AllocBuffer", "GetInput", "Input.GetProperty", "Submit V", "End A"})
    {
        for (const auto& call : calls)
        {
            Feed(c_packets);
            m_faults.Fail(place, 1, PYX_OK);
            m_faults.then = call;
            static_cast<void>(Terminate()); // may fail: the call may have removed the files
            EXPECT_EQ(m_faults.failed, place);
            Restart("VA");
        }
    }
}

TEST_P(WriteOutTest, AGroupWithoutAudioHasNoFileToOpen)
{
    Feed("V1K V2K");
    EXPECT_EQ(Terminate(), GetParam() ? PYX_OK : PYX_FAIL);
    EXPECT_EQ(Written(), GetParam() ? "V0 V1 V- A-" : "");
    EXPECT_TRUE(Traces().ends_with(GetParam() ? "" : Failure(1, "WriteBuffer() Failed to open temp audio file.")));
}

} // namespace
