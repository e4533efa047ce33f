#pragma once

#include "recorder/Recorder.h"
#include "replay/input/MediaReader.h"

#include <chrono>
#include <deque>
#include <map>
#include <utility>
#include <vector>

/// One group of pictures as it was handed over. Times are in ticks of the input.
struct TimelineGroup
{
    pyx_int64 start = 0; ///< of the key picture
    pyx_int64 end = 0;   ///< of the picture shown last
    pyx_uint64 pictures = 0;
    pyx_uint64 audioPackets = 0; ///< handed over from its key picture on to the next one
    pyx_uint64 bytes = 0;        ///< of both
    pyx_int64 heldFrom = 0;      ///< start of the oldest group that was kept when this one opened
    pyx_uint64 heldBytes = 0;    ///< kept then, without this group
};

/// What the report page draws of a run beside its clips.
/// Threads: one at a time.
struct Timeline
{
    /// Of a long run the last so many groups are kept, some hundred bytes each.
    static constexpr std::size_t c_mostGroups = 20'000;

    /// As Report::Add.
    void Add(const MediaPacket& packet, const PYXRecorderLook& look, std::chrono::nanoseconds taken);

    std::deque<TimelineGroup> groups; ///< in time order
    std::size_t forgotten = 0;        ///< how many groups came before those
    /// Start and end of the stretches with audio. Gaps of less than 10 ms, which is less than half a packet, are left
    /// out.
    std::vector<std::pair<pyx_int64, pyx_int64>> audio;
    /// How many calls took [2^(n/8), 2^((n+1)/8)) ticks, by n; one below a tick counts as a tick.
    std::map<int, pyx_uint64> submits;
};
