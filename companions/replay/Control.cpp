#include "replay/Control.h"

#include "replay/Text.h"

#include <windows.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <utility>

namespace
{

std::atomic<bool> g_interrupted{false};

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

/// Takes what was appended to the file since the last call; a line without its
/// end is left for the next.
void TakeNewLines(const std::filesystem::path& path, std::streamoff* pOffset, const std::function<void()>& onSave)
{
    std::ifstream file(path, std::ios::binary);
    file.seekg(*pOffset);
    for (std::string line; std::getline(file, line) && !file.eof(); *pOffset = file.tellg())
    {
        if (line == "stop")
        {
            g_interrupted = true;
        }
        else if (line == "save")
        {
            onSave();
        }
    }
}

void Watch(const std::stop_token& token, const std::filesystem::path& path, const std::function<void()>& onSave)
{
    std::streamoff offset = 0;
    for (std::error_code unknown; !token.stop_requested(); std::this_thread::sleep_for(std::chrono::milliseconds(50)))
    {
        TakeNewLines(path, &offset, onSave);
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

std::jthread WatchControlFile(const std::wstring& path, std::function<void()> onSave)
{
    return path.empty() ? std::jthread() : std::jthread(Watch, std::filesystem::path(path), std::move(onSave));
}

void ListCompleted(const std::wstring& list, std::wstring_view path)
{
    if (!list.empty())
    {
        std::ofstream(std::filesystem::path(list), std::ios::binary | std::ios::app) << PathForUser(path) << '\0';
    }
}
