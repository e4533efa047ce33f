#include "replay/Completed.h"

#include "replay/Text.h"

#include <filesystem>
#include <fstream>
#include <mutex>

namespace
{

std::mutex g_sync;
std::wstring g_listPath; // guarded by g_sync; empty: nothing is listed

} // namespace

void ListCompletedIn(const std::wstring& listPath)
{
    const std::lock_guard lock(g_sync);
    g_listPath = listPath;
}

void ListCompleted(std::wstring_view path)
{
    const std::lock_guard lock(g_sync);
    if (!g_listPath.empty())
    {
        std::ofstream(std::filesystem::path(g_listPath), std::ios::binary | std::ios::app) << PathForUser(path) << '\0';
    }
}
