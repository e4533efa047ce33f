#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <thread>

/// What reaches a run from outside, the console and the program that started it,
/// and what it tells that program. Threads: any.

/// Ctrl+C, or the console's end, ends the reading instead of the program, so
/// that what is kept is saved; a second Ctrl+C ends the program.
void CatchInterrupt();

/// Whether the reading is to end; stays so.
bool IsInterrupted();

/// Watches a file that another program appends requests to, a line each: "stop"
/// or "save". The way for signals of a system whose signals do not get here.
///
/// The file's end is a request as well: when it cannot be found any more, the
/// program that makes requests has ended, and the reading ends as with "stop".
/// Looks 20 times a second, on the thread that is returned, which also calls
/// `onSave`, until its owner joins it. Empty `path`: no thread.
std::jthread WatchControlFile(const std::wstring& path, std::function<void()> onSave);

/// Appends to the list of the files that a run has completed: each path when the
/// file has its name and its content, an empty one at the end of the run; a zero
/// byte after each. The program that reads it sets their permissions, which Wine
/// cannot see. Empty `list`: does nothing. Threads: one at a time.
void ListCompleted(const std::wstring& list, std::wstring_view path);
