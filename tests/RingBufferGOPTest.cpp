#include "RingBufferGOP.h"
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

TEST(RingBufferGOPTest, ARecordCostsTheHostOneByte)
{
    const PYXInterfacePtr<NotingContext> spContext(new NotingContext);
    PYXRingBufferGOP group(spContext.Get(), L"", true);
    EXPECT_EQ(group.AddVideoPacket(Packet::Parse("V1/100").Build().Get()), PYX_OK);
    PYXInterfacePtr<PYXBuffer> spRead;
    EXPECT_EQ(group.GetVideoPacket(0, spRead.Out()), PYX_OK);
    EXPECT_EQ(spContext->sizes, (std::vector<pyx_size>{1, 100}));
}

TEST(RingBufferGOPTest, PutsOneSeparatorAfterTheDirectory)
{
    FaultPlan::Get() = {};
    Companions::Get() = {};
    const PYXInterfacePtr<HostContext> spContext = HostContext::Create();
    for (const auto& [directory, path] :
         {std::pair{L"X:\\none", "X:\\none\\Temp"}, {L"X:\\none\\", "X:\\none\\Temp"}, {L"X:/none/", "X:/none/Temp"}})
    {
        PYXRingBufferGOP group(spContext.Get(), directory, false);
        EXPECT_EQ(group.AddVideoPacket(Packet::Parse("V1").Build().Get()), PYX_FAIL);
        EXPECT_NE(Companions::Get().Take(&Companions::traces).find(path), std::string::npos) << path;
    }
}

} // namespace
