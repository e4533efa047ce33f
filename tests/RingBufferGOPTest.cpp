#include "RingBufferGOP.h"
#include "support/RingBufferTest.h"

namespace
{

class RingBufferGOPTest : public testing::TestWithParam<bool>
{
protected:
    RingBufferGOPTest()
    {
        FaultPlan::Get() = {};
        Companions::Get() = {};
        std::filesystem::create_directory(m_temp.path);
        Reset(m_temp.path.wstring());
    }

    void Reset(const std::wstring& directory)
    {
        m_pGOP = std::make_unique<PYXRingBufferGOP>(m_spContext.Get(), directory, GetParam());
    }

    PYX_RESULT Add(const std::string& token)
    {
        const auto spBuffer = Packet::Parse(token).Build();
        return token[0] == 'V' ? m_pGOP->AddVideoPacket(spBuffer.Get()) : m_pGOP->AddAudioPacket(spBuffer.Get());
    }

    /// The packet at an index as it was stored, or "error 4".
    std::string Read(char kind, int index)
    {
        PYXInterfacePtr<PYXBuffer> spBuffer;
        const PYX_RESULT result =
            kind == 'V' ? m_pGOP->GetVideoPacket(index, spBuffer.Out()) : m_pGOP->GetAudioPacket(index, spBuffer.Out());
        pyx_int64 base = 0;
        return result == PYX_OK ? Packet::Describe(kind, spBuffer.Get(), &base) : "error " + std::to_string(result);
    }

    static std::string Traces()
    {
        return Companions::Get().Take(&Companions::traces);
    }

