#pragma once

#include <windows.h>

#include <utility>

/// Owner of one handle of the operating system: closes it at its end. Move-only.
/// Neither null nor INVALID_HANDLE_VALUE is a handle.
/// Threads: one at a time.
template <class Handle, class Closer> class PYXHandle
{
public:
    PYXHandle() = default;

    explicit PYXHandle(Handle handle) noexcept : m_handle(handle)
    {
    }

    PYXHandle(PYXHandle&& other) noexcept : m_handle(other.Detach())
    {
    }

    PYXHandle& operator=(PYXHandle other) noexcept
    {
        std::swap(m_handle, other.m_handle);
        return *this;
    }

    ~PYXHandle()
    {
        Reset();
    }

    /// Closes the handle, if there is one.
    void Reset() noexcept
    {
        const Handle handle = Detach();
        if (IsHandle(handle))
        {
            Closer()(handle);
        }
    }

    /// Gives the handle to the caller.
    Handle Detach() noexcept
    {
        return std::exchange(m_handle, nullptr);
    }

    /// The handle as it was given, borrowed.
    Handle Get() const noexcept
    {
        return m_handle;
    }

    explicit operator bool() const noexcept
    {
        return IsHandle(m_handle);
    }

private:
    static bool IsHandle(Handle handle) noexcept
    {
        return handle && static_cast<void*>(handle) != INVALID_HANDLE_VALUE;
    }

    Handle m_handle = nullptr;
};

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
using PYXFindHandle = PYXHandle<HANDLE, PYXFindCloser>;

/// Of CreateFileW and of everything else that CloseHandle closes.
using PYXFileHandle = PYXHandle<HANDLE, PYXFileCloser>;

/// Of LoadLibraryExW.
using PYXModuleHandle = PYXHandle<HMODULE, PYXModuleCloser>;
