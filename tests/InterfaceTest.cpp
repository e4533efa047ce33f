#include "common/DataStream.h"
#include "support/RingBufferTest.h"

#include <objbase.h>

#include <cstddef>
#include <cstring>
#include <set>

namespace
{

static_assert(sizeof(PYXGuid) == 16 && offsetof(PYXGuid, data4) == 8);
static_assert(sizeof(PYXVariant) == 24 && offsetof(PYXVariant, type) == 0 && offsetof(PYXVariant, int64Value) == 8);
static_assert(sizeof(PYXRect) == 16 && sizeof(PYXSize) == 8 && sizeof(PYXRate) == 8 && sizeof(PYXColor) == 4);
static_assert(sizeof(PYXEnumDescriptionEntry) == 16 && offsetof(PYXEnumDescriptionEntry, name) == 8);

TEST(InterfaceTest, ADescriptionLiesAsPublished)
{
    struct Info final : PYXPropertyInfo
    {
    } info;
    std::string places;
    for (const void* p : {static_cast<const void*>(&info.name), static_cast<const void*>(&info.desc),
                          static_cast<const void*>(&info.type), static_cast<const void*>(&info.contentType),
                          static_cast<const void*>(&info.defaultValue), static_cast<const void*>(&info.minValue),
                          static_cast<const void*>(&info.maxValue), static_cast<const void*>(&info.accessType),
                          static_cast<const void*>(&info.pEnumDescription)})
    {
        places += std::to_string(static_cast<const char*>(p) - reinterpret_cast<char*>(&info)) + ' ';
    }
    EXPECT_EQ(places, "8 16 24 28 32 56 80 104 112 ");
}

/// The slots of operations, as this compiler keeps them in a member pointer.
template <class... Operations> std::string Slots(Operations... operations)
{
    std::string slots;
    const auto add = [&slots](auto operation) {
        size_t offset = 0;
        memcpy(&offset, &operation, sizeof(offset));
        slots += std::to_string(offset / sizeof(void*)) + ' ';
    };
    (add(operations), ...);
    return slots;
}

TEST(InterfaceTest, EveryOperationHasItsSlot)
{
    using S = PYXPropertyStorage;
    using E = PYXPropertyStorageEx;
    using C = PYXComponent;
    using D = PYXDataStream;
    using ByName = PYX_RESULT (E::*)(const wchar_t*, const PYXPropertyInfo**);
    using ByIndex = PYX_RESULT (E::*)(pyx_size, const PYXPropertyInfo**);
    EXPECT_EQ(Slots(&S::Acquire, &S::Release, &S::QueryInterface, &S::SetProperty, &S::GetProperty, &S::HasProperty,
                    &S::GetPropertyCount, &S::GetPropertyAt, &S::Clear, &S::AddTo, &S::CopyTo, &S::AddObserver,
                    &S::RemoveObserver, &E::GetPropertiesInfoCount, ByName(&E::GetPropertyInfo),
                    ByIndex(&E::GetPropertyInfo), &E::ValidateProperty, &PYXInput::SubmitInput),
              "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 ");
    EXPECT_EQ(Slots(&C::Init, &C::ReInit, &C::Terminate, &C::GetContext, &C::HostOperation27,
                    &PYXComponentEx::GetInputCount, &PYXComponentEx::HostOperation29, &PYXComponentEx::GetInput,
                    &PYXComponentEx::HostOperation31),
              "17 18 19 24 27 28 29 30 31 ");
    EXPECT_EQ(Slots(&PYXBuffer::SetPts, &PYXBuffer::GetPts, &PYXBuffer::SetDuration, &PYXBuffer::GetDuration,
                    &PYXBuffer::GetSize, &PYXBuffer::GetNative, &PYXContext::AllocBuffer),
              "13 14 15 16 17 18 3 ");
    EXPECT_EQ(Slots(&D::Open, &D::Close, &D::Read, &D::Write, &D::Seek, &D::GetPosition, &D::GetSize, &D::IsSeekable,
                    &D::GetReferenceCount),
              "3 4 5 6 7 8 9 10 11 ");
    EXPECT_EQ(Slots(&PYXTrace::TraceW, &PYXTrace::GetResultText, &PYXFactory::GetDebug, &PYXFactory::GetTrace,
                    &PYXPropertyStorageObserver::OnPropertyChanged),
              "0 1 0 1 0 ");
}

class InterfacesOfTheModuleTest : public RingBufferTest
{
protected:
    /// Which of the identifiers an object answers with itself, each with one more reference.
    static std::string Answered(PYXInterface* pObject, const std::vector<std::wstring>& ids)
    {
        std::string answered;
        for (const std::wstring& idText : ids)
        {
            PYXGuid id{};
            CLSIDFromString(idText.c_str(), reinterpret_cast<CLSID*>(&id));
            void* p = &id;
            const pyx_uint32 count = pObject->Acquire();
            const PYX_RESULT result = pObject->QueryInterface(id, &p);
            const bool isRight =
                result == PYX_OK ? p == pObject && pObject->Release() == count : result == PYX_NO_INTERFACE && p == &id;
            answered += isRight ? (result == PYX_OK ? "1" : "0") : "?";
            pObject->Release();
        }
        return answered;
    }
};

TEST_F(InterfacesOfTheModuleTest, AnswerTheirIdentifiersOnly)
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
    EXPECT_EQ(m_spComponent->GetContext(), m_spContext.Get());
    EXPECT_EQ(m_spComponent->Acquire(), 2u); // the factory hands it out with one
    EXPECT_EQ(m_spComponent->Release(), 1u);
}

