#include "replay/TempDirectory.h"

#include "replay/Text.h"

#include <cwctype>
#include <string_view>

namespace
{

constexpr std::wstring_view c_name = L"pyx-replay-";
constexpr std::wstring_view c_lockEnding = L".lock";

struct CloseFind
{
    using pointer = HANDLE;

    void operator()(HANDLE handle) const
    {
        FindClose(handle);
    }
};

/// Calls `visit` with each entry that matches, "." and ".." included.
template <class Visit> void ForEachEntry(const std::wstring& pattern, Visit visit)
{
    WIN32_FIND_DATAW entry;
    const HANDLE hFind = FindFirstFileW(pattern.c_str(), &entry);
    if (hFind == INVALID_HANDLE_VALUE)
    {
        return;
    }
    const std::unique_ptr<void, CloseFind> find(hFind);
    do
    {
        visit(entry);
    } while (FindNextFileW(hFind, &entry));
}

bool IsRealDirectory(DWORD attributes)
{
    return (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == FILE_ATTRIBUTE_DIRECTORY;
}

/// `head`, a number, `ending`.
bool IsNumbered(std::wstring_view name, std::wstring_view head, std::wstring_view ending)
{
    if (!name.starts_with(head) || !name.ends_with(ending) || name.size() <= head.size() + ending.size())
    {
        return false;
    }
    name.remove_prefix(head.size());
    name.remove_suffix(ending.size());
    return name.find_first_not_of(L"0123456789") == std::wstring_view::npos;
}

/// As the component names its files.
bool IsStoreName(std::wstring_view name)
{
    return IsNumbered(name, L"Temp", L".RBV") || IsNumbered(name, L"Temp", L".RBA");
}

void RemoveStores(const std::wstring& directory)
{
    ForEachEntry(directory + L"\\Temp*", [&directory](const WIN32_FIND_DATAW& entry) {
        if (IsStoreName(entry.cFileName))
        {
            DeleteFileW((directory + L"\\" + entry.cFileName).c_str());
        }
    });
    RemoveDirectoryW(directory.c_str());
}

void RemoveLeftOnes(const std::wstring& parent)
{
    ForEachEntry(parent + std::wstring(c_name) + L"*", [&parent](const WIN32_FIND_DATAW& entry) {
        const std::wstring path = parent + entry.cFileName;
        const bool locked = GetFileAttributesW((path + std::wstring(c_lockEnding)).c_str()) != INVALID_FILE_ATTRIBUTES;
        if (IsNumbered(entry.cFileName, c_name, L"") && IsRealDirectory(entry.dwFileAttributes) && !locked)
        {
            RemoveStores(path);
        }
    });
}

Outcome CannotWrite(const std::wstring& directory, DWORD error)
{
    return {ExitCode::CannotWrite, "cannot write to the temporary directory " + PathForUser(directory) + " (error " +
                                       std::to_string(error) + ")"};
}

} // namespace

Outcome TempDirectory::Make(const std::wstring& parent)
{
    const DWORD attributes = GetFileAttributesW(parent.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
    {
        return {ExitCode::CannotWrite, "the temporary directory " + PathForUser(parent) + " does not exist"};
    }
    if (!(attributes & FILE_ATTRIBUTE_DIRECTORY))
    {
        return {ExitCode::CannotWrite, "the temporary directory " + PathForUser(parent) + " is no directory"};
    }
    const bool separated = parent.ends_with(L'\\') || parent.ends_with(L'/');
    const std::wstring base = separated ? parent : parent + L"\\";
    RemoveLeftOnes(base);

    // Process numbers come again, so a name can be taken: by a directory that could not be removed, or somebody's file.
    DWORD error = ERROR_SUCCESS;
    for (DWORD number = GetCurrentProcessId(), tries = 0; tries < 100; ++number, ++tries)
    {
        const std::wstring path = base + std::wstring(c_name) + std::to_wstring(number);
        m_lock.reset(CreateFileW((path + std::wstring(c_lockEnding)).c_str(), GENERIC_WRITE | DELETE, FILE_SHARE_READ,
                                 nullptr, CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
        error = GetLastError();
        if (IsOpen(m_lock) && CreateDirectoryW(path.c_str(), nullptr))
        {
            m_path = path;
            return {};
        }
        error = IsOpen(m_lock) ? GetLastError() : error;
        if (error != ERROR_ALREADY_EXISTS && error != ERROR_FILE_EXISTS && error != ERROR_SHARING_VIOLATION)
        {
            break;
        }
    }
    return CannotWrite(parent, error);
}

Outcome TempDirectory::Check() const
{
    const DWORD attributes = GetFileAttributesW(m_path.c_str());
    const DWORD error = GetLastError();
    return attributes == INVALID_FILE_ATTRIBUTES ? CannotWrite(m_path, error) : Outcome();
}

TempDirectory::~TempDirectory()
{
    if (!m_path.empty())
    {
        RemoveStores(m_path);
    }
}
