#include "DirectoryTree.h"

#include "common/Handles.h"

#include <windows.h>

#include <algorithm>
#include <cwchar>
#include <new>

namespace
{

bool RemoveEntry(const std::wstring& path, const WIN32_FIND_DATAW& entry)
{
    if (wcscmp(entry.cFileName, L".") == 0 || wcscmp(entry.cFileName, L"..") == 0)
    {
        return true;
    }
    const std::wstring entryPath = path + L"\\" + entry.cFileName;
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
    {
        return RemoveTree(entryPath);
    }
    return DeleteFileW(entryPath.c_str()) != FALSE;
}

bool RemoveEntries(const std::wstring& path)
{
    WIN32_FIND_DATAW entry;
    const auto find = PYXOwn<PYXFindOwner>(FindFirstFileW((path + L"\\*.*").c_str(), &entry));
    if (!find)
    {
        return true;
    }
    do
    {
        if (!RemoveEntry(path, entry))
        {
            return false;
        }
    } while (FindNextFileW(find.get(), &entry));
    return true;
}

bool CreateOne(const std::wstring& path)
{
    return CreateDirectoryW(path.c_str(), nullptr) || GetLastError() == ERROR_ALREADY_EXISTS;
}

} // namespace

bool RemoveTree(const std::wstring& path) noexcept
{
    try
    {
        return RemoveEntries(path) && RemoveDirectoryW(path.c_str());
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }
}

bool CreatePath(const std::wstring& path)
{
    bool created = false;
    for (size_t begin = 0; begin < path.size();)
    {
        const size_t end = std::min(path.find(L'\\', begin), path.size());
        const std::wstring component = path.substr(begin, end - begin);
        if (!component.empty() && component != L".")
        {
            // A share, or a parent that we may not touch, cannot be created; what is below it may.
            created = CreateOne(path.substr(0, end));
        }
        begin = end + 1;
    }
    return created;
}
