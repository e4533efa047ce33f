#include "replay/WriteTest.h"

#include "common/Handles.h"
#include "replay/Text.h"

#include <vector>

unsigned long TryToWriteIn(const std::wstring& directory, std::size_t size)
{
    const std::wstring path = directory + L"\\.pyx-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
                              std::to_wstring(GetTickCount64()) + L".probe";
    const PYXFileHandle file(
        CreateFileW(path.c_str(), GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    const DWORD error = GetLastError();
    if (!file)
    {
        return error;
    }
    const std::vector<char> bytes(size);
    DWORD written = 0;
    const bool succeeded = WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    const DWORD writeError = GetLastError();
    return succeeded && written == bytes.size() ? ERROR_SUCCESS : succeeded ? ERROR_DISK_FULL : writeError;
}

std::string WhyUnwritable(const std::wstring& directory, unsigned long long bytes)
{
    if (const unsigned long error = TryToWriteIn(directory, std::size_t{1} << 20); error != ERROR_SUCCESS)
    {
        return SystemReason(error);
    }
    ULARGE_INTEGER room;
    const bool full = GetDiskFreeSpaceExW(directory.c_str(), &room, nullptr, nullptr) && room.QuadPart < bytes;
    return full ? SystemReason(ERROR_DISK_FULL) : "";
}

std::wstring DirectoryOf(const std::wstring& path)
{
    const std::size_t separator = path.find_last_of(L"\\/");
    return separator == std::wstring::npos ? L"." : path.substr(0, separator);
}

Outcome CheckWritable(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)))
    {
        return {ExitCode::CannotWrite,
                "cannot write " + PathForUser(path) +
                    ((attributes & FILE_ATTRIBUTE_DIRECTORY) ? ": it is a directory" : ": it is read-only")};
    }
    if (const DWORD error = TryToWriteIn(DirectoryOf(path), 1); error != ERROR_SUCCESS)
    {
        return {ExitCode::CannotWrite,
                "cannot write " + PathForUser(path) + ": " +
                    (error == ERROR_PATH_NOT_FOUND ? "its directory does not exist"
                                                   : "its directory takes no new files: " + SystemReason(error))};
    }
    return {};
}
