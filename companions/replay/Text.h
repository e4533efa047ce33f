#pragma once

#include "common/Types.h"
#include "media/Utf8.h" // for all who show a text

#include <string>
#include <string_view>

/// The path that stands for standard input.
inline constexpr std::wstring_view c_standardInput = L"-";

/// A path as the user knows it, and "standard input" for "-". On request of the
/// command line paths are shown as the system below sees them:
/// "\\?\unix\tmp\a.mp4" and "Z:\tmp\a.mp4" become "/tmp/a.mp4".
std::string PathForUser(std::wstring_view path);
void ShowUnixPaths(bool show);

/// As PathForUser, but the file's real name whatever ShowPathAs says.
std::string SystemPath(std::wstring_view path);

/// Paths that begin with `path` are shown with `shown` in its place, from now
/// on. For files that are reached by another name than the user's.
void ShowPathAs(std::wstring path, std::string shown);

/// "1.5 kB", "12.0 MB"; decimal units.
std::string FormatBytes(pyx_uint64 bytes);

/// "01:05" for 65 seconds, "1:00:05" past the hour.
std::string FormatTime(pyx_int64 ticks);

/// "12.345" seconds with `digits` digits after the point.
std::string FormatSeconds(double seconds, int digits);
