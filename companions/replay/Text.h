#pragma once

#include "common/Types.h"
#include "host/Utf8.h" // for all that show a text

#include <string>
#include <string_view>

/// The path that means standard input.
inline constexpr std::wstring_view c_standardInput = L"-";

/// A path as the user knows it: "standard input" for "-", and "/tmp/a.mp4" for "\\?\unix\tmp\a.mp4" of script/replay.
std::string PathForUser(std::wstring_view path);

/// "1.5 kB", "12.0 MB"; decimal units.
std::string FormatBytes(pyx_uint64 bytes);

/// "01:05" for 65 seconds, "1:00:05" past the hour.
std::string FormatTime(pyx_int64 ticks);

inline double ToSeconds(pyx_int64 ticks)
{
    return static_cast<double>(ticks) / PYX_TICKS_PER_SECOND;
}

/// "12.345" seconds with `digits` digits after the point.
std::string FormatSeconds(double seconds, int digits);
