#pragma once

#include <memory>
#include <windows.h>

struct CloseWin32Handle
{
    using pointer = HANDLE;

    void operator()(HANDLE handle) const
    {
        if (handle != INVALID_HANDLE_VALUE)
        {
            CloseHandle(handle);
        }
    }
};

/// Owner of a file's handle; null or INVALID_HANDLE_VALUE is none.
using Win32Handle = std::unique_ptr<void, CloseWin32Handle>;

inline bool IsOpen(const Win32Handle& handle)
{
    return handle && handle.get() != INVALID_HANDLE_VALUE;
}
