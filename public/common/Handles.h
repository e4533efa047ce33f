#pragma once

#include <windows.h>

#include <memory>
#include <type_traits>

/// Owners of one handle of the operating system each. They close it at their end; null owns nothing.

struct PYXFindCloser
{
    void operator()(HANDLE handle) const noexcept
    {
        FindClose(handle);
    }
};

struct PYXFileCloser
{
    void operator()(HANDLE handle) const noexcept
    {
        CloseHandle(handle);
    }
};

struct PYXModuleCloser
{
    void operator()(HMODULE handle) const noexcept
    {
        FreeLibrary(handle);
    }
};

/// Of FindFirstFileW.
using PYXFindOwner = std::unique_ptr<void, PYXFindCloser>;

/// Of CreateFileW and of everything else that CloseHandle closes.
using PYXFileOwner = std::unique_ptr<void, PYXFileCloser>;

/// Of LoadLibraryExW.
using PYXModuleOwner = std::unique_ptr<std::remove_pointer_t<HMODULE>, PYXModuleCloser>;

/// What FindFirstFileW and CreateFileW return: INVALID_HANDLE_VALUE becomes null.
template <class Owner> Owner PYXOwn(HANDLE handle) noexcept
{
    return Owner(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}
