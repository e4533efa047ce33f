#pragma once

#include "common/Types.h"

#include <array>
#include <chrono>
#include <deque>
#include <map>
#include <vector>

/// A packet that the recorder took. Times in ticks.
struct SubmittedPacket
{
    bool video;
    bool key; ///< of video: it starts a group
    pyx_int64 pts;
    pyx_int64 duration;
    std::size_t bytes;
    std::chrono::nanoseconds taken; ///< how long the recorder took, as the host felt it
    // What is kept after it; of a key picture.
    pyx_int64 heldFrom;   ///< start of the oldest group
    pyx_uint64 heldBytes; ///< of all groups
};

/// What a clip was made of.
struct SavedStretch
{
    pyx_int64 from = 0;   ///< start of the first group
    pyx_int64 to = 0;     ///< end of the clip's last picture; pictures from here on were cut
    pyx_int64 newest = 0; ///< end of the newest picture submitted
};

/// What became of a group of pictures.
enum class GroupFate
{
    Kept,    ///< at the end of a run: in no clip
    Dropped, ///< was older than what is kept
    Written,
    Cut, ///< written up to TimelineGroup::cutAt
};

/// One group of pictures. Times are in ticks of the input.
struct TimelineGroup
{
    pyx_int64 start = 0; ///< of the key picture
    pyx_int64 end = 0;   ///< of the picture shown last
    pyx_uint64 pictures = 0;
    pyx_uint64 audioPackets = 0;
    pyx_uint64 bytes = 0;
    GroupFate fate = GroupFate::Kept;
    std::size_t clip = 0; ///< which save it went into, from 1; 0: none
    pyx_int64 cutAt = 0;
    unsigned component = 0;   ///< counts those that took over from each other on a save
    pyx_int64 heldFrom = 0;   ///< start of the oldest group that was kept beside this one
    pyx_uint64 heldBytes = 0; ///< kept when this group opened, without it
};

/// A stretch of the input, [start, end) in ticks.
struct TimelineSpan
{
    pyx_int64 start;
    pyx_int64 end;
};

/// How long calls took: a histogram of eight steps per doubling, so that a step
/// is at most an eighth of its time, and a day of calls takes some kilobytes.
/// Threads: one at a time.
class SubmitTimes
{
public:
    /// A time below zero, which a clock that jumps can yield, counts as none.
    void Add(pyx_int64 ticks);
    void Add(const SubmitTimes& other);

    /// Calls that took [start of their step, start of the next step) ticks, by the former; steps without calls are left
    /// out.
    const std::map<pyx_int64, pyx_uint64>& Steps() const
    {
        return m_steps;
    }

    static pyx_int64 EndOfStep(pyx_int64 start);

    pyx_uint64 Count() const;

    /// Exact.
    pyx_int64 Longest() const
    {
        return m_longest;
    }

    /// The time that `percent` of the calls did not exceed, rounded up to its
    /// step's end. 0 without calls.
    pyx_int64 Percentile(pyx_uint64 percent) const;

private:
    std::map<pyx_int64, pyx_uint64> m_steps;
    pyx_int64 m_longest = 0;
};

/// The kinds of packets whose costs differ.
enum class PacketKind
{
    Start,   ///< video that opens a group
    Regular, ///< other video
    Audio,
};

/// One run as its host saw it, for the report page.
struct TimelineRecord
{
    std::deque<TimelineGroup> groups; ///< in time order
    std::size_t forgotten = 0;        ///< how many groups came before those
    pyx_uint64 bytesOutside = 0;      ///< of packets that fell into no group
    std::vector<pyx_int64> saves;     ///< of each clip the end of the newest picture when it was saved
    /// Where there is audio. Gaps of less than 10 ms, which is less than half a packet, are left out.
    std::vector<TimelineSpan> audio;
    std::array<SubmitTimes, 3> times; ///< by PacketKind
};

/// Watches a run: each packet, and what became of it.
///
/// Of a long run it keeps the last c_mostGroups groups: some hundred bytes each.
/// Threads: one at a time.
class Timeline
{
public:
    static constexpr std::size_t c_mostGroups = 20'000;

    /// Called after each packet.
    void OnSubmitted(const SubmittedPacket& packet);

    /// Called for each clip, between packets.
    void OnSaved(const SavedStretch& stretch);

    const TimelineRecord& Seen() const
    {
        return m_seen;
    }

private:
    void StartGroup(const SubmittedPacket& packet);
    void AddAudio(const SubmittedPacket& packet);
    void AddToAudioLane(const TimelineSpan& span);

    TimelineRecord m_seen;
    std::vector<SubmittedPacket> m_waitingAudio; // came before the first group
};
