#pragma once

#include <string>
#include <string_view>

/// A list of the files that a run has completed, for the program that started
/// it: each path as the system below names it, and an empty one when the run has
/// come to its end; a zero byte after each. On a system whose files have rights that
/// this program cannot see, the one who started it sets them.
/// Threads: any.

/// The file that is appended to; none: nothing is listed.
void ListCompletedIn(const std::wstring& listPath);

/// The file at `path` has its name and its content. Empty: the run's end.
void ListCompleted(std::wstring_view path);
