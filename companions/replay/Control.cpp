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

void Watch(const std::stop_token& token, const std::filesystem::path& path, const std::function<void()>& onSave)
{
    std::streamoff offset = 0;
    std::error_code unknown;
    while (!token.stop_requested() && (std::filesystem::exists(path, unknown) || unknown))
    {
        std::ifstream file(path, std::ios::binary);
        file.seekg(offset);
        for (std::string line; std::getline(file, line) && !file.eof(); offset = file.tellg()) // only complete lines
        {
            if (line == "save")
            {
                onSave();
            }
            g_interrupted = g_interrupted || line == "stop";
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    g_interrupted = true;
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
