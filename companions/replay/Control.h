#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <thread>

/// Requests from the console and from the program that started this one, and what is reported to that program.
/// Threads: any.

/// From here on Ctrl+C, or closing the console, ends the reading instead of the program, so that what is kept is saved;
/// a second Ctrl+C ends the program.
void CatchInterrupt();

/// Whether the reading must end; stays true.
bool IsInterrupted();

/// Watches a file that another program appends requests to, a line each: "stop" or "save". Linux signals do not reach a
/// program under Wine, so the script that starts it writes them there. A file that cannot be found any more means
/// "stop": that program has ended. Looks 20 times a second, and calls `onSave`, on the thread returned. Empty `path`:
/// no thread.
std::jthread WatchControlFile(const std::wstring& path, std::function<void()> onSave);

/// Appends the path of a completed file to `list`, and a zero byte; an empty path at the end of the run. The script
/// that reads the list sets the permissions, which Wine cannot. Empty `list`: does nothing. Threads: one at a time.
void ListCompleted(const std::wstring& list, std::wstring_view path);
