#pragma once

#include "replay/report/SubmitTimes.h"
#include "replay/SessionObserver.h"

#include <array>
#include <deque>
#include <vector>

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
/// Of a long run it keeps the last c_mostGroups groups: some hundred bytes each.
/// Threads: one at a time.
class Timeline : public SessionObserver
{
public:
    static constexpr std::size_t c_mostGroups = 20'000;

    void OnSubmitted(const SubmittedPacket& packet) override;
    void OnSaved(const SavedStretch& stretch) override;

    /// In time order.
    const std::deque<TimelineGroup>& Groups() const
    {
        return m_groups;
    }

    /// How many groups came before those of Groups().
    std::size_t Forgotten() const
    {
        return m_forgotten;
    }

    const std::vector<TimelineSave>& Saves() const
    {
        return m_saves;
    }

    /// Where there is audio. Gaps of less than 10 ms, which is less than half a packet, are left out.
    const std::vector<TimelineSpan>& Audio() const
    {
        return m_audio;
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
    void StartGroup(const SubmittedPacket& packet);
    void AddAudio(const SubmittedPacket& packet);
    void AddToAudioLane(const TimelineSpan& span);

    std::deque<TimelineGroup> m_groups;
    std::size_t m_forgotten = 0;
    pyx_uint64 m_bytesOutside = 0;
    std::vector<SubmittedPacket> m_waitingAudio; // came before the first group
    std::vector<TimelineSave> m_saves;
    std::vector<TimelineSpan> m_audio;
    std::array<SubmitTimes, 3> m_times; // by PacketKind
};
