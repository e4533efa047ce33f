#include "common/Handles.h"
#include "support/RingBufferTest.h"

namespace
{

/// The module's way to its companions, seen from outside.
class RuntimeLoaderTest : public RingBufferTest
{
protected:
    FaultyCall<"LoadLibraryExW", 0, HMODULE(const wchar_t*, HANDLE, DWORD)> m_load{m_pModule->handle};
    FaultyCall<"GetProcAddress", 0, void*(HMODULE, const char*)> m_getEntry{m_pModule->handle};
};

TEST_F(RuntimeLoaderTest, AllObjectsShareTheRuntimeAndTheLastOneFreesIt)
{
    m_faults.Fail("LoadLibraryExW", 0, 0);
    Create();
    auto spOther = m_spComponent;
    Create();
    EXPECT_EQ(Calls(), "PYXInit 1000400240000\nCreate MuxerFFMPEG\nCreate MuxerFFMPEG");
    EXPECT_EQ(m_faults.calls, 2);
    auto spInput = Input(0);
    spOther.Reset();
    Destroy();
    EXPECT_NE(GetModuleHandleW(L"pyxrt64.dll"), nullptr);
    Traces();
    EXPECT_EQ(Outcome(spInput->SubmitInput(nullptr)),
              "2\nE RingBufferImpl Assertion failed:SubmitInput() - Host not Initialized");
    spInput.Reset();
    EXPECT_EQ(Traces(), "I* RingBufferImpl Video stream - packets written 0");
    EXPECT_EQ(GetModuleHandleW(L"pyxrt64.dll"), nullptr);
    EXPECT_EQ(Calls(), ""); // no record loads the library again
    Create();
    EXPECT_EQ(Outcome(m_spComponent->GetInput(2, nullptr)), "4\nE RingBufferImpl Assertion failed:Invalid index");
    EXPECT_EQ(Calls(), "PYXInit 1000400240000\nCreate MuxerFFMPEG");
}

TEST_F(RuntimeLoaderTest, UnloadingTheModuleGivesOneReferenceBack)
{
    for (const bool isOnly : {true, false})
    {
        Create();
        const auto spOther = isOnly ? PYXInterfacePtr<PYXComponentEx>() : m_spComponent;
        Create();
        m_pModule.reset();
        const PYXModuleOwner left(GetModuleHandleW(L"pyxrt64.dll"));
        EXPECT_EQ(left == nullptr, isOnly);
        m_pModule = std::make_unique<LoadedModule>(); // at the same place: its objects can end
        Destroy();
    }
}

TEST_F(RuntimeLoaderTest, TheFirstTraceObjectServesWhileAHostKeepsTheRuntime)
{
    const std::string invalid = "4\nE RingBufferImpl Assertion failed:Invalid index";
    PYXModuleOwner runtime(LoadLibraryW(L"pyxrt64.dll"));
    Create();
    for (const int code : {9, static_cast<int>(c_noTrace)}) // nothing is held then, nothing else is given out
    {
        Destroy();
        EXPECT_EQ(GetModuleHandleW(L"pyxrt64.dll"), runtime.get());
        Calls();
        Traces();
        m_faults.Fail("PYXInit", 1, code);
        Create();
        EXPECT_EQ(Outcome(m_spComponent->GetInput(9, nullptr)), invalid);
        EXPECT_EQ(Outcome(m_spComponent->GetInput(9, nullptr)), invalid);
        EXPECT_EQ(Calls(), "PYXInit 1000400240000\nCreate MuxerFFMPEG"); // once, not for each record
    }
    Destroy();
    runtime.reset();
    EXPECT_EQ(GetModuleHandleW(L"pyxrt64.dll"), nullptr);
    Create();
    Destroy(); // frees the library, which comes back to the same place
    runtime.reset(LoadLibraryW(L"pyxrt64.dll"));
    for (int i = 0; i < 2; ++i)
    {
        Traces();
        m_faults.Fail("PYXInit", 1, c_noTrace); // the old trace object has gone
        Create();
        EXPECT_EQ(Outcome(m_spComponent->GetInput(9, nullptr)), "4");
        m_faults = {};
        Destroy();
        Create();
        Destroy();
        runtime.reset(); // by the host this time
    }
}

TEST_F(RuntimeLoaderTest, AComponentWithoutTheRuntimeWorksWithoutTraces)
{
    constexpr auto code = static_cast<PYX_RESULT>(9);
    const std::tuple<const char*, int, PYX_RESULT> rows[] = {{"GetProcAddress", 1, code},
                                                             {"GetProcAddress", 2, code},
                                                             {"PYXInit", 1, code},
                                                             {"PYXInit", 1, c_noFactory},
                                                             {"PYXQueryVersion", 1, code}};
    for (const auto& [call, nth, result] : rows)
    {
        m_faults.Fail(call, nth, result);
        Start();
        EXPECT_EQ(m_faults.failed, call);
        EXPECT_EQ(Outcome(m_spComponent->GetInput(9, nullptr)), "4");
        Feed("V1K A1 V2K A2");
        EXPECT_EQ(Terminate(), PYX_OK);
        EXPECT_EQ(Written(), "V0 A0 V1 A1 V- A-");
        Destroy();
    }
}

TEST_F(RuntimeLoaderTest, AComponentWithoutMuxerCanBeRead)
{
    m_faults.Fail("LoadLibraryExW", -1, 1); // neither library is there
    Create();
    EXPECT_EQ(Outcome(m_spComponent->Init(0, 0, 0)), "13");
    EXPECT_EQ(Get(L"Duration"), "30");

    const std::pair<const char*, int> rows[] = {{"LoadLibraryExW", 2}, {"GetProcAddress", 3}, {"Create", 1}};
    for (const auto& [call, nth] : rows) // the muxer's library, its entry, the muxer
    {
        Destroy();
        Traces();
        m_faults.Fail(call, nth, 9);
        Create();
        EXPECT_EQ(Outcome(m_spComponent->Init(0, 0, 0)),
                  "13\nE RingBufferImpl Assertion failed:Init() - Internal component not initialized")
            << call;
    }
    EXPECT_EQ(Outcome(Input(0)->SetProperty(L"BitRate", PYXVariantFromInt64(5))),
              "13\nE RingBufferImpl Assertion failed:SetProperty() - Internal component not initialized");
    m_faults = {};
    m_spContext.Reset(); // no context, no muxer
    Create();
    EXPECT_EQ(m_spComponent->Init(0, 0, 0), PYX_NOT_INITIALIZED);
}

} // namespace
