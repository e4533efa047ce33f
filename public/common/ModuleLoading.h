#pragma once

#include "common/Types.h"

#include <windows.h>

/// How this module finds others: by bare file name in the application's
/// directory, the system directory and the directories the process added, and
/// nowhere else. Null: not found.
inline HMODULE PYXLoadModule(const wchar_t* file)
{
    constexpr DWORD searchFlags = LOAD_LIBRARY_SEARCH_DEFAULT_DIRS | LOAD_LIBRARY_SEARCH_SYSTEM32 |
                                  LOAD_LIBRARY_SEARCH_USER_DIRS | LOAD_LIBRARY_SEARCH_APPLICATION_DIR;
    static_assert(searchFlags == 0x1E00);
    return LoadLibraryExW(file, nullptr, searchFlags);
}

/// An exported function, null when it is missing.
template <class Function> Function PYXGetEntry(HMODULE module, const char* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}