/// Calls an object's operation by its place alone, as a host built elsewhere does.
template <class Result, class... Args> Result CallSlot(PYXInterface* pObject, int slot, Args... args)
{
    const auto table = *reinterpret_cast<Result (***)(void*, Args...)>(pObject);
    return table[slot](pObject, args...);
}

TEST_F(InterfacesOfTheModuleTest, DescriptionsAndHooksLieInTheirSlots)
{
    Create();
    const auto spInput = Input(0);
    for (PYXInterface* pObject :
         {static_cast<PYXInterface*>(m_spComponent.Get()), static_cast<PYXInterface*>(spInput.Get())})
    {
        const PYXPropertyInfo* pFirst = nullptr;
        const PYXPropertyInfo* pByName = nullptr;
        EXPECT_EQ((CallSlot<PYX_RESULT, pyx_size, const PYXPropertyInfo**>(pObject, 15, 0, &pFirst)), PYX_OK);
        EXPECT_EQ((CallSlot<PYX_RESULT, const wchar_t*, const PYXPropertyInfo**>(pObject, 14, pFirst->name, &pByName)),
                  PYX_OK);
        EXPECT_EQ(pByName, pFirst);
    }
    EXPECT_EQ((CallSlot<pyx_uint32>(spInput.Get(), 19)), 2u); // GetRefCount: the component's and this test's
    Calls();
    CallSlot<void, const wchar_t*>(m_spComponent.Get(), 32, L"TempPath"); // OnPropertyChanged
    EXPECT_EQ(Calls(), "Init 0 0 0");
    FaultyCall<"GetProperty", 0, PYX_RESULT(void*, const wchar_t*, PYXVariant*)> get(spInput.Get(), 4);
    m_faults.Fail("GetProperty", 0, PYX_OK);
    CallSlot<void, const wchar_t*>(spInput.Get(), 18, L"Enabled"); // OnPropertyChanged reads the switch
    EXPECT_EQ(m_faults.calls, 1);
}

TEST_F(InterfacesOfTheModuleTest, HostOperationsAnswerConstants)
{
    Create();
    PYXComponentEx* p = m_spComponent.Get();
    const PYX_RESULT results[] = {p->HostOperation20(), p->HostOperation21(), p->HostOperation22(),
                                  p->HostOperation23(), p->HostOperation25(), p->HostOperation26(),
                                  p->HostOperation27(), p->HostOperation29(), p->HostOperation31()};
    EXPECT_EQ(testing::PrintToString(results), "{ 0, 0, 10, 10, 0, 10, 0, 0, 10 }");
}

TEST_F(InterfacesOfTheModuleTest, TheFileExportsItsEntryAndImportsTheSystemOnly)
{
    const HMODULE module = m_pModule->handle;
    std::set<std::string> libraries;
    for (const auto& [name, ppPlace] : Imports(module))
    {
        libraries.insert(name.substr(0, name.find(' ')));
    }
    EXPECT_EQ(testing::PrintToString(libraries), R"({ "kernel32.dll", "msvcrt.dll", "ole32.dll" })");
    auto* const pBase = reinterpret_cast<char*>(module);
    const auto* pNt = reinterpret_cast<IMAGE_NT_HEADERS*>(pBase + reinterpret_cast<IMAGE_DOS_HEADER*>(pBase)->e_lfanew);
    const auto* pExports =
        reinterpret_cast<IMAGE_EXPORT_DIRECTORY*>(pBase + pNt->OptionalHeader.DataDirectory[0].VirtualAddress);
    EXPECT_EQ(pExports->NumberOfNames, 1u);
    EXPECT_EQ(pExports->NumberOfFunctions, 1u);
    EXPECT_TRUE(m_pModule->create);
    EXPECT_TRUE(FindResourceW(module, MAKEINTRESOURCEW(VS_VERSION_INFO), MAKEINTRESOURCEW(16))); // RT_VERSION
}

} // namespace
