#include "replay/TempDirectory.h"

#include "replay/Text.h"
#include "replay/WriteTest.h"

#include <string_view>
#include <utility>

namespace
{

constexpr std::wstring_view c_name = L"pyx-replay-";
constexpr std::wstring_view c_lockEnding = L".lock";

/// Content of a lock, so that nobody else's file is taken for one.
constexpr std::string_view c_lockText = "replay.exe holds this while it uses the directory of the same name\n";

/// Calls `visit` with each entry that matches, "." and ".." included.
template <class Visit> void ForEachEntry(const std::wstring& pattern, Visit visit)
{
    WIN32_FIND_DATAW entry;
    const PYXFindHandle find(FindFirstFileW(pattern.c_str(), &entry));
    for (bool found = static_cast<bool>(find); found; found = FindNextFileW(find.Get(), &entry))
    {
        visit(entry);
    }
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

/// Takes a lock that nobody holds. Not left to the sharing of the open file alone, which ends at the border of a
/// machine or of a Windows environment.
PYXFileHandle OpenLock(const std::wstring& path, DWORD disposition)
{
    PYXFileHandle lock(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                   nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
    OVERLAPPED start{};
    if (lock && !LockFileEx(lock.Get(), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &start))
    {
        lock.Reset();
    }
    return lock;
}

bool HasLockText(HANDLE lock)
{
    char text[c_lockText.size() + 1];
    DWORD size = 0;
    return ReadFile(lock, text, sizeof(text), &size, nullptr) && std::string_view(text, size) == c_lockText;
}

/// What a program that was killed left behind, if that is what the lock `name` belongs to.
void RemoveLeft(const std::wstring& parent, std::wstring_view name)
{
    const std::wstring lockPath = parent + std::wstring(name);
    const std::wstring path = lockPath.substr(0, lockPath.size() - c_lockEnding.size());
    PYXFileHandle lock = OpenLock(lockPath, OPEN_EXISTING);
    if (!lock || !HasLockText(lock.Get()))
    {
        return;
    }
    if (IsRealDirectory(GetFileAttributesW(path.c_str())))
    {
        RemoveStores(path);
    }
    lock.Reset();
    DeleteFileW(lockPath.c_str());
}

void RemoveLeftOnes(const std::wstring& parent)
{
    ForEachEntry(parent + std::wstring(c_name) + L"*", [&parent](const WIN32_FIND_DATAW& entry) {
        if (IsNumbered(entry.cFileName, c_name, c_lockEnding) && !(entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
        {
            RemoveLeft(parent, entry.cFileName);
        }
    });
}

Outcome CannotWrite(const std::wstring& directory, DWORD error)
{
    return {ExitCode::CannotWrite,
            "cannot write to the temporary directory " + PathForUser(directory) + ": " + SystemReason(error)};
}

Outcome CheckParent(const std::wstring& parent)
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
    const DWORD error = TryToWriteIn(parent, 1);
    return error == ERROR_SUCCESS ? Outcome() : CannotWrite(parent, error);
}

} // namespace

Outcome TempDirectory::Make(const std::wstring& parent)
{
    RETURN_ON_FAILURE(CheckParent(parent));
    const bool separated = parent.ends_with(L'\\') || parent.ends_with(L'/');
    const std::wstring base = separated ? parent : parent + L"\\";
    RemoveLeftOnes(base);

    // Process numbers come again, so a name can be taken: by a directory that could not be removed, or somebody's file.
    constexpr DWORD maxTries = 100;
    for (DWORD tries = 0; tries < maxTries; ++tries)
    {
        if (Take(base + std::wstring(c_name) + std::to_wstring(GetCurrentProcessId() + tries)))
        {
            return {};
        }
    }
    return CannotWrite(parent, ERROR_ALREADY_EXISTS);
}

bool TempDirectory::Take(const std::wstring& path)
{
    PYXFileHandle lock = OpenLock(path + std::wstring(c_lockEnding), CREATE_NEW);
    if (!lock)
    {
        return false;
    }
    DWORD written = 0;
    WriteFile(lock.Get(), c_lockText.data(), static_cast<DWORD>(c_lockText.size()), &written, nullptr);
    if (!CreateDirectoryW(path.c_str(), nullptr))
    {
        lock.Reset();
        DeleteFileW((path + std::wstring(c_lockEnding)).c_str());
        return false;
    }
    m_lock = std::move(lock);
    m_path = path;
    return true;
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
        m_lock.Reset();
        DeleteFileW((m_path + std::wstring(c_lockEnding)).c_str());
    }
}
