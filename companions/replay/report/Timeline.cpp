#include "replay/report/Timeline.h"

#include <algorithm>
#include <bit>
#include <numeric>
#include <ratio>
#include <utility>

namespace
{

using Ticks = std::chrono::duration<pyx_int64, std::ratio<1, PYX_TICKS_PER_SECOND>>;

PacketKind KindOf(const SubmittedPacket& packet)
{
    return !packet.video ? PacketKind::Audio : packet.key ? PacketKind::Start : PacketKind::Regular;
}

/// 1 below 16 ticks; then each doubling has eight steps.
pyx_int64 StepAt(pyx_int64 ticks)
{
    return std::max<pyx_int64>(1, static_cast<pyx_int64>(std::bit_floor(static_cast<pyx_uint64>(ticks))) / 8);
}

} // namespace

pyx_int64 SubmitTimes::EndOfStep(pyx_int64 start)
{
    return start + StepAt(start);
}

void SubmitTimes::Add(pyx_int64 ticks)
{
    const pyx_int64 time = std::max<pyx_int64>(ticks, 0);
    ++m_steps[time - time % StepAt(time)];
    m_longest = std::max(m_longest, time);
}

void SubmitTimes::Add(const SubmitTimes& other)
{
    for (const auto& [start, calls] : other.m_steps)
    {
        m_steps[start] += calls;
    }
    m_longest = std::max(m_longest, other.m_longest);
}

pyx_uint64 SubmitTimes::Count() const
{
    return std::accumulate(m_steps.begin(), m_steps.end(), pyx_uint64{0},
                           [](pyx_uint64 sum, const auto& step) { return sum + step.second; });
}

pyx_int64 SubmitTimes::Percentile(pyx_uint64 percent) const
{
    const pyx_uint64 rank = (Count() * percent + 99) / 100;
    pyx_uint64 below = 0;
    const auto found = std::ranges::find_if(m_steps, [&](const auto& step) { return (below += step.second) >= rank; });
    return found == m_steps.end() ? 0 : std::min(EndOfStep(found->first) - 1, m_longest);
}

void Timeline::OnSubmitted(const SubmittedPacket& packet)
{
    m_seen.times[static_cast<std::size_t>(KindOf(packet))].Add(std::chrono::duration_cast<Ticks>(packet.taken).count());
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
    if (m_seen.groups.empty()) // no picture is kept before the first key picture
    {
        m_seen.bytesOutside += packet.bytes;
        return;
    }
    TimelineGroup& group = m_seen.groups.back();
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
    next.component = m_seen.groups.empty() ? 0 : m_seen.groups.back().component + (takesOver ? 1 : 0);
    for (TimelineGroup& group : m_seen.groups)
    {
        const bool dropped =
            group.fate == GroupFate::Kept && group.component == next.component && group.start < packet.heldFrom;
        group.fate = dropped ? GroupFate::Dropped : group.fate;
    }
    m_seen.groups.push_back(next);
    for (const SubmittedPacket& audio : std::exchange(m_waitingAudio, {}))
    {
        AddAudio(audio);
    }
    if (m_seen.groups.size() > c_mostGroups)
    {
        m_seen.groups.pop_front();
        ++m_seen.forgotten;
    }
}

/// To the newest group that starts at or before it, as the component does.
void Timeline::AddAudio(const SubmittedPacket& packet)
{
    if (m_seen.groups.empty())
    {
        m_waitingAudio.push_back(packet);
        return;
    }
    const auto group =
        std::find_if(m_seen.groups.rbegin(), m_seen.groups.rend(),
                     [&packet](const TimelineGroup& candidate) { return candidate.start <= packet.pts; });
    if (group == m_seen.groups.rend())
    {
        m_seen.bytesOutside += packet.bytes;
        return;
    }
    ++group->audioPackets;
    group->bytes += packet.bytes;
}

void Timeline::AddToAudioLane(const TimelineSpan& span)
{
    constexpr pyx_int64 smallestGap = PYX_TICKS_PER_SECOND / 100;
    if (m_seen.audio.empty() || span.start - m_seen.audio.back().end >= smallestGap)
    {
        m_seen.audio.push_back(span);
    }
    m_seen.audio.back().end = std::max(m_seen.audio.back().end, span.end);
}

void Timeline::OnSaved(const SavedStretch& stretch)
{
    m_seen.saves.push_back(stretch.newest);
    const auto first = std::ranges::find_if(m_seen.groups, [&stretch](const TimelineGroup& group) {
        return group.fate == GroupFate::Kept && group.start >= stretch.from;
    });
    for (auto group = first; group != m_seen.groups.end() && group->component == first->component; ++group)
    {
        const bool cut = group->end > stretch.to;
        group->fate = cut ? GroupFate::Cut : GroupFate::Written;
        group->cutAt = cut ? std::max(group->start, stretch.to) : 0;
        group->clip = m_seen.saves.size();
    }
}
