#include "replay/report/Timeline.h"

#include <algorithm>
#include <ratio>
#include <utility>

namespace
{

constexpr std::size_t c_mostEntries = 2048; // of each series: more than a page can show

using Ticks = std::chrono::duration<pyx_int64, std::ratio<1, PYX_TICKS_PER_SECOND>>;

PacketKind KindOf(const SubmittedPacket& packet)
{
    return !packet.video ? PacketKind::Audio : packet.key ? PacketKind::Start : PacketKind::Regular;
}

/// Shortens a series by joining neighbours: `join(&earlier, later)` answers
/// whether it did.
template <typename T, typename Join> void JoinNeighbours(std::vector<T>* pSeries, Join join)
{
    std::vector<T> joined;
    for (const T& entry : *pSeries)
    {
        if (joined.empty() || !join(&joined.back(), entry))
        {
            joined.push_back(entry);
        }
    }
    *pSeries = std::move(joined);
}

bool JoinGroups(TimelineGroup* pEarlier, const TimelineGroup& later, pyx_uint64 mostJoined)
{
    if (pEarlier->fate != GroupFate::Dropped || later.fate != GroupFate::Dropped ||
        pEarlier->groups + later.groups > mostJoined)
    {
        return false;
    }
    pEarlier->end = std::max(pEarlier->end, later.end);
    pEarlier->groups += later.groups;
    pEarlier->pictures += later.pictures;
    pEarlier->audioPackets += later.audioPackets;
    pEarlier->bytes += later.bytes;
    pEarlier->heldFrom = later.heldFrom;
    pEarlier->peakBytes = std::max(pEarlier->peakBytes, later.peakBytes);
    return true;
}

bool JoinSpans(TimelineSpan* pEarlier, const TimelineSpan& later, pyx_int64 smallestGap)
{
    if (later.start - pEarlier->end >= smallestGap)
    {
        return false;
    }
    pEarlier->end = std::max(pEarlier->end, later.end);
    return true;
}

} // namespace

void Timeline::OnSubmitted(const SubmittedPacket& packet)
{
    const pyx_int64 end = packet.pts + packet.duration;
    if (std::exchange(m_empty, false))
    {
        m_rateStart = packet.pts;
        m_all = {packet.pts, end};
    }
    m_all = {std::min(m_all.start, packet.pts), std::max(m_all.end, end)};
    m_times[static_cast<std::size_t>(KindOf(packet))].Add(std::chrono::duration_cast<Ticks>(packet.taken).count());
    AddToRate(packet.pts, packet.bytes);
    switch (KindOf(packet))
    {
    case PacketKind::Start:
        AddStart(packet);
        break;
    case PacketKind::Regular:
        AddPicture(packet);
        break;
    case PacketKind::Audio:
        AddToAudioLane({packet.pts, end});
        AddAudio(packet.pts, packet.bytes);
        break;
    }
}

void Timeline::AddStart(const SubmittedPacket& packet)
{
    TimelineGroup group;
    group.start = packet.pts;
    m_groups.push_back(group);
    AddPicture(packet);
    for (const WaitingAudio& audio : std::exchange(m_waitingAudio, {}))
    {
        AddAudio(audio.pts, audio.bytes);
    }
    NoteCached();
    JoinDropped();
}

void Timeline::AddPicture(const SubmittedPacket& packet)
{
    // The component stores no picture before the first start packet, nor after a save before the next.
    if (m_groups.empty() || m_groups.back().fate != GroupFate::Kept)
    {
        m_bytesOutside += packet.bytes;
        return;
    }
    TimelineGroup& group = m_groups.back();
    group.end = std::max(group.end, packet.pts + packet.duration);
    group.bytes += packet.bytes;
    ++group.pictures;
    m_cachedBytes += packet.bytes;
    group.peakBytes = m_cachedBytes;
}

