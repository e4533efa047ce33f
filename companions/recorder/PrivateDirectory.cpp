#include "recorder/PrivateDirectory.h"

#include "recorder/Reasons.h"

#include <filesystem>
#include <fstream>
#include <string_view>
#include <utility>

namespace
{

namespace fs = std::filesystem;

constexpr const wchar_t* c_name = L"pyx-recorder-";
constexpr const wchar_t* c_lockEnding = L".lock";

/// Content of a lock, so that no other file is taken for one.
constexpr std::string_view c_lockText = "A recorder holds this while it uses the directory of the same name\n";

bool IsRealDirectory(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES &&
           (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == FILE_ATTRIBUTE_DIRECTORY;
}

/// `head`, numbers, `ending`.
bool IsNumbered(std::wstring_view name, std::wstring_view head, std::wstring_view ending)
{
    if (!name.starts_with(head) || !name.ends_with(ending) || name.size() <= head.size() + ending.size())
    {
        return false;
    }
    name.remove_prefix(head.size());
    name.remove_suffix(ending.size());
    return name.find_first_not_of(L"-0123456789") == std::wstring_view::npos;
}

/// As the component names its files.
bool IsStore(const fs::directory_entry& entry, std::wstring_view ending)
{
    return IsNumbered(entry.path().filename().wstring(), L"Temp", ending);
}

/// Calls `visit` with each entry.
template <class Visit> void ForEachEntry(const std::wstring& directory, Visit visit)
{
    std::error_code unreadable;
    for (fs::directory_iterator entry(directory, unreadable); entry != fs::directory_iterator();
         entry.increment(unreadable))
    {
        visit(*entry);
    }
}

/// False while something of ours stays because another program holds it.
bool RemoveStores(const std::wstring& directory)
{
    if (!IsRealDirectory(directory))
    {
        return true;
    }
    bool foreign = false;
    ForEachEntry(directory, [&foreign](const fs::directory_entry& entry) {
        const bool ours = IsStore(entry, L".RBV") || IsStore(entry, L".RBA");
        foreign = foreign || !ours;
        if (ours)
        {
            DeleteFileW(entry.path().c_str());
        }
    });
    return RemoveDirectoryW(directory.c_str()) || foreign || !IsRealDirectory(directory);
}

bool HasLockText(HANDLE lock)
{
    char text[c_lockText.size() + 1];
    DWORD size = 0;
    return ReadFile(lock, text, sizeof(text), &size, nullptr) && std::string_view(text, size) == c_lockText;
}

/// Locked too, because sharing modes do not hold across machines or Wine prefixes.
PYXFileOwner OpenLock(const std::wstring& path, DWORD disposition)
{
    auto lock =
        PYXOwn<PYXFileOwner>(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                         nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
    OVERLAPPED start{};
    if (!lock || LockFileEx(lock.get(), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &start))
    {
        return lock;
    }
    if (disposition == CREATE_NEW) // a sweep came first, and will not know the empty file for ours
    {
        lock.reset();
        DeleteFileW(path.c_str());
    }
    return nullptr;
}

void RemoveLeft(const fs::path& lockPath)
{
    PYXFileOwner lock = OpenLock(lockPath.wstring(), OPEN_EXISTING);
    const std::wstring directory = fs::path(lockPath).replace_extension().wstring();
    if (lock && HasLockText(lock.get()) && RemoveStores(directory)) // else the next sweep needs the lock to know it
    {
        lock.reset();
        DeleteFileW(lockPath.c_str());
    }
}

} // namespace

PYXStatus PYXPrivateDirectory::Sweep(const std::wstring& folder)
{
    const DWORD attributes = GetFileAttributesW(folder.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_DIRECTORY))
    {
        return {PYX_FILE_NOT_OPEN, attributes == INVALID_FILE_ATTRIBUTES ? "it does not exist" : "it is no directory"};
    }
    ForEachEntry(folder, [](const fs::directory_entry& entry) {
        if (IsNumbered(entry.path().filename().wstring(), c_name, c_lockEnding))
        {
            RemoveLeft(entry.path());
        }
    });
    const std::string why = PYXWhyUnwritable(folder, 1);
    return why.empty() ? PYXStatus() : PYXStatus{PYX_FILE_NOT_OPEN, why};
}

PYXStatus PYXPrivateDirectory::Make(const std::wstring& folder)
{
    const std::wstring base = (fs::path(folder) / c_name).wstring() + std::to_wstring(GetCurrentProcessId()) + L"-";
    constexpr unsigned mostNumbers = 1000;
    for (unsigned number = 0; number < mostNumbers; ++number)
    {
        if (Take(base + std::to_wstring(number)))
        {
            return {};
        }
    }
    return {PYX_FILE_NOT_OPEN, "no directory can be made in it"};
}

bool PYXPrivateDirectory::Take(const std::wstring& path)
{
    const std::wstring lockPath = path + c_lockEnding;
    PYXFileOwner lock = OpenLock(lockPath, CREATE_NEW);
    if (!lock)
    {
        return false;
    }
    DWORD written = 0;
    WriteFile(lock.get(), c_lockText.data(), static_cast<DWORD>(c_lockText.size()), &written, nullptr);
    if (!CreateDirectoryW(path.c_str(), nullptr))
    {
        lock.reset();
        DeleteFileW(lockPath.c_str());
        return false;
    }
    m_lock = std::move(lock);
    m_path = path;
    return true;
}

PYXStatus PYXPrivateDirectory::Check() const
{
    return IsRealDirectory(m_path) ? PYXStatus() : PYXStatus{PYX_FILE_NOT_OPEN, "no directory can be made in it"};
}

bool PYXPrivateDirectory::CompleteAudio() const
{
    bool isComplete = true;
    ForEachEntry(m_path, [&isComplete](const fs::directory_entry& entry) {
        if (IsStore(entry, L".RBV"))
        {
            std::error_code unknown;
            const fs::path audio = fs::path(entry.path()).replace_extension(L".RBA");
            isComplete = isComplete && (fs::exists(audio, unknown) || std::ofstream(audio).is_open());
        }
    });
    return isComplete;
}

PYXPrivateDirectory::~PYXPrivateDirectory()
{
    if (m_path.empty())
    {
        return;
    }
    constexpr int mostTries = 20; // 2 s
    int tries = 0;
    for (; tries < mostTries && !RemoveStores(m_path); ++tries)
    {
        Sleep(100);
    }
    m_lock.reset();
    if (tries < mostTries) // else the next sweep removes the rest, and needs the lock to know it
    {
        DeleteFileW((m_path + c_lockEnding).c_str());
    }
}