    TestDirectory m_temp;
    const PYXInterfacePtr<HostContext> m_spContext = HostContext::Create();
    std::unique_ptr<PYXRingBufferGOP> m_pGOP;
};

INSTANTIATE_STORAGE_SUITE(RingBufferGOPTest);

TEST_P(RingBufferGOPTest, GivesBackWhatItWasGivenAsOftenAsAsked)
{
    EXPECT_EQ(Add("V100+40"), PYX_OK);
    EXPECT_EQ(m_pGOP->GetDuration(), 40);
    EXPECT_EQ(Add("V90/0"), PYX_OK);
    EXPECT_EQ(Add("V180+7/100000"), PYX_OK);
    EXPECT_EQ(Add("A100"), PYX_OK); // exactly at the start
    EXPECT_EQ(Add("A99"), PYX_OUT_OF_RANGE);
    EXPECT_EQ(m_pGOP->GetPts(), 100);
    EXPECT_EQ(m_pGOP->GetDuration(), 87);
    EXPECT_EQ(Read('V', 0), "V100+40");
    EXPECT_EQ(Read('V', 1), GetParam() ? "V90" : "error 23"); // a file that has nothing to give is at its end
    EXPECT_EQ(Read('V', 2), "V180+7");
    EXPECT_EQ(Read('V', 0), "V100+40");
    EXPECT_EQ(Read('A', 0), "A100");
    EXPECT_EQ(m_pGOP->GetVideoPacketCount(), 3u);
    EXPECT_EQ(m_pGOP->GetAudioPacketCount(), 1u);
}

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

TEST_P(RingBufferGOPTest, ARecordCostsTheHostOneByte)
{
    const PYXInterfacePtr<NotingContext> spContext(new NotingContext);
    m_pGOP = std::make_unique<PYXRingBufferGOP>(spContext.Get(), m_temp.path.wstring(), GetParam());
    Add("V1/100");
    Read('V', 0);
    EXPECT_EQ(spContext->sizes, (std::vector<pyx_size>{1, 100}));
}

TEST_P(RingBufferGOPTest, IsEmptyAtFirst)
{
    EXPECT_EQ(m_temp.Files(), "");
    EXPECT_EQ(Add("A100"), PYX_NOT_FOUND);
    EXPECT_EQ(Traces(), "");
    EXPECT_EQ(m_pGOP->GetPts(), -1);
    EXPECT_EQ(m_pGOP->GetDuration(), -1);
    EXPECT_EQ(Read('V', 0), "error 4");
    EXPECT_EQ(m_pGOP->GetAudioPacket(-1, nullptr), 4);
    EXPECT_EQ(m_pGOP->AddVideoPacket(nullptr), 4);
    EXPECT_EQ(Add("V1"), PYX_OK);
    EXPECT_EQ(m_pGOP->GetVideoPacket(0, nullptr), 4);
    EXPECT_EQ(Traces(), "E RingBufferGOP Assertion failed:GetPts() - Call made when no packets in yet.\n"
                        "E RingBufferGOP Assertion failed:GetPts() - Call made when no packets in yet.\n"
                        "E RingBufferGOP Assertion failed:GetVideoPacket() - Invalid index requested.\n"
                        "E RingBufferGOP Assertion failed:GetAudioPacket() - Invalid index requested\n"
                        "E RingBufferGOP Assertion failed:AddVideoPacket() - Invalid buffer passed in\n"
                        "E RingBufferGOP Assertion failed:GetVideoPacket() - Invalid pointer passed in.");
    PYXRingBufferGOP orphan(nullptr, L"", true);
    EXPECT_EQ(orphan.AddVideoPacket(nullptr), PYX_NOT_INITIALIZED);
    EXPECT_EQ(orphan.GetAudioPacket(-1, nullptr), PYX_NOT_INITIALIZED);
}

TEST_P(RingBufferGOPTest, KeepsItsFilesAsLongAsItself)
{
    Add("V1");
    const std::string video = m_temp.Files();
    EXPECT_EQ(video.empty(), GetParam());
    Add("A1");
    EXPECT_EQ(m_pGOP->CloseVideoFile(), PYX_OK);
    EXPECT_EQ(m_pGOP->CloseAudioFile(), PYX_OK);
    EXPECT_EQ(Add("A2"), GetParam() ? PYX_OK : PYX_FILE_NOT_OPEN);
    EXPECT_EQ(m_pGOP->OpenVideoFile(0), PYX_OK);
    EXPECT_EQ(m_pGOP->OpenVideoFile(2), PYX_OK); // it is open already: nothing is truncated
    EXPECT_EQ(Read('V', 0), "V1");
    if (!GetParam())
    {
        EXPECT_EQ(m_temp.Files(), video.substr(0, video.size() - 1) + "A " + video);
        EXPECT_EQ(Traces(),
                  "E DataStreamFileImpl Assertion failed:Write() - File not Open\n"
                  "E RingBufferGOP PYX_ERROR 16 : code 16: WritePacket() - Failed to write packet information "
                  "to file.\nE RingBufferGOP PYX_ERROR 16 : code 16: AddAudioPacket() - Failed to write the "
                  "buffer information to temporary file.");
    }
    m_pGOP.reset();
    EXPECT_EQ(m_temp.Files(), "");
}

TEST_P(RingBufferGOPTest, NeedsADirectoryForFilesOnly)
{
    Reset(L"");
    EXPECT_EQ(Add("V1"), GetParam() ? PYX_OK : PYX_NOT_INITIALIZED);
    EXPECT_EQ(Traces(), GetParam()
                            ? ""
                            : "E RingBufferGOP Assertion failed:OpenVideoFile() - Video file name doesn't exist.\n"
                              "E RingBufferGOP PYX_ERROR 13 : code 13: AddVideoPacket() - Failed to open the temporary "
                              "file .");
    Reset(m_temp.path.wstring() + L"/");
    Add("V1");
    EXPECT_EQ(m_temp.Files().empty(), GetParam());
    Reset(m_temp.path.wstring() + L"\\none");
    EXPECT_EQ(Add("V1"), GetParam() ? PYX_OK : PYX_FAIL);
}

TEST_P(RingBufferGOPTest, AFailedAddLeavesTheRecords)
{
    const auto spPacket = Packet{.pts = 3}.Build();
    FaultyCall<"AllocBuffer", 0, PYX_RESULT(void*, int, pyx_size, void*)> alloc(m_spContext.Get(), 3);
    FaultyCall<"CopyTo", 0, PYX_RESULT(void*, void*, bool)> copy(spPacket.Get(), 10);
    Add("V1");
    Add("A1");
    for (const char* call : {"AllocBuffer", "CopyTo"})
    {
        FaultPlan::Get().Fail(call, 1, 77);
        EXPECT_EQ(Add("V3"), 77);
        FaultPlan::Get().Fail(call, 1, 78);
        EXPECT_EQ(Read('V', 0), "error 78");
    }
    EXPECT_EQ(m_pGOP->GetVideoPacketCount(), 1u);
    EXPECT_EQ(Read('V', 0), "V1");
    for (const auto read : {&PYXRingBufferGOP::GetVideoPacket, &PYXRingBufferGOP::GetAudioPacket})
    {
        PYXBuffer* pBuffer = spPacket.Get();
        FaultPlan::Get().Fail("AllocBuffer", 1, 79);
        EXPECT_EQ((m_pGOP.get()->*read)(0, &pBuffer), 79);
        EXPECT_EQ(pBuffer, nullptr);
    }
    EXPECT_TRUE(Traces().starts_with("E RingBufferGOP PYX_ERROR 77 : code 77: WritePacket() - Buffer allocation "
                                     "failed.\nE RingBufferGOP PYX_ERROR 77 : code 77: AddVideoPacket() - Failed to "
                                     "write the buffer information to temporary file.\nE RingBufferGOP PYX_ERROR 78 "
                                     ": code 78: ReadPacket() - Buffer allocation failed.\nE RingBufferGOP PYX_ERROR "
                                     "77 : code 77: WritePacket() - Failed to duplicate all properties.\n"));
}

} // namespace
