#include "support/RingBufferTest.h"

namespace
{

/// Notes the sizes that a host's buffers are asked for with.
class NotingContext final : public PYXRefCounted<PYXContext>
{
public:
    PYX_RESULT QueryInterface(const PYXGuid&, void**) override
    {
        return PYX_NO_INTERFACE;
    }
    PYX_RESULT AllocBuffer(PYX_MEMORY_TYPE type, pyx_size size, PYXBuffer** ppOut) override
    {
        sizes.push_back(size);
        return m_spContext->AllocBuffer(type, size, ppOut);
    }
    std::vector<pyx_size> sizes;

private:
    const PYXInterfacePtr<HostContext> m_spContext = HostContext::Create();
};

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
};

TEST_F(InputTest, ARecordCostsTheHostOneByte)
{
    const PYXInterfacePtr<NotingContext> spContext(new NotingContext);
    PYXComponent* pComponent = nullptr;
    EXPECT_EQ(m_pModule->create(spContext.Get(), nullptr, &pComponent), PYX_OK);
    *m_spComponent.Out() = static_cast<PYXComponentEx*>(pComponent);
    Set(L"BufferInRamEnabled", L"true");
    Set(L"TempPath", m_temp.path.c_str());
    Feed("V1K/100 V2K");
    EXPECT_EQ(Terminate(), PYX_OK);
    EXPECT_EQ(spContext->sizes, (std::vector<pyx_size>{1, 1, 100, 3})); // two records, then what they hold
    Destroy();
}

TEST_F(InputTest, TakesNothingButBuffers)
{
    EXPECT_EQ(Outcome(Input(0)->SubmitInput(Packet{.kind = 'A'}.Build().Get())),
              "11\nE RingBufferImpl PYX_ERROR 11 : code 11: SubmitInput() unable to get video frame type");
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
