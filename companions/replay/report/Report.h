#pragma once

#include "recorder/Recorder.h"
#include "replay/Clip.h"
#include "replay/input/MediaReader.h"
#include "replay/Options.h"

#include <chrono>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

/// A clip that was written.
struct ReportedClip
{
    PYXSavedClip clip;
    ClipContents contents;
};

/// One group of pictures as it was handed over. Times are in ticks of the input.
struct ReportedGroup
{
    pyx_int64 start = 0; ///< of the key picture
    pyx_int64 end = 0;   ///< of the picture shown last
    pyx_uint64 pictures = 0;
    pyx_uint64 audioPackets = 0; ///< handed over from its key picture on to the next one
    pyx_uint64 bytes = 0;        ///< of both
    pyx_int64 heldFrom = 0;      ///< start of the oldest group that was kept when this one opened
    pyx_uint64 heldBytes = 0;    ///< kept then, without this group
};

/// What a run did. Threads: one at a time.
struct Report
{
    /// Only the newest groups are kept, at most this many, about a hundred bytes each.
    static constexpr std::size_t c_mostGroups = 20'000;

    /// Called after each packet that the recorder took, with what it kept then and how long it took.
    void Add(const MediaPacket& packet, const PYXRecorderLook& look, std::chrono::nanoseconds taken);

    bool fed = false;                ///< the recorder was open, so there is something to report
    PacketCounts in;                 ///< what went into the recorder
    std::vector<ReportedClip> clips; ///< in the order of the input
    bool savedMeanwhile = false;     ///< a clip was asked for before the end
    pyx_int64 origin = 0;            ///< time stamp of the input's first picture, from which users count
    std::vector<std::string> warnings;
    double secondsTaken = 0;

    /// How long SubmitInput took at most while a clip was asked for or written, and otherwise: wall time, so it
    /// includes other load, and one tells little without the other.
    std::chrono::nanoseconds longestWhileSaving{};
    std::chrono::nanoseconds longestOtherwise{};
    /// How many calls took [2^(n/8), 2^((n+1)/8)) ticks, by n; one below a tick counts as a tick.
    std::map<int, pyx_uint64> submits;

    std::deque<ReportedGroup> groups; ///< in time order
    std::size_t forgotten = 0;        ///< how many groups came before those
    /// Start and end of the stretches with audio. Gaps of less than 10 ms, which is less than half a packet, are left
    /// out.
    std::vector<std::pair<pyx_int64, pyx_int64>> audio;
};

/// A few lines to be read, with a line end each.
std::string ReportAsTable(const Report& report);

/// The same as one JSON object on one line, with the failure if the run failed.
std::string ReportAsJson(const Options& options, const Report& report, const Outcome& run);

/// Writes `options.report`: the page report.html with the run's numbers in it as JSON. CannotWrite: the page could not
/// be written, and an older file of its name is still there.
Outcome WriteReportPage(const Options& options, const Report& report, const Outcome& run);
