#include "bench/Directory.h"

#include "bench/Require.h"

#include <windows.h>

namespace
{

std::wstring s_scratch;

} // namespace

DirectoryContent ReadDirectory(const std::wstring& directory)
{
    DirectoryContent content;
    WIN32_FIND_DATAW entry;
    const HANDLE find = FindFirstFileW((directory + L"\\*").c_str(), &entry);
    if (find == INVALID_HANDLE_VALUE)
    {
        return content;
    }
    do
    {
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        {
            ++content.files;
            content.bytes += (static_cast<pyx_uint64>(entry.nFileSizeHigh) << 32) + entry.nFileSizeLow;
        }
    } while (FindNextFileW(find, &entry));
    FindClose(find);
    return content;
}

void SetScratchDirectory(const std::wstring& directory)
{
    const DWORD attributes = GetFileAttributesW(directory.c_str());
    Require(attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0,
            "--temp must name a directory");
    s_scratch = directory;
}

std::wstring ModuleDirectory()
{
    return s_scratch + L"\\module";
}

std::wstring FloorDirectory()
{
    return s_scratch + L"\\floor";
}
