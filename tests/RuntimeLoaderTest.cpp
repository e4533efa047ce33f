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

TEST_F(RuntimeLoaderTest, EachComponentHasItsMuxerAndAllShareTheRuntime)
{
    m_faults.Fail("LoadLibraryExW", 0, 0);
    Create();
    const auto spFirst = m_spComponent;
    Create();
    EXPECT_EQ(Calls(), "PYXInit 1000400240000\nCreate MuxerFFMPEG\nCreate MuxerFFMPEG");
    EXPECT_EQ(m_faults.calls, 2);
}

TEST_F(RuntimeLoaderTest, ComponentsComeAndGoWithoutARuntimeOfTheHost)
{
    for (int i = 0; i < 2; ++i)
    {
        Start();
        Feed("V1K V2");
        EXPECT_EQ(Outcome(m_spComponent->GetInput(2, nullptr)), "4\nE RingBufferImpl Assertion failed:Invalid index");
        Destroy();
        EXPECT_EQ(Traces(), "I* RingBufferImpl Video stream - packets written 2\n"
                            "I* RingBufferImpl Audio stream - packets written 0");
        Create();
        EXPECT_EQ(Calls(), "PYXInit 1000400240000\nCreate MuxerFFMPEG"); // the library was given back
    }
    Destroy();
    EXPECT_EQ(GetModuleHandleW(L"pyxrt64.dll"), nullptr);
}

TEST_F(RuntimeLoaderTest, TheLastObjectThatTracesHoldsTheRuntime)
{
    Start();
    auto spInput = Input(0);
    Destroy();
    EXPECT_NE(GetModuleHandleW(L"pyxrt64.dll"), nullptr);
    Traces();
    EXPECT_EQ(Outcome(spInput->SubmitInput(nullptr)),
              "2\nE RingBufferImpl Assertion failed:SubmitInput() - Host not Initialized");
    EXPECT_EQ(Outcome(spInput->SetProperty(L"BitRate", {})),
              "2\nE RingBufferImpl Assertion failed:SetProperty() - Host not Initialized");
    spInput.Reset();
    EXPECT_EQ(Traces(), "I* RingBufferImpl Video stream - packets written 0");
    EXPECT_EQ(GetModuleHandleW(L"pyxrt64.dll"), nullptr);
    EXPECT_EQ(Calls(), ""); // nobody asked for the library anew
}

TEST_F(RuntimeLoaderTest, AHostKeepsTheRuntimeAndItsTraceObject)
{
    PYXModuleOwner runtime(LoadLibraryW(L"pyxrt64.dll"));
    Start();
    Destroy();
    EXPECT_EQ(GetModuleHandleW(L"pyxrt64.dll"), runtime.get());
    m_faults.Fail("PYXInit", 1, 9); // the trace object of before still serves
    Start();
    Traces();
    EXPECT_EQ(Outcome(m_spComponent->GetInput(9, nullptr)), "4\nE RingBufferImpl Assertion failed:Invalid index");
    Destroy();
    Traces();
    runtime.reset();
    EXPECT_EQ(GetModuleHandleW(L"pyxrt64.dll"), nullptr);
    m_faults.Fail("PYXInit", 1, 9); // no trace object, and the old one has gone
    Start();
    EXPECT_EQ(Outcome(m_spComponent->GetInput(9, nullptr)), "4");
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
