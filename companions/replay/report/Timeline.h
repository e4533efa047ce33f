#pragma once

#include "replay/report/SubmitTimes.h"
#include "replay/SessionObserver.h"

#include <vector>

/// What became of a group of pictures.
enum class GroupFate
{
    Kept,    ///< in the cache; at the end of a run: in no clip
    Dropped, ///< was older than what the cache keeps
    Written,
    Cut, ///< written up to TimelineGroup::cutAt
};

/// One group of pictures, or several dropped ones that follow each other. Times
/// are in ticks of the input.
struct TimelineGroup
{
    pyx_int64 start = 0; ///< of the key picture
    pyx_int64 end = 0;   ///< of the picture shown last
    pyx_uint64 groups = 1;
    pyx_uint64 pictures = 0;
    pyx_uint64 audioPackets = 0;
    pyx_uint64 bytes = 0;
    GroupFate fate = GroupFate::Kept;
    std::size_t clip = 0; ///< which save it went into, from 1; 0: none
    pyx_int64 cutAt = 0;
    pyx_int64 heldFrom = 0;   ///< start of the oldest group that was cached beside this one
    pyx_uint64 heldBytes = 0; ///< cached when this group opened, without it
    pyx_uint64 peakBytes = 0; ///< cached when it was complete
};

/// A stretch of the input, [start, end) in ticks.
struct TimelineSpan
{
    pyx_int64 start;
    pyx_int64 end;
};

/// A clip: what of the input it covers, and when it was saved.
struct TimelineSave
{
    TimelineSpan covered;
    pyx_int64 at; ///< end of the newest picture by then
};

/// The kinds of packets whose costs differ.
enum class PacketKind
{
    Start,   ///< video that opens a group
    Regular, ///< other video
    Audio,
};

/// One run as its host saw it, for the report page.
///
/// Memory: some hundred bytes for each group that is cached or in a clip, and a
/// fixed amount for all the rest, however long the run: dropped groups are
/// joined, and the steps of the other series doubled, when they become too many.
/// A group counts as dropped ahead of the start packet that is submitted next.
/// Threads: one at a time.
class Timeline : public SessionObserver
{
public:
    void OnSubmitted(const SubmittedPacket& packet) override;
    void OnGroupDropped(const KeptGroup& group) override;
    void OnSaved(const SavedStretch& stretch) override;

    /// In time order.
    const std::vector<TimelineGroup>& Groups() const
    {
        return m_groups;
    }

    const std::vector<TimelineSave>& Saves() const
    {
        return m_saves;
    }

    /// Where there is audio. A gap of less than half a packet, or in a long run of
    /// a thousandth of it, is not told.
    const std::vector<TimelineSpan>& Audio() const
    {
        return m_audio;
    }

    /// Bytes in each step of RateStep() ticks, from RateStart() on.
    const std::vector<pyx_uint64>& Rate() const
    {
        return m_rate;
    }

    pyx_int64 RateStart() const
    {
        return m_rateStart;
    }

    pyx_int64 RateStep() const
    {
        return m_rateStep;
    }

    /// From the first packet to the last one's end; empty without packets.
    TimelineSpan All() const
    {
        return m_all;
    }

    const SubmitTimes& Times(PacketKind kind) const
    {
        return m_times[static_cast<std::size_t>(kind)];
    }

    /// Bytes of packets that fell into no group.
    pyx_uint64 BytesOutside() const
    {
        return m_bytesOutside;
    }

private:
    struct WaitingAudio
    {
        pyx_int64 pts;
        pyx_uint64 bytes;
    };

    void AddStart(const SubmittedPacket& packet);
    void AddPicture(const SubmittedPacket& packet);
    void AddAudio(pyx_int64 pts, pyx_uint64 bytes);
    void NoteCached();
    void JoinDropped();
    void AddToRate(pyx_int64 pts, pyx_uint64 bytes);
    void DoubleRateStep();
    void AddToAudioLane(const TimelineSpan& span);

    std::vector<TimelineGroup> m_groups;
    std::size_t m_oldest = 0; // no group before it is cached
    pyx_uint64 m_cachedBytes = 0;
    pyx_uint64 m_bytesOutside = 0;
    std::vector<WaitingAudio> m_waitingAudio; // came before the first group
    std::size_t m_dropped = 0;                // entries of dropped groups
    pyx_uint64 m_mostJoined = 1;              // how many groups such an entry may stand for

    bool m_empty = true;
    TimelineSpan m_all = {};
    std::vector<TimelineSave> m_saves;
    std::vector<TimelineSpan> m_audio;
    pyx_int64 m_smallestGap = PYX_TICKS_PER_SECOND / 100; // half a packet: what is shorter is rounding
    pyx_int64 m_rateStart = 0;
    pyx_int64 m_rateStep = PYX_TICKS_PER_SECOND;
    std::vector<pyx_uint64> m_rate;
    std::array<SubmitTimes, 3> m_times; // by PacketKind
};