/// To the newest cached group that starts at or before it, as the component does.
void Timeline::AddAudio(pyx_int64 pts, pyx_uint64 bytes)
{
    if (m_groups.empty())
    {
        m_waitingAudio.push_back({pts, bytes});
        return;
    }
    const auto group = std::find_if(m_groups.rbegin(), m_groups.rend(),
                                    [pts](const TimelineGroup& candidate) { return candidate.start <= pts; });
    if (group == m_groups.rend() || group->fate != GroupFate::Kept)
    {
        m_bytesOutside += bytes;
        return;
    }
    ++group->audioPackets;
    group->bytes += bytes;
    m_cachedBytes += bytes;
    m_groups.back().peakBytes = m_cachedBytes;
}

void Timeline::OnGroupDropped(const KeptGroup& group)
{
    const auto dropped = std::find_if(m_groups.begin() + static_cast<std::ptrdiff_t>(m_oldest), m_groups.end(),
                                      [&group](const TimelineGroup& candidate) {
                                          return candidate.fate == GroupFate::Kept && candidate.start == group.start;
                                      });
    if (dropped != m_groups.end())
    {
        dropped->fate = GroupFate::Dropped;
        ++m_dropped;
        m_cachedBytes -= dropped->bytes;
    }
}

/// For the newest group, which has just opened: what is cached beside it.
void Timeline::NoteCached()
{
    TimelineGroup& newest = m_groups.back();
    while (m_oldest + 1 < m_groups.size() && m_groups[m_oldest].fate != GroupFate::Kept)
    {
        ++m_oldest;
    }
    newest.heldFrom = m_groups[m_oldest].start;
    newest.heldBytes = m_cachedBytes - newest.bytes;
}

void Timeline::JoinDropped()
{
    if (m_dropped <= c_mostEntries)
    {
        return;
    }
    m_mostJoined *= 2;
    const std::size_t before = m_groups.size();
    JoinNeighbours(&m_groups, [this](TimelineGroup* pEarlier, const TimelineGroup& later) {
        return JoinGroups(pEarlier, later, m_mostJoined);
    });
    m_dropped -= before - m_groups.size();
    m_oldest = 0;
}

void Timeline::OnSaved(const SavedStretch& stretch)
{
    if (stretch.groups.empty())
    {
        return;
    }
    m_saves.push_back({{stretch.from, stretch.to}, stretch.newest});
    for (TimelineGroup& group : m_groups)
    {
        const bool saved = group.fate == GroupFate::Kept && group.start >= stretch.groups.front().start &&
                           group.start <= stretch.groups.back().start;
        if (saved)
        {
            const bool cut = group.end > stretch.to;
            group.fate = cut ? GroupFate::Cut : GroupFate::Written;
            group.cutAt = cut ? std::max(group.start, stretch.to) : 0;
            group.clip = m_saves.size();
            m_cachedBytes -= group.bytes;
        }
    }
}

void Timeline::AddToRate(pyx_int64 pts, pyx_uint64 bytes)
{
    const auto elapsed = static_cast<pyx_uint64>(std::max<pyx_int64>(pts - m_rateStart, 0));
    while (elapsed / static_cast<pyx_uint64>(m_rateStep) >= c_mostEntries)
    {
        DoubleRateStep();
    }
    const std::size_t step = elapsed / static_cast<pyx_uint64>(m_rateStep);
    m_rate.resize(std::max(m_rate.size(), step + 1));
    m_rate[step] += bytes;
}

void Timeline::DoubleRateStep()
{
    m_rateStep *= 2;
    for (std::size_t i = 0; i < m_rate.size(); ++i)
    {
        const pyx_uint64 bytes = std::exchange(m_rate[i], 0);
        m_rate[i / 2] += bytes;
    }
    m_rate.resize((m_rate.size() + 1) / 2);
}

void Timeline::AddToAudioLane(const TimelineSpan& span)
{
    if (m_audio.empty() || !JoinSpans(&m_audio.back(), span, m_smallestGap))
    {
        m_audio.push_back(span);
    }
    while (m_audio.size() > c_mostEntries)
    {
        m_smallestGap *= 2;
        JoinNeighbours(&m_audio, [this](TimelineSpan* pEarlier, const TimelineSpan& later) {
            return JoinSpans(pEarlier, later, m_smallestGap);
        });
    }
}
