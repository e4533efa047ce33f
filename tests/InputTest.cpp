#include "support/RingBufferTest.h"

namespace
{

class InputTest : public RingBufferTest
{
protected:
    InputTest()
    {
        Start(true);
    }

    PYX_RESULT SetInput(const wchar_t* name, pyx_int64 value)
    {
        return Input(0)->SetProperty(name, PYXVariantFromInt64(value));
    }

    /// A video packet with these frame types.
    PYX_RESULT Submit(pyx_int64 pts, const std::vector<std::pair<const wchar_t*, pyx_int64>>& types)
    {
        const auto spBuffer = Packet{.kind = 'A', .pts = pts}.Build(); // no frame type of its own
        for (const auto& [name, value] : types)
        {
            spBuffer->SetProperty(name, PYXVariantFromInt64(value));
        }
        return Input(0)->SubmitInput(spBuffer.Get());
    }
};

TEST_F(InputTest, TheFirstReadableFrameTypeTellsStartPackets)
{
    const wchar_t* const avc = L"OutputDataType";
    const wchar_t* const hevc = L"HevcOutputDataType";
    const wchar_t* const av1 = L"Av1OutputFrameType";
    const struct
    {
        std::vector<std::pair<const wchar_t*, pyx_int64>> types;
        bool isStart;
    } rows[] = {{{{avc, 0}}, true},
                {{{avc, 1}}, true},
                {{{avc, 2}}, false},
                {{{avc, -1}}, false},
                {{{hevc, 1}}, true},
                {{{hevc, 2}}, false},
                {{{av1, 0}}, true},
                {{{av1, 1}}, false},
                {{{avc, 2}, {hevc, 0}}, false},
                {{{hevc, 0}, {avc, 3}, {av1, 0}}, false},
                {{{av1, 0}, {hevc, 1}}, true}};
    for (const auto& row : rows)
    {
        EXPECT_EQ(m_spComponent->Init(0, 0, 0), PYX_OK); // a regular packet is dropped now
        EXPECT_EQ(Submit(5, row.types), PYX_OK);
        Feed("V9K");
        EXPECT_EQ(Terminate(), PYX_OK);
        EXPECT_EQ(Written(), row.isStart ? "V0(A5) V4 V- A-" : "") << "row " << &row - rows;
    }
    EXPECT_EQ(Outcome(Submit(1, {})),
              "11\nE RingBufferImpl PYX_ERROR 11 : code 11: SubmitInput() unable to get video frame type");
}

TEST_F(InputTest, TakesNothingButBuffers)
{
    const auto spData = Packet{}.Build();
    FaultyCall<"QueryInterface", 0, PYX_RESULT(void*, const PYXGuid&, void**)> query(spData.Get(), 2);
    m_faults.Fail("QueryInterface", 1, PYX_NO_INTERFACE);
    EXPECT_EQ(Outcome(Input(0)->SubmitInput(spData.Get())),
              "2\nE RingBufferImpl Assertion failed:SubmitInput() - invalid pointer type");
}

TEST_F(InputTest, AFailedPacketIsTracedAtEachLevelAndTheNextIsTaken)
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
    EXPECT_EQ(Terminate(), PYX_OK);
    EXPECT_EQ(Written(), "V0 A0 V1 A1 V- A-");
}

TEST_F(InputTest, MirrorsToTheFirstMuxerInputOfItsKindBeforeItStores)
{
    EXPECT_EQ(Outcome(SetInput(L"BitRate", 7)), "0");
    EXPECT_EQ(Outcome(Input(1)->SetProperty(L"CodecID", PYXVariantFromInt64(86076))), "0");
    EXPECT_EQ(Calls(), "V.BitRate=7\nA.CodecID=86076");
    const std::pair<const char*, const char*> failures[] = {{"GetInput", "Muxer has invalid input stream"},
                                                            {"Input.GetProperty", "Muxer input GetProperty() failed"},
                                                            {"Input.SetProperty", "Unable to set property for muxer"}};
    for (const auto& [call, text] : failures)
    {
        m_faults.Fail(call, 1, 77);
        EXPECT_EQ(Outcome(SetInput(L"BitRate", 8)),
                  "77\nE RingBufferImpl PYX_ERROR 77 : code 77: " + std::string(text));
    }
    m_companions.isComponentEx = false;
    EXPECT_EQ(Outcome(SetInput(L"BitRate", 8)), "8\nE RingBufferImpl Assertion failed:Muxer is of invalid type");
    EXPECT_EQ(::Get(Input(0).Get(), L"BitRate"), "7");
}

TEST_F(InputTest, TheMuxersInputsDecideWhatIsMirrored)
{
    const std::pair<const char*, const char*> rows[] = {
        {"AVV", "0 calls V.BitRate=7 stored 7"},
        {"A", "0 calls  stored 7"},
        {"0V", "0\nE RingBufferImpl Assertion failed:Muxer input stream is NULL calls  stored 100000"}};
    for (const auto& [inputs, expected] : rows)
    {
        m_companions.inputs = inputs;
        Create();
        m_companions = {};
        const std::string outcome = Outcome(SetInput(L"BitRate", 7));
        EXPECT_EQ(outcome + " calls " + Calls() + " stored " + ::Get(Input(0).Get(), L"BitRate"), expected);
    }
}

} // namespace
