#include "replay/WriteTest.h"

#include "common/Handles.h"

#include <vector>

unsigned long TryToWriteIn(const std::wstring& directory)
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
    const std::vector<char> bytes(1024 * 1024); // a nearly full disk still takes a few
    DWORD written = 0;
    const bool succeeded = WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    const DWORD writeError = GetLastError();
    return succeeded && written == bytes.size() ? ERROR_SUCCESS : succeeded ? ERROR_DISK_FULL : writeError;
}

std::wstring DirectoryOf(const std::wstring& path)
{
    const std::size_t separator = path.find_last_of(L"\\/");
    return separator == std::wstring::npos ? L"." : path.substr(0, separator);
}
