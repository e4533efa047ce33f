/// The programs' entry: no crash dialogs, and every test that leaves something
/// behind fails.

#include "host/HostObject.h"
#include "support/Hooks.h"

#include <gtest/gtest.h>

#include <malloc.h>
#include <objbase.h>
#include <winternl.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <string_view>
#include <thread>

namespace
{

extern "C" ULONG NTAPI RtlGetNtGlobalFlags();

std::atomic<long long> s_blocks;
std::atomic<long long> s_runtimeBlocks;
std::atomic<int> s_brokenBlocks;

decltype(&CoTaskMemAlloc) s_pAlloc = nullptr; // what the imports were before they were replaced
decltype(&CoTaskMemFree) s_pFree = nullptr;
decltype(&free) s_pCFree = nullptr;
decltype(&malloc) s_pMalloc = nullptr;
decltype(&calloc) s_pCalloc = nullptr;
decltype(&realloc) s_pRealloc = nullptr;
decltype(&_strdup) s_pStrdup = nullptr;

template <class Function> void Replace(HMODULE module, const char* name, Function* pReplacement, Function** ppOriginal)
{
    void** const ppPlace = FindImport(module, name);
    if (!ppPlace)
    {
        return;
    }
    *ppOriginal = *ppOriginal ? *ppOriginal : reinterpret_cast<Function*>(*ppPlace);
    WritePointer(ppPlace, reinterpret_cast<void*>(pReplacement));
}

void* CountedAlloc(SIZE_T size)
{
    return ++s_blocks, s_pAlloc(size);
}
void CountedFree(void* p)
{
    s_blocks -= p ? 1 : 0, s_pFree(p);
}

/// The heap checks look at the end of a block only when they are asked to, so before it goes.
void CheckedFree(void* p)
{
    s_brokenBlocks += p && !HeapValidate(reinterpret_cast<HANDLE>(_get_heap_handle()), 0, p) ? 1 : 0;
    s_runtimeBlocks -= p ? 1 : 0;
    s_pCFree(p);
}

template <class T> T* Counted(T* p)
{
    s_runtimeBlocks += p ? 1 : 0;
    return p;
}

void* CountedMalloc(std::size_t size)
{
    return Counted(s_pMalloc(size));
}
void* CountedCalloc(std::size_t count, std::size_t size)
{
    return Counted(s_pCalloc(count, size));
}
void* CountedRealloc(void* p, std::size_t size)
{
    return p ? s_pRealloc(p, size) : Counted(s_pRealloc(p, size));
}
char* CountedStrdup(const char* text)
{
    return Counted(s_pStrdup(text));
}

/// A crash ends the program at once, without a debugger or a dialog.
LONG WINAPI EndAtCrash(EXCEPTION_POINTERS* pException)
{
    std::fprintf(stderr, "crash: code %lx at %p\n", pException->ExceptionRecord->ExceptionCode,
                 pException->ExceptionRecord->ExceptionAddress);
    TerminateProcess(GetCurrentProcess(), 3);
    return EXCEPTION_EXECUTE_HANDLER;
}

/// An open handle, but none of those that the C++ library's locks and GoogleTest open at their first use, and keep.
bool IsCounted(HANDLE handle)
{
    struct
    {
        PUBLIC_OBJECT_TYPE_INFORMATION info;
        wchar_t text[64];
    } type = {};
    constexpr auto typeInformation = static_cast<OBJECT_INFORMATION_CLASS>(2);
    const bool isOpen = NtQueryObject(handle, typeInformation, &type, sizeof(type), nullptr) == 0;
    const std::wstring_view name(isOpen ? type.info.TypeName.Buffer : L"");
    return isOpen && name != L"Event" && name != L"Semaphore" && name != L"Thread";
}

/// Nothing wrote past a block of any heap, or into one that it had freed.
bool AreHeapsIntact()
{
    HANDLE heaps[64];
    const DWORD count = std::min<DWORD>(GetProcessHeaps(64, heaps), 64);
    return std::all_of(heaps, heaps + count, [](HANDLE heap) { return HeapValidate(heap, 0, nullptr) != FALSE; });
}

class LeakListener final : public testing::EmptyTestEventListener
{
    void OnTestStart(const testing::TestInfo&) override
    {
        m_alive = HostObject::Alive();
        m_blocks = s_blocks;
        m_handles = CountHandles();
    }

    void OnTestEnd(const testing::TestInfo&) override
    {
        EXPECT_EQ(HostObject::Alive(), m_alive) << "packets, contexts or muxers are left";
        EXPECT_EQ(s_blocks, m_blocks) << "task memory is left";
        EXPECT_LE(CountHandles(), m_handles) << "handles are left";
        EXPECT_EQ(RtlGetNtGlobalFlags() & 0x70, 0x70U) << "Wine checks no heaps: run CTest's heap-checks first";
        EXPECT_TRUE(AreHeapsIntact()) << "something wrote outside its memory";
        EXPECT_EQ(s_brokenBlocks.exchange(0), 0) << "something wrote past the end of a block";
    }

    long long m_alive = 0;
    long long m_blocks = 0;
    int m_handles = 0;
};

} // namespace

int CountHandles()
{
    int count = 0;
    for (std::uintptr_t value = 4; value < 0x400; value += 4)
    {
        count += IsCounted(reinterpret_cast<HANDLE>(value)) ? 1 : 0;
    }
    return count;
}

long long CountRuntimeBlocks()
{
    return s_runtimeBlocks;
}

void CountMemory(HMODULE module)
{
    Replace(module, "CoTaskMemAlloc", &CountedAlloc, &s_pAlloc);
    Replace(module, "CoTaskMemFree", &CountedFree, &s_pFree);
    Replace(module, "free", &CheckedFree, &s_pCFree);
    Replace(module, "malloc", &CountedMalloc, &s_pMalloc);
    Replace(module, "calloc", &CountedCalloc, &s_pCalloc);
    Replace(module, "realloc", &CountedRealloc, &s_pRealloc);
    Replace(module, "_strdup", &CountedStrdup, &s_pStrdup);
}

int main(int argc, char** argv)
{
    SetUnhandledExceptionFilter(&EndAtCrash);
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new LeakListener);
    CountMemory(GetModuleHandleW(nullptr));
    std::thread([] {}).join(); // the first thread opens handles that stay
    OutputDebugStringA("");    // and so does the first message, which GoogleTest sends to debuggers too
    return RUN_ALL_TESTS();
}
