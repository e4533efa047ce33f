#include "replay/Interrupt.h"

#include "common/Handles.h"
#include "common/Types.h"

#include <windows.h>

#include <atomic>
#include <chrono>
#include <utility>

namespace
{

std::atomic<bool> g_interrupted{false};
std::atomic<bool> g_saveRequested{false};

BOOL WINAPI OnControl(DWORD event)
{
    if (event == CTRL_C_EVENT)
    {
        return !g_interrupted.exchange(true); // what is not handled here ends the program
    }
    g_interrupted = true;
    Sleep(INFINITE); // the system ends the program when this returns, and after some seconds anyway
    return TRUE;
}

void Take(const std::string& request)
{
    if (request == "stop")
    {
        g_interrupted = true;
    }
    else if (request == "save")
    {
        g_saveRequested = true;
    }
}

/// Takes what was appended to the file since the last call; a line without its
/// end stays in `*pPartial`. False: the file is gone.
bool TakeNewLines(const std::wstring& path, pyx_uint64* pOffset, std::string* pPartial)
{
    const auto file = PYXOwn<PYXFileOwner>(CreateFileW(path.c_str(), GENERIC_READ,
                                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (const DWORD error = GetLastError(); !file)
    {
        return error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND;
    }
    LARGE_INTEGER offset;
    offset.QuadPart = static_cast<LONGLONG>(*pOffset);
    char bytes[256];
    DWORD size = 0;
    if (SetFilePointerEx(file.get(), offset, nullptr, FILE_BEGIN) &&
        ReadFile(file.get(), bytes, sizeof(bytes), &size, nullptr))
    {
        *pOffset += size;
        pPartial->append(bytes, size);
    }
    for (std::size_t end = 0; (end = pPartial->find('\n')) != std::string::npos; pPartial->erase(0, end + 1))
    {
        Take(pPartial->substr(0, end));
    }
    return true;
}

void Watch(const std::stop_token& token, const std::wstring& path)
{
    constexpr auto interval = std::chrono::milliseconds(50);
    pyx_uint64 offset = 0;
    std::string partial;
    while (!token.stop_requested() && TakeNewLines(path, &offset, &partial))
    {
        std::this_thread::sleep_for(interval);
    }
    if (!token.stop_requested())
    {
        g_interrupted = true;
    }
}

} // namespace

void CatchInterrupt()
{
    SetConsoleCtrlHandler(OnControl, TRUE);
}

bool IsInterrupted()
{
    return g_interrupted.load();
}

bool TakeSaveRequest()
{
    return g_saveRequested.exchange(false);
}

ControlFile::ControlFile(std::wstring path)
{
    if (!path.empty())
    {
        m_thread = std::jthread([path = std::move(path)](const std::stop_token& token) { Watch(token, path); });
    }
}
