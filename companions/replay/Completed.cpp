#include "replay/Completed.h"

#include "common/Handles.h"
#include "replay/Text.h"

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
    if (g_listPath.empty())
    {
        return;
    }
    const std::string text = PathForUser(path);
    const auto file = PYXOwn<PYXFileOwner>(CreateFileW(g_listPath.c_str(), FILE_APPEND_DATA,
                                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                                       OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    WriteFile(file.get(), text.c_str(), static_cast<DWORD>(text.size() + 1), &written, nullptr);
}
