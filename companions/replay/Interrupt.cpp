#include "replay/Interrupt.h"

#include <windows.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
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
/// end is left for the next.
void TakeNewLines(const std::filesystem::path& path, std::streamoff* pOffset)
{
    std::ifstream file(path, std::ios::binary);
    file.seekg(*pOffset);
    for (std::string line; std::getline(file, line) && !file.eof(); *pOffset = file.tellg())
    {
        Take(line);
    }
}

void Watch(const std::stop_token& token, const std::filesystem::path& path)
{
    std::streamoff offset = 0;
    for (std::error_code unknown; !token.stop_requested(); std::this_thread::sleep_for(std::chrono::milliseconds(50)))
    {
        TakeNewLines(path, &offset);
        if (!std::filesystem::exists(path, unknown) && !unknown)
        {
            g_interrupted = true;
            return;
        }
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
