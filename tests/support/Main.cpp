/// The programs' entry: no crash dialogs, and every test that leaves something fails.

#include "host/HostObject.h"
#include "support/Hooks.h"

#include <gtest/gtest.h>

#include <malloc.h>
#include <objbase.h>

#include <algorithm>
#include <atomic>
#include <cstdio>

namespace
{

extern "C" ULONG NTAPI RtlGetNtGlobalFlags();

std::atomic<long long> s_blocks;
std::atomic<long long> s_runtimeBlocks;
std::atomic<int> s_brokenBlocks;

decltype(&CoTaskMemFree) s_pTaskFree = nullptr; // what the imports were before they were replaced
decltype(&free) s_pFree = nullptr;

template <class Function> void Replace(HMODULE module, const char* name, Function* pReplacement, Function** ppOriginal)
{
    if (void** const ppPlace = FindImport(module, name))
    {
        *ppOriginal = *ppOriginal ? *ppOriginal : reinterpret_cast<Function*>(*ppPlace);
        WritePointer(ppPlace, reinterpret_cast<void*>(pReplacement));
    }
}

/// Counts the blocks that a function takes; one that is given a block to resize takes none.
template <FixedText name, std::atomic<long long>* pCount, class First, class... Rest>
void CountTaken(HMODULE module, void* (* /*type*/)(First, Rest...))
{
    static void* (*s_pOriginal)(First, Rest...) = nullptr;
    void* (*const pCounting)(First, Rest...) = [](First first, Rest... rest) {
        void* const p = s_pOriginal(first, rest...);
        *pCount += p && !(std::is_pointer_v<First> && first) ? 1 : 0;
        return p;
    };
    Replace(module, name.value, pCounting, &s_pOriginal);
}

void CountedTaskFree(void* p)
{
    s_blocks -= p ? 1 : 0, s_pTaskFree(p);
}

/// The heap checks look at the end of a block only when they are asked to, so before it goes.
void CheckedFree(void* p)
{
    s_brokenBlocks += p && !HeapValidate(reinterpret_cast<HANDLE>(_get_heap_handle()), 0, p) ? 1 : 0;
    s_runtimeBlocks -= p ? 1 : 0;
    s_pFree(p);
}

/// A crash ends the program at once, without a debugger or a dialog.
LONG WINAPI EndAtCrash(EXCEPTION_POINTERS* pException)
{
    std::fprintf(stderr, "crash: code %lx at %p\n", pException->ExceptionRecord->ExceptionCode,
                 pException->ExceptionRecord->ExceptionAddress);
    TerminateProcess(GetCurrentProcess(), 3);
    return EXCEPTION_EXECUTE_HANDLER;
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
        m_files = CountFiles();
    }

    void OnTestEnd(const testing::TestInfo&) override
    {
        EXPECT_EQ(HostObject::Alive(), m_alive) << "packets, contexts or muxers are left";
        EXPECT_EQ(s_blocks, m_blocks) << "task memory is left";
        EXPECT_EQ(CountFiles(), m_files) << "files are left open";
        EXPECT_EQ(RtlGetNtGlobalFlags() & 0x70, 0x70U) << "Wine checks no heaps: run CTest's heap-checks first";
        EXPECT_TRUE(AreHeapsIntact()) << "something wrote outside its memory";
        EXPECT_EQ(s_brokenBlocks.exchange(0), 0) << "something wrote past the end of a block";
    }

    long long m_alive = 0;
    long long m_blocks = 0;
    int m_files = 0;
};

} // namespace

int CountFiles(DWORD flags)
{
    int count = 0;
    for (std::uintptr_t value = 4; value < 0x200; value += 4)
    {
        const auto handle = reinterpret_cast<HANDLE>(value);
        DWORD own = 0;
        const bool isFile = GetFileType(handle) != FILE_TYPE_UNKNOWN && GetHandleInformation(handle, &own);
        count += isFile && (own & flags) == flags ? 1 : 0;
    }
    return count;
}

long long CountRuntimeBlocks()
{
    return s_runtimeBlocks;
}

void CountMemory(HMODULE module)
{
    CountTaken<"CoTaskMemAlloc", &s_blocks>(module, &CoTaskMemAlloc);
    CountTaken<"malloc", &s_runtimeBlocks>(module, &malloc);
    CountTaken<"calloc", &s_runtimeBlocks>(module, &calloc);
    CountTaken<"realloc", &s_runtimeBlocks>(module, &realloc);
    Replace(module, "CoTaskMemFree", &CountedTaskFree, &s_pTaskFree);
    Replace(module, "free", &CheckedFree, &s_pFree);
}

int main(int argc, char** argv)
{
    SetUnhandledExceptionFilter(&EndAtCrash);
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new LeakListener);
    CountMemory(GetModuleHandleW(nullptr));
    return RUN_ALL_TESTS();
}
