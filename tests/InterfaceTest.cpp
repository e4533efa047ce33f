#include "support/RingBufferTest.h"

#include <objbase.h>

namespace
{

class InterfaceTest : public RingBufferTest
{
};

TEST_F(InterfaceTest, AnswerTheirIdentifiersOnly)
{
    const struct
    {
        const wchar_t* id;
        bool ofComponent;
        bool ofInput;
    } rows[] = {
        {L"{9d872f34-90dc-4b93-b6b2-6ca37c8525db}", true, true},   // PYXInterface
        {L"{c7cec05b-cfb9-48af-ace3-f68df8395fe3}", true, true},   // PYXPropertyStorage
        {L"{16b8958d-e943-4a33-a35a-885ad828f267}", true, true},   // PYXPropertyStorageEx
        {L"{8b51e5e4-455d-4034-a746-de1bedc3c406}", true, false},  // PYXComponent
        {L"{fda792af-8712-44df-8ea0-dffaad2c8093}", true, false},  // PYXComponentEx
        {L"{1181eee7-95f2-434a-9b96-ea550aa78489}", false, true},  // PYXInput
        {L"{db08fe70-b743-4c26-b277-a5c8e814da04}", false, false}, // PYXDataStream
        {L"{9d872f34-90dc-4b93-b6b2-6ca37c8525dc}", false, false}, // nothing
    };
    Create();
    for (const auto& row : rows)
    {
        PYXGuid id{};
        CLSIDFromString(row.id, reinterpret_cast<CLSID*>(&id));
        PYXInterfacePtr<PYXInterface> spFound;
        const auto has = [&](auto pObject) {
            return pObject->QueryInterface(id, reinterpret_cast<void**>(spFound.Out())) == PYX_OK;
        };
        EXPECT_EQ(has(m_spComponent.Get()), row.ofComponent) << Narrow(row.id);
        EXPECT_EQ(has(Input(0)), row.ofInput) << Narrow(row.id);
    }
}

TEST_F(InterfaceTest, TheFileExportsItsEntryAndImportsFromTheSystemOnly)
{
    const HMODULE module = m_pModule->handle;
    for (const auto& [name, ppPlace] : Imports(module))
    {
        const std::string library = name.substr(0, name.find(' '));
        EXPECT_TRUE(library == "msvcrt.dll" || library == "kernel32.dll" || library == "ole32.dll") << name;
    }
    auto* const pBase = reinterpret_cast<char*>(module);
    const auto* pNt = reinterpret_cast<IMAGE_NT_HEADERS*>(pBase + reinterpret_cast<IMAGE_DOS_HEADER*>(pBase)->e_lfanew);
    const auto* pExports =
        reinterpret_cast<IMAGE_EXPORT_DIRECTORY*>(pBase + pNt->OptionalHeader.DataDirectory[0].VirtualAddress);
    EXPECT_EQ(pExports->NumberOfNames, 1u);
    EXPECT_EQ(pExports->NumberOfFunctions, 1u);
    EXPECT_TRUE(m_pModule->create);
    EXPECT_EQ(pNt->OptionalHeader.DllCharacteristics, 0x160) << "any address, 64 bits of it, no code in data";
    EXPECT_TRUE(FindResourceW(module, MAKEINTRESOURCEW(VS_VERSION_INFO), MAKEINTRESOURCEW(16))); // RT_VERSION
}

/// What names a thread for debuggers is swallowed by thread libraries.
TEST_F(InterfaceTest, LeavesExceptionsToItsHost)
{
    static int s_met = 0;
    m_pModule.reset();
    void* const pHandler = AddVectoredExceptionHandler(1, [](EXCEPTION_POINTERS* p) -> LONG {
        s_met += p->ExceptionRecord->ExceptionCode == 0x406D1388 ? 1 : 0;
        return EXCEPTION_CONTINUE_EXECUTION;
    });
    m_pModule = std::make_unique<LoadedModule>(); // a handler of its own would come before this one
    RaiseException(0x406D1388, 0, 0, nullptr);
    RemoveVectoredExceptionHandler(pHandler);
    EXPECT_EQ(s_met, 1);
}

TEST_F(InterfaceTest, AValueThatEndsWithItsInputMayCallItBack)
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
