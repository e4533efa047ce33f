#include "replay/KeptGroups.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace
{

/// A longer way from a group's last picture to the next group is a pause, and
/// no time that the group's pictures are shown for.
constexpr pyx_int64 c_pause = PYX_TICKS_PER_SECOND;

constexpr pyx_int64 c_mostSeconds = std::numeric_limits<pyx_int32>::max();

pyx_int64 RoundUpToSeconds(pyx_int64 ticks)
{
    return ticks / PYX_TICKS_PER_SECOND + (ticks % PYX_TICKS_PER_SECOND > 0 ? 1 : 0);
}

} // namespace

pyx_int64 KeptGroups::SecondsNeeded(pyx_int64 asked, pyx_int64 pts, pyx_int64 duration) const
{
    const pyx_int64 end = pts + duration;
    pyx_int64 span = m_groups.empty() ? 0 : end - m_groups.front().start;
    for (auto group = m_groups.begin(); group != m_groups.end(); ++group)
    {
        span -= group->Length();
        const pyx_int64 nextStart = std::next(group) == m_groups.end() ? pts : std::next(group)->start;
        const pyx_int64 shownUntil = std::min(nextStart, group->end + c_pause);
        if (end - shownUntil < asked * PYX_TICKS_PER_SECOND)
        {
            return std::clamp(RoundUpToSeconds(span), asked, c_mostSeconds);
        }
    }
    return asked;
}

void KeptGroups::Start(pyx_int64 pts, pyx_int64 duration)
{
    m_groups.push_back({pts, pts, duration, pts + duration, 0, false});
}

void KeptGroups::AddPicture(pyx_int64 pts, pyx_int64 duration)
{
    if (m_groups.empty())
    {
        return;
    }
    KeptGroup& group = m_groups.back();
    group.lastPts = pts;
    group.lastDuration = duration;
    group.end = std::max(group.end, pts + duration);
}

void KeptGroups::AddAudio(pyx_int64 pts)
{
    const auto group = std::find_if(m_groups.rbegin(), m_groups.rend(),
                                    [pts](const KeptGroup& candidate) { return candidate.start <= pts; });
    if (group != m_groups.rend())
    {
        group->hasAudio = true;
    }
}

void KeptGroups::AddBytes(pyx_uint64 bytes)
{
    if (!m_groups.empty())
    {
        m_groups.back().bytes += bytes;
    }
}

std::vector<KeptGroup> KeptGroups::Trim(pyx_int64 seconds)
{
    std::vector<KeptGroup> dropped;
    pyx_int64 span = m_groups.empty() ? 0 : m_groups.back().end - m_groups.front().start;
    while (m_groups.size() > 1)
    {
        span -= m_groups.front().Length();
        if (span <= seconds * PYX_TICKS_PER_SECOND)
        {
            break;
        }
        dropped.push_back(m_groups.front());
        m_groups.pop_front();
    }
    return dropped;
}

pyx_int64 KeptGroups::End() const
{
    return m_groups.back().end;
}

pyx_uint64 KeptGroups::Bytes() const
{
    return std::accumulate(m_groups.begin(), m_groups.end(), pyx_uint64{0},
                           [](pyx_uint64 sum, const KeptGroup& group) { return sum + group.bytes; });
}
