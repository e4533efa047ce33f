#include "replay/Text.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>
#include <vector>

namespace
{

bool g_showUnixPaths = false;

struct ShownPath
{
    std::wstring path;
    std::string shown;
};

std::vector<ShownPath> g_shownPaths;

/// "\\?\unix\a" and "Z:\a" without what stands before "\a"; other paths whole.
std::string_view WithoutDrive(std::string_view path)
{
    for (const std::string_view drive : {"\\\\?\\unix", "Z:", "z:"})
    {
        if (path.starts_with(drive) && path.size() > drive.size())
        {
            return path.substr(drive.size());
        }
    }
    return path;
}

template <class... Args> std::string Format(const char* format, Args... args)
{
    char text[64];
    std::snprintf(text, sizeof(text), format, args...);
    return text;
}

} // namespace

void ShowUnixPaths(bool show)
{
    g_showUnixPaths = show;
}

void ShowPathAs(std::wstring path, std::string shown)
{
    g_shownPaths.push_back({std::move(path), std::move(shown)});
}

std::string PathForUser(std::wstring_view path)
{
    if (path == c_standardInput)
    {
        return "standard input";
    }
    for (const ShownPath& entry : g_shownPaths)
    {
        if (path.starts_with(entry.path))
        {
            return entry.shown + ToUtf8(path.substr(entry.path.size()));
        }
    }
    return SystemPath(path);
}

std::string SystemPath(std::wstring_view path)
{
    const std::string whole = ToUtf8(path);
    std::string text(g_showUnixPaths ? WithoutDrive(whole) : std::string_view(whole));
    if (text.size() < whole.size())
    {
        std::replace(text.begin(), text.end(), '\\', '/');
    }
    return text;
}

std::string FormatBytes(pyx_uint64 bytes)
{
    static constexpr const char* c_units[] = {"kB", "MB", "GB", "TB"};
    if (bytes < 1000)
    {
        return Format("%llu bytes", bytes);
    }
    double value = static_cast<double>(bytes) / 1000;
    std::size_t unit = 0;
    while (value >= 999.95 && unit + 1 < std::size(c_units))
    {
        value /= 1000;
        ++unit;
    }
    return Format("%.1f %s", value, c_units[unit]);
}

std::string FormatTime(pyx_int64 ticks)
{
    const pyx_int64 seconds = ticks / PYX_TICKS_PER_SECOND;
    if (seconds < 3600)
    {
        return Format("%02lld:%02lld", seconds / 60, seconds % 60);
    }
    return Format("%lld:%02lld:%02lld", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

std::string FormatSeconds(double seconds, int digits)
{
    return Format("%.*f", digits, seconds);
}
