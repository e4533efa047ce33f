#include "replay/report/Timeline.h"

#include <algorithm>
#include <ratio>
#include <utility>

namespace
{

using Ticks = std::chrono::duration<pyx_int64, std::ratio<1, PYX_TICKS_PER_SECOND>>;

PacketKind KindOf(const SubmittedPacket& packet)
{
    return !packet.video ? PacketKind::Audio : packet.key ? PacketKind::Start : PacketKind::Regular;
}

} // namespace

void Timeline::OnSubmitted(const SubmittedPacket& packet)
{
    m_times[static_cast<std::size_t>(KindOf(packet))].Add(std::chrono::duration_cast<Ticks>(packet.taken).count());
    if (!packet.video)
    {
        AddToAudioLane({packet.pts, packet.pts + packet.duration});
        AddAudio(packet);
        return;
    }
    if (packet.key)
    {
        StartGroup(packet);
    }
    if (m_groups.empty()) // no picture is kept before the first key picture
    {
        m_bytesOutside += packet.bytes;
        return;
    }
    TimelineGroup& group = m_groups.back();
    group.end = std::max(group.end, packet.pts + packet.duration);
    group.bytes += packet.bytes;
    ++group.pictures;
}

void Timeline::StartGroup(const SubmittedPacket& packet)
{
    TimelineGroup next{.start = packet.pts, .end = packet.pts};
    next.heldFrom = packet.heldFrom;
    next.heldBytes = packet.heldBytes - packet.bytes;
    // A component that takes over starts with this group; what the one before it kept is being saved.
    const bool takesOver = packet.heldFrom >= packet.pts;
    next.component = m_groups.empty() ? 0 : m_groups.back().component + (takesOver ? 1 : 0);
    for (TimelineGroup& group : m_groups)
    {
        const bool dropped =
            group.fate == GroupFate::Kept && group.component == next.component && group.start < packet.heldFrom;
        group.fate = dropped ? GroupFate::Dropped : group.fate;
    }
    m_groups.push_back(next);
    for (const SubmittedPacket& audio : std::exchange(m_waitingAudio, {}))
    {
        AddAudio(audio);
    }
    if (m_groups.size() > c_mostGroups)
    {
        m_groups.pop_front();
        ++m_forgotten;
    }
}

/// To the newest group that starts at or before it, as the component does.
void Timeline::AddAudio(const SubmittedPacket& packet)
{
    if (m_groups.empty())
    {
        m_waitingAudio.push_back(packet);
        return;
    }
    const auto group = std::find_if(m_groups.rbegin(), m_groups.rend(), [&packet](const TimelineGroup& candidate) {
        return candidate.start <= packet.pts;
    });
    if (group == m_groups.rend())
    {
        m_bytesOutside += packet.bytes;
        return;
    }
    ++group->audioPackets;
    group->bytes += packet.bytes;
}

void Timeline::AddToAudioLane(const TimelineSpan& span)
{
    constexpr pyx_int64 smallestGap = PYX_TICKS_PER_SECOND / 100;
    if (m_audio.empty() || span.start - m_audio.back().end >= smallestGap)
    {
        m_audio.push_back(span);
    }
    m_audio.back().end = std::max(m_audio.back().end, span.end);
}

void Timeline::OnSaved(const SavedStretch& stretch)
{
    m_saves.push_back({{stretch.from, stretch.to}, stretch.newest});
    const auto first = std::ranges::find_if(m_groups, [&stretch](const TimelineGroup& group) {
        return group.fate == GroupFate::Kept && group.start >= stretch.from;
    });
    for (auto group = first; group != m_groups.end() && group->component == first->component; ++group)
    {
        const bool cut = group->end > stretch.to;
        group->fate = cut ? GroupFate::Cut : GroupFate::Written;
        group->cutAt = cut ? std::max(group->start, stretch.to) : 0;
        group->clip = m_saves.size();
    }
}
