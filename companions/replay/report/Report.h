#pragma once

#include "replay/Clip.h"
#include "replay/report/Timeline.h"

#include <chrono>
#include <string>
#include <vector>

/// What went into the recorder.
struct Intake
{
    pyx_uint64 videoPackets = 0;
    pyx_uint64 audioPackets = 0;
    pyx_uint64 bytes = 0;
};

/// A clip that was written.
struct ReportedClip
{
    PYXSavedClip clip;
    ClipContents contents;
};

/// How long SubmitInput took at most: wall time, so it includes other load, and one tells little without the other.
struct LongestSubmit
{
    std::chrono::nanoseconds whileSaving{}; ///< while a clip was asked for or written
    std::chrono::nanoseconds otherwise{};
};

/// What a run did, for its last lines.
struct Report
{
    /// Called after each packet that the recorder took, with what it kept then and how long it took.
    void Add(const MediaPacket& packet, const PYXRecorderLook& look, std::chrono::nanoseconds taken);

    bool fed = false; ///< the recorder was open, so there is something to report
    Intake in;
    std::vector<ReportedClip> clips; ///< in the order of their saves
    LongestSubmit longestSubmit;
    bool savedMeanwhile = false; ///< a clip was asked for before the end
    pyx_int64 origin = 0;        ///< time stamp of the input's first picture, from which users count
    bool exact = false;
    std::vector<std::string> warnings;
    double secondsTaken = 0;
    Timeline timeline;
};

/// A few lines to be read, with a line end each.
std::string ReportAsTable(const Report& report);

/// The same as one JSON object on one line, with the failure if the run failed.
std::string ReportAsJson(const Report& report, const Outcome& run);
