#pragma once

#include "support/Faults.h"

#include <windows.h>

#include <algorithm>
#include <string>
#include <type_traits>

/// Where a loaded module keeps the address of a function that it imports, or null.
inline void** FindImport(HMODULE module, const std::string& function)
{
    auto* const pBase = reinterpret_cast<char*>(module);
    const auto* pNt = reinterpret_cast<IMAGE_NT_HEADERS*>(pBase + reinterpret_cast<IMAGE_DOS_HEADER*>(pBase)->e_lfanew);
    const auto& directory = pNt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (const auto* p = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(pBase + directory.VirtualAddress); p->Name; ++p)
    {
        const auto* pName = reinterpret_cast<IMAGE_THUNK_DATA*>(pBase + p->OriginalFirstThunk);
        for (auto** ppCode = reinterpret_cast<void**>(pBase + p->FirstThunk); pName->u1.Ordinal; ++pName, ++ppCode)
        {
            if (function == reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(pBase + pName->u1.AddressOfData)->Name)
            {
                return ppCode; // a second place of one name is the C++ library's
            }
        }
    }
    return nullptr;
}

/// Stores a pointer in read-only memory; a null place is left alone.
inline void WritePointer(void** ppPlace, void* p)
{
    DWORD access = 0;
    if (ppPlace && VirtualProtect(ppPlace, sizeof(p), PAGE_READWRITE, &access))
    {
        *ppPlace = p;
        VirtualProtect(ppPlace, sizeof(p), access, &access);
    }
}

template <std::size_t size> struct FixedText
{
    constexpr FixedText(const char (&text)[size])
    {
        std::copy_n(text, size, value);
    }
    char value[size];
};

/// Puts a function under the fault plan for a scope. A failing call returns
/// null if it is a pointer, else `failed`, or the plan's code when that is 0.
///     FaultyCall<"_write", -1, int(int, const void*, unsigned)> write(module);     an import of the module
///     FaultyCall<"CopyTo", 0, PYX_RESULT(void*, void*, bool)> copy(pBuffer, 10);   a slot of a class's table
template <FixedText name, int failed, class Function> class FaultyCall;
template <FixedText name, int failed, class Result, class... Args> class FaultyCall<name, failed, Result(Args...)>
{
public:
    explicit FaultyCall(HMODULE module, const char* function = name.value) : FaultyCall(FindImport(module, function))
    {
    }
    FaultyCall(const FaultyCall&) = delete;
    FaultyCall& operator=(const FaultyCall&) = delete;
    ~FaultyCall()
    {
        WritePointer(m_ppPlace, m_pOriginal);
    }
    FaultyCall(void* pObject, int slot) : FaultyCall(*static_cast<void***>(pObject) + slot)
    {
    }

private:
    explicit FaultyCall(void** ppPlace) : m_ppPlace(ppPlace), m_pOriginal(ppPlace ? *ppPlace : nullptr)
    {
        s_pOriginal = reinterpret_cast<Result (*)(Args...)>(m_pOriginal);
        WritePointer(m_ppPlace, reinterpret_cast<void*>(&Call));
    }

    static Result Call(Args... args)
    {
        const PYX_RESULT code = FaultPlan::Get().Check(name.value);
        if (code == PYX_OK)
        {
            return s_pOriginal(args...);
        }
        if constexpr (std::is_pointer_v<Result>)
        {
            return nullptr;
        }
        else
        {
            return static_cast<Result>(failed ? failed : code);
        }
    }

    static inline Result (*s_pOriginal)(Args...) = nullptr;
    void** m_ppPlace;
    void* m_pOriginal;
};

/// Counts the task memory and the blocks of the C runtime's heap that a module takes
/// and gives back from now on, and looks at each such block when the module frees
/// it. Strings cross modules, so every module of a test program is counted.
void CountMemory(HMODULE module);

/// Blocks of the C runtime's heap that are not given back: exact, while a walk over
/// the heaps also meets what the system keeps in them.
long long CountRuntimeBlocks();

/// Open files and directories of the process whose handles have these flags.
int CountFiles(DWORD flags = 0);
