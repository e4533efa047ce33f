#include "common/RefCounted.h"
#include "support/RingBufferTest.h"

#include <objbase.h>

namespace
{

class InterfaceTest : public RingBufferTest
{
protected:
    /// Which of the identifiers an object has an interface for.
    static std::string Answered(PYXInterface* pObject, const std::vector<std::wstring>& ids)
    {
        std::string answered;
        for (const std::wstring& idText : ids)
        {
            PYXGuid id{};
            CLSIDFromString(idText.c_str(), reinterpret_cast<CLSID*>(&id));
            void* p = nullptr;
            const bool isAnswered = pObject->QueryInterface(id, &p) == PYX_OK;
            answered += isAnswered ? '1' : '0';
            isAnswered ? pObject->Release() : 0;
        }
        return answered;
    }
};

TEST_F(InterfaceTest, AnswerTheirIdentifiersOnly)
{
    const std::vector<std::wstring> ids = {
        L"{9d872f34-90dc-4b93-b6b2-6ca37c8525db}", // PYXInterface
        L"{c7cec05b-cfb9-48af-ace3-f68df8395fe3}", // PYXPropertyStorage
        L"{16b8958d-e943-4a33-a35a-885ad828f267}", // PYXPropertyStorageEx
        L"{8b51e5e4-455d-4034-a746-de1bedc3c406}", // PYXComponent
        L"{fda792af-8712-44df-8ea0-dffaad2c8093}", // PYXComponentEx
        L"{1181eee7-95f2-434a-9b96-ea550aa78489}", // PYXInput
        L"{db08fe70-b743-4c26-b277-a5c8e814da04}", // PYXDataStream
        L"{9d872f34-90dc-4b93-b6b2-6ca37c8525dc}", // nothing
    };
    Create();
    EXPECT_EQ(Answered(m_spComponent.Get(), ids), "11111000");
    EXPECT_EQ(Answered(Input(0).Get(), ids), "11100100");
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

/// Calls the input back whose last value it is.
class LastValue final : public PYXRefCounted<PYXInterface>
{
public:
    LastValue(PYXInput* pInput, std::string* pSeen) : m_pInput(pInput), m_pSeen(pSeen)
    {
    }
    ~LastValue() override
    {
        const PYXInterfacePtr<PYXInput> spInput(m_pInput);
        *m_pSeen = Get(m_pInput, L"ExtraData") + ' ' + Outcome(m_pInput->SetProperty(L"BitRate", {}));
    }
    PYX_RESULT QueryInterface(const PYXGuid&, void**) override
    {
        return PYX_NO_INTERFACE;
    }

private:
    PYXInput* const m_pInput;
    std::string* const m_pSeen;
};

TEST_F(InterfaceTest, AValueThatEndsWithItsInputMayCallItBack)
{
    std::string seen;
    Start();
    auto spInput = Input(0);
    spInput->SetProperty(L"ExtraData", PYXVariantBorrowInterface(new LastValue(spInput.Get(), &seen)));
    Destroy();
    Traces();
    EXPECT_EQ(seen, "");
    spInput.Reset();
    EXPECT_EQ(seen, "- 2\nI* RingBufferImpl Video stream - packets written 0\n"
                    "E RingBufferImpl Assertion failed:SetProperty() - Host not Initialized");
}

} // namespace
