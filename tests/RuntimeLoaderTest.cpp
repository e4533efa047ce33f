#include "support/RingBufferTest.h"

namespace
{

const std::string c_invalid = "4\nE RingBufferImpl Assertion failed:Invalid index";

/// The module's way to its companions, seen from outside.
class RuntimeLoaderTest : public RingBufferTest
{
protected:
    FaultyCall<"LoadLibraryExW", 0, HMODULE(const wchar_t*, HANDLE, DWORD)> m_load{m_module.get()};
    FaultyCall<"GetProcAddress", 0, void*(HMODULE, const char*)> m_getEntry{m_module.get()};
};

TEST_F(RuntimeLoaderTest, AllObjectsShareTheRuntimeAndTheLastOneFreesIt)
{
    m_faults.Fail("LoadLibraryExW", 0, 0);
    Create();
    EXPECT_EQ(Outcome(m_spComponent->GetInput(1, nullptr)), c_invalid);
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
}

TEST_F(RuntimeLoaderTest, UnloadingTheModuleGivesOneReferenceBack)
{
    for (const bool isOnly : {true, false})
    {
        Create();
        const auto spOther = isOnly ? PYXInterfacePtr<PYXComponentEx>() : m_spComponent;
        Create();
        m_module.reset();
        const PYXModuleOwner left(GetModuleHandleW(L"pyxrt64.dll"));
        EXPECT_EQ(left == nullptr, isOnly);
        m_module = LoadRingBuffer(); // at the same place: its objects can end
        Destroy();
    }
}

TEST_F(RuntimeLoaderTest, TheFirstTraceObjectServesWhileAHostKeepsTheRuntime)
{
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
        EXPECT_EQ(Outcome(Run("Get9")), c_invalid);
        EXPECT_EQ(Outcome(Run("Get9")), c_invalid);
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
        EXPECT_EQ(Outcome(Run("Get9")), "4");
        m_faults = {};
        Destroy();
        Create();
        Destroy();
        runtime.reset(); // by the host this time
    }
}

TEST_F(RuntimeLoaderTest, AComponentWithoutTheRuntimeTracesNothingAndOneWithoutMuxerCanBeRead)
{
    constexpr auto code = static_cast<PYX_RESULT>(9);
    const std::string noMuxer = "\nE RingBufferImpl Assertion failed:Init() - Internal component not initialized";
    const std::tuple<const char*, int, PYX_RESULT, std::string> rows[] = {
        {"LoadLibraryExW", -1, code, "4 13"}, // neither library is there
        {"LoadLibraryExW", 2, code, c_invalid + " 13" + noMuxer},
        {"GetProcAddress", 3, code, c_invalid + " 13" + noMuxer},
        {"GetProcAddress", 1, code, "4 0"},
        {"GetProcAddress", 2, code, "4 0"},
        {"PYXInit", 1, code, "4 0"},
        {"PYXInit", 1, c_noFactory, "4 0"},
        {"PYXQueryVersion", 1, code, "4 0"}};
    for (const auto& [call, nth, result, expected] : rows)
    {
        Destroy();
        Traces();
        m_faults.Fail(call, nth, result);
        Create();
        EXPECT_EQ(m_faults.failed, call);
        const std::string invalidIndex = Outcome(Run("Get9"));
        EXPECT_EQ(invalidIndex + ' ' + Outcome(Run("Init")), expected);
        EXPECT_EQ(Get(m_spComponent.Get(), L"Duration"), "30");
    }
    m_faults = {};
    m_spContext.Reset(); // no context, no muxer and no packets
    Create();
    EXPECT_EQ(Run("Init"), PYX_NOT_INITIALIZED);
    Traces();
    Run("V1K");
    EXPECT_TRUE(Traces().starts_with("E RingBufferGOP Assertion failed:AddVideoPacket() - Context not initialized\n"));
}

} // namespace
