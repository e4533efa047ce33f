#pragma once

#include "replay/Outcome.h"

#include "common/Types.h"

#include <string>

/// How the progress of reading is shown on standard error.
enum class ProgressStyle
{
    None,
    Plain, ///< a line now and then
    Bar,   ///< one line that is drawn again and again
};

/// What the command line asks for.
struct Options
{
    std::wstring input;  ///< full path
    std::wstring output; ///< full path, ends in a container's name
    std::wstring temp;   ///< full path of the directory that may hold ours
    pyx_int64 duration = 30;
    bool ram = false;
    bool realtime = false;
    bool verbose = false;
    bool json = false;
    ProgressStyle progress = ProgressStyle::None;
};

/// Reads the process's command line. `*pHelp` is the text to print instead of
/// running when help was asked for, else empty.
Outcome ReadCommandLine(Options* pOptions, std::string* pHelp);
