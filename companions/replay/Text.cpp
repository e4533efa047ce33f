#include "replay/Text.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>
#include <vector>

namespace
{

template <class... Args> std::string Format(const char* format, Args... args)
{
    char text[64];
    std::snprintf(text, sizeof(text), format, args...);
    return text;
}

} // namespace

std::string PathForUser(std::wstring_view path)
{
    constexpr std::wstring_view onUnix = L"\\\\?\\unix";
    if (path == c_standardInput)
    {
        return "standard input";
    }
    if (!path.starts_with(onUnix))
    {
        return PYXToUtf8(path);
    }
    std::string text = PYXToUtf8(path.substr(onUnix.size()));
    std::ranges::replace(text, '\\', '/');
    return text;
}

std::string FormatBytes(pyx_uint64 bytes)
{
    static constexpr const char* c_units[] = {"bytes", "kB", "MB", "GB", "TB"};
    auto value = static_cast<double>(bytes);
    std::size_t unit = 0;
    for (; value >= 999.95 && unit + 1 < std::size(c_units); ++unit)
    {
        value /= 1000;
    }
    return Format(unit == 0 ? "%.0f %s" : "%.1f %s", value, c_units[unit]);
}

std::string FormatTime(pyx_int64 ticks)
{
    const pyx_int64 seconds = ticks / PYX_TICKS_PER_SECOND;
    const std::string hours = seconds >= 3600 ? Format("%lld:", seconds / 3600) : "";
    return hours + Format("%02lld:%02lld", seconds / 60 % 60, seconds % 60);
}

std::string FormatSeconds(double seconds, int digits)
{
    return Format("%.*f", digits, seconds);
}
