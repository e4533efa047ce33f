#include "recorder/Reasons.h"

#include "common/Handles.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace
{

struct ReasonRow
{
    PYX_RESULT result;
    const char* text;
};

constexpr ReasonRow c_reasons[] = {
    {PYX_FAIL, "the operation failed"},
    {PYX_UNEXPECTED, "something unexpected was met"},
    {PYX_ACCESS_DENIED, "access was denied"},
    {PYX_INVALID_ARG, "a value is not allowed"},
    {PYX_OUT_OF_RANGE, "a value is out of range"},
    {PYX_OUT_OF_MEMORY, "out of memory"},
    {PYX_INVALID_POINTER, "a pointer is missing"},
    {PYX_NO_INTERFACE, "an object lacks an interface"},
    {PYX_NOT_IMPLEMENTED, "that is not offered"},
    {PYX_NOT_FOUND, "it was not found"},
    {PYX_NOT_INITIALIZED, "it is not set up"},
    {PYX_FILE_NOT_OPEN, "a file could not be opened"},
    {PYX_EOF, "the end was reached"},
};

/// ERROR_SUCCESS, or why a new file of `size` bytes could not be written.
DWORD TryToWriteIn(const std::wstring& directory, std::size_t size)
{
    const std::wstring path = directory + L"\\.pyx-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
                              std::to_wstring(GetCurrentThreadId()) + L".probe";
    const std::vector<char> bytes(size);
    const auto file = PYXOwn<PYXFileOwner>(
        CreateFileW(path.c_str(), GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    DWORD written = 0;
    if (!file || !WriteFile(file.get(), bytes.data(), static_cast<DWORD>(size), &written, nullptr))
    {
        return GetLastError();
    }
    return written == size ? ERROR_SUCCESS : ERROR_DISK_FULL;
}

} // namespace

std::string PYXReasonOf(PYX_RESULT result)
{
    const auto* row = std::ranges::find(c_reasons, result, &ReasonRow::result);
    return row == std::end(c_reasons) ? "result " + std::to_string(result) : row->text;
}

std::string PYXWhyUnwritable(const std::wstring& directory, pyx_uint64 bytes)
{
    constexpr pyx_uint64 mostTried = 1 << 20;
    if (const DWORD error = TryToWriteIn(directory, std::min(bytes, mostTried)); error != ERROR_SUCCESS)
    {
        return PYXSystemText(error);
    }
    ULARGE_INTEGER room;
    const bool full = GetDiskFreeSpaceExW(directory.c_str(), &room, nullptr, nullptr) && room.QuadPart < bytes;
    return full ? PYXSystemText(ERROR_DISK_FULL) : "";
}

std::wstring PYXDirectoryOf(const std::wstring& path)
{
    const std::size_t separator = path.find_last_of(L"\\/");
    return separator == std::wstring::npos ? L"." : path.substr(0, separator);
}

PYXStatus PYXCheckWritable(const std::wstring& path, pyx_uint64 bytes)
{
    const std::wstring directory = PYXDirectoryOf(path);
    const DWORD there = GetFileAttributesW(path.c_str());
    std::string why;
    if (there != INVALID_FILE_ATTRIBUTES && (there & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)))
    {
        why = (there & FILE_ATTRIBUTE_DIRECTORY) ? "it is a directory" : "it is read-only";
    }
    else if (GetFileAttributesW(directory.c_str()) == INVALID_FILE_ATTRIBUTES)
    {
        why = "its directory does not exist";
    }
    else if (why = PYXWhyUnwritable(directory, bytes); !why.empty())
    {
        why = "its directory takes no such file: " + why;
    }
    return why.empty() ? PYXStatus() : PYXStatus{PYX_FILE_NOT_OPEN, why};
}
