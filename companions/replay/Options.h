#pragma once

#include "common/Types.h"
#include "replay/Outcome.h"

#include <string>
#include <vector>

/// How the progress of reading is shown on standard error.
enum class ProgressStyle
{
    None,
    Plain, ///< a line now and then
    Bar,   ///< one line that is drawn again and again
};

/// As the number of an audio track: none is kept.
inline constexpr int c_noAudio = -1;

/// What the command line asks for.
struct Options
{
    std::wstring input;  ///< full path, or c_standardInput
    std::wstring output; ///< full path, ends in a container's name
    std::wstring temp;   ///< full path of the directory that may hold ours
    std::wstring report; ///< full path of the page of the run, or empty
    pyx_int64 duration = 30;
    bool exact = false; ///< cut the clip at `duration` instead of ending it with the newest picture
    bool ram = false;
    int audio =
        0; ///< track, counted from 1, or c_noAudio; 0: the one that the input marks as its default, else the first
    bool realtime = false;
    bool faststart = false;     ///< the index of an .mp4 or .mov before its packets
    std::vector<double> saveAt; ///< seconds of the input's time, ascending: a clip is saved at each
    bool verbose = false;
    bool quiet = false; ///< nothing but warnings and failures on standard error, no table
    bool json = false;
    ProgressStyle progress = ProgressStyle::None;
    std::wstring control;   ///< file that requests are read from (WatchControlFile), or empty
    std::wstring completed; ///< file that completed files are listed in (ListCompleted), or empty
};

/// Reads the process's command line. `*pText` is the text to print instead of running when help or the version was
/// asked for, else empty. On failure only `json`, `control` and `completed` can be relied on.
Outcome ReadCommandLine(Options* pOptions, std::string* pText);
