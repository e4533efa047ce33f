#pragma once

#include "common/Types.h"
#include "media/Utf8.h" // for all who show a text

#include <string>
#include <string_view>

/// A path as the user knows it. On request of the command line paths are shown
/// as the system below sees them: "Z:\tmp\a.mp4" becomes "/tmp/a.mp4".
std::string PathForUser(std::wstring_view path);
void ShowUnixPaths(bool show);

/// "1.5 kB", "12.0 MB"; decimal units.
std::string FormatBytes(pyx_uint64 bytes);

/// "01:05" for 65 seconds, "1:00:05" past the hour.
std::string FormatTime(pyx_int64 ticks);

/// "12.345" seconds with `digits` digits after the point.
std::string FormatSeconds(double seconds, int digits);
