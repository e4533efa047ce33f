#pragma once

#include <string>
#include <string_view>

/// A list of the files that a run has completed, for the program that started
/// it: each path, and an empty one at the end of the run; a zero byte after each.
/// Permissions are set by the caller; Wine cannot see them.
/// Threads: any.

/// The file that is appended to; none: nothing is listed.
void ListCompletedIn(const std::wstring& listPath);

/// The file at `path` has its name and its content. Empty: the run's end.
void ListCompleted(std::wstring_view path);
