#pragma once

#include <string>
#include <thread>

/// Requests that reach a running session from outside: to end the reading, and
/// to save a clip. They come from the console and through a control file.
/// Threads: any, for the three functions below.

/// Ctrl+C, or the console's end, ends the reading instead of the program, so
/// that what is kept is saved; a second Ctrl+C ends the program.
void CatchInterrupt();

/// Whether the reading is to end; stays so.
bool IsInterrupted();

/// Whether a clip was asked for since the last call.
bool TakeSaveRequest();

/// A file that another program appends requests to, a line each: "stop" or
/// "save". The way for signals of a system whose signals do not get here.
///
/// The file's end is a request as well: when it cannot be found any more, the
/// one who could make requests is gone, and the reading ends as with "stop".
/// Watched by a thread of its own, 20 times a second, while the object lives.
class ControlFile
{
public:
    /// An empty path: nothing is watched.
    explicit ControlFile(std::wstring path);

private:
    std::jthread m_thread;
};
