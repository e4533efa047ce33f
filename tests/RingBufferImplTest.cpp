#include "support/RingBufferTest.h"

namespace
{

class RingBufferImplTest : public RingBufferTest
{
};

TEST_F(RingBufferImplTest, MakesItsDirectoryNewAndTakesItAway)
{
    Create();
    m_temp.Put("deep/deeper/file");
    Run("TempPath=T");
    EXPECT_EQ(Files(), "");
    m_temp.Put("file");
    Feed("Init");
    EXPECT_EQ(Files(), "");
    Feed("Terminate");
    EXPECT_EQ(Files(), "none");
    Feed("TempPath=T\\.\\a\\b V1K V2K"); // the parents are missing
    EXPECT_EQ(Files(), "a a/b a/b/Temp1.RBV a/b/Temp2.RBV");
}

/// What names a thread for debuggers is swallowed by thread libraries.
TEST_F(RingBufferImplTest, LeavesExceptionsToItsHost)
{
    static int s_met = 0;
    m_module.reset();
    void* const pHandler = AddVectoredExceptionHandler(1, [](EXCEPTION_POINTERS* p) -> LONG {
        s_met += p->ExceptionRecord->ExceptionCode == 0x406D1388 ? 1 : 0;
        return EXCEPTION_CONTINUE_EXECUTION;
    });
    m_module = LoadRingBuffer(); // a handler of its own would come before this one
    RaiseException(0x406D1388, 0, 0, nullptr);
    RemoveVectoredExceptionHandler(pHandler);
    EXPECT_EQ(s_met, 1);
}

TEST_F(RingBufferImplTest, AValueThatEndsWithItsInputMayCallItBack)
{
    std::string seen;
    Start();
    auto spInput = Input(0);
    const auto callBack = [&seen, pInput = spInput.Get()] {
        const PYXInterfacePtr<PYXInput> spSelf(pInput);
        seen = ::Get(pInput, L"ExtraData") + ' ' + Outcome(pInput->SetProperty(L"BitRate", {}));
    };
    spInput->SetProperty(L"ExtraData", PYXVariantBorrowInterface(new AtEnd(callBack)));
    Destroy();
    Traces();
    EXPECT_EQ(seen, "");
    spInput.Reset();
    EXPECT_EQ(seen, "- 2\nI* RingBufferImpl Video stream - packets written 0\n"
                    "E RingBufferImpl Assertion failed:SetProperty() - Host not Initialized");
}

} // namespace
