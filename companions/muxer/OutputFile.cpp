#include "muxer/OutputFile.h"

#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <iterator>

namespace
{

/// A name in the same folder, so that the file can be renamed. It is not made of the path's own name, which may be as
/// long as a name can be. The leading dot hides it where that is the custom.
std::wstring PartPath(const std::wstring& path, pyx_uint32 number)
{
    const std::size_t folder = path.find_last_of(L"/\\") + 1; // 0: the path is a mere name
    wchar_t name[64];
    swprintf(name, std::size(name), L".pyx-%lx-%llx-%x.part", GetCurrentProcessId(), GetTickCount64(), number);
    return path.substr(0, folder) + name;
}

std::wstring GetSystemText(DWORD error)
{
    wchar_t text[512] = {};
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0, text,
                                  512, nullptr);
    while (length > 0 && (text[length - 1] == L'\n' || text[length - 1] == L'\r' || text[length - 1] == L' '))
    {
        --length;
    }
    return length > 0 ? std::wstring(text, length) : L"system error " + std::to_wstring(error);
}

} // namespace

OutputFile::~OutputFile()
{
    Discard();
}

bool OutputFile::Create(const std::wstring& path)
{
    Discard();
    m_errorText.clear();
    m_path = path;
    constexpr pyx_uint32 maxTries = 100;
    for (pyx_uint32 number = 0; number < maxTries; ++number)
    {
        m_partPath = PartPath(path, number);
        m_handle = CreateFileW(m_partPath.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
        if (m_handle != INVALID_HANDLE_VALUE || GetLastError() != ERROR_FILE_EXISTS)
        {
            break;
        }
    }
    if (!Check(m_handle != INVALID_HANDLE_VALUE))
    {
        m_handle = nullptr;
        return false;
    }
    return true;
}

bool OutputFile::Write(const pyx_uint8* pData, pyx_uint32 size)
{
    while (size > 0)
    {
        DWORD written = 0;
        // A full disk may take a part of the bytes before it refuses the rest.
        if (!Check(WriteFile(m_handle, pData, size, &written, nullptr) && written > 0))
        {
            return false;
        }
        pData += written;
        size -= written;
    }
    return true;
}

pyx_int64 OutputFile::Seek(pyx_int64 offset, int origin)
{
    static_assert(SEEK_SET == FILE_BEGIN && SEEK_CUR == FILE_CURRENT && SEEK_END == FILE_END);
    LARGE_INTEGER distance;
    LARGE_INTEGER position;
    distance.QuadPart = offset;
    return Check(SetFilePointerEx(m_handle, distance, &position, static_cast<DWORD>(origin))) ? position.QuadPart : -1;
}

int OutputFile::ReadAt(pyx_int64 position, pyx_uint8* pData, int size)
{
    const pyx_int64 back = Seek(0, SEEK_CUR);
    DWORD count = 0;
    const bool isRead = back >= 0 && Seek(position, SEEK_SET) >= 0 &&
                        Check(ReadFile(m_handle, pData, static_cast<DWORD>(size), &count, nullptr));
    return Seek(back, SEEK_SET) >= 0 && isRead ? static_cast<int>(count) : -1;
}

pyx_int64 OutputFile::GetSize()
{
    LARGE_INTEGER size;
    return Check(GetFileSizeEx(m_handle, &size)) ? size.QuadPart : -1;
}

bool OutputFile::Commit()
{
    Close();
    if (!Check(MoveFileExW(m_partPath.c_str(), m_path.c_str(), MOVEFILE_REPLACE_EXISTING)))
    {
        DeleteFileW(m_partPath.c_str());
        return false;
    }
    return true;
}

void OutputFile::Discard()
{
    if (m_handle)
    {
        Close();
        DeleteFileW(m_partPath.c_str());
    }
}

/// Keeps the system's reason for a failure.
bool OutputFile::Check(bool succeeded)
{
    if (!succeeded)
    {
        m_errorText = GetSystemText(GetLastError());
    }
    return succeeded;
}

void OutputFile::Close()
{
    CloseHandle(m_handle);
    m_handle = nullptr;
}
