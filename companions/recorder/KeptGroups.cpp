#include "recorder/KeptGroups.h"

#include <algorithm>
#include <iterator>
#include <numeric>

pyx_int64 PYXKeptGroups::SecondsNeeded(pyx_int64 asked, pyx_int64 pts, pyx_int64 duration) const
{
    // A longer way from a group's last picture to the next group is a pause, in which no picture is shown.
    constexpr pyx_int64 pause = PYX_TICKS_PER_SECOND;
    const pyx_int64 end = pts + duration;
    pyx_int64 span = m_groups.empty() ? 0 : end - m_groups.front().start;
    for (auto group = m_groups.begin(); group != m_groups.end(); ++group)
    {
        span -= group->Length();
        const pyx_int64 nextStart = std::next(group) == m_groups.end() ? pts : std::next(group)->start;
        const pyx_int64 shownUntil = std::min(nextStart, group->end + pause);
        if (end - shownUntil < asked * PYX_TICKS_PER_SECOND)
        {
            const pyx_int64 roundedUp = span / PYX_TICKS_PER_SECOND + (span % PYX_TICKS_PER_SECOND > 0 ? 1 : 0);
            return std::clamp(roundedUp, asked, c_mostSeconds);
        }
    }
    return asked;
}

void PYXKeptGroups::Start(pyx_int64 pts, pyx_int64 duration, pyx_uint64 bytes)
{
    m_groups.push_back({.start = pts, .end = pts + duration});
    AddPicture(pts, duration, bytes);
}

void PYXKeptGroups::AddPicture(pyx_int64 pts, pyx_int64 duration, pyx_uint64 bytes)
{
    if (m_groups.empty())
    {
        return;
    }
    PYXKeptGroup& group = m_groups.back();
    group.lastPts = pts;
    group.lastDuration = duration;
    group.end = std::max(group.end, pts + duration);
    group.leading += pts < group.start ? 1 : 0;
    Count(bytes);
}

void PYXKeptGroups::AddAudio(pyx_int64 pts, pyx_uint64 bytes)
{
    const auto group = std::find_if(m_groups.rbegin(), m_groups.rend(),
                                    [pts](const PYXKeptGroup& candidate) { return candidate.start <= pts; });
    if (group != m_groups.rend())
    {
        group->hasAudio = true;
    }
    Count(bytes);
}

void PYXKeptGroups::Count(pyx_uint64 bytes)
{
    m_groups.back().bytes += bytes;
    ++m_groups.back().packets;
    m_bytes += bytes;
}

pyx_uint64 PYXKeptGroups::Packets() const
{
    return std::accumulate(m_groups.begin(), m_groups.end(), pyx_uint64{0},
                           [](pyx_uint64 sum, const PYXKeptGroup& group) { return sum + group.packets; });
}

/// From the oldest picture to the newest in decode order, as the component counts it.
pyx_int64 PYXKeptGroups::Span() const
{
    return m_groups.empty() ? 0 : m_groups.back().start + m_groups.back().Length() - m_groups.front().start;
}

pyx_int64 PYXKeptGroups::SecondsForBytes(pyx_uint64 bytes) const
{
    pyx_uint64 rest = m_bytes;
    pyx_int64 span = Span();
    for (auto group = m_groups.begin(); rest > bytes && std::next(group) != m_groups.end(); ++group)
    {
        rest -= group->bytes;
        span -= group->Length();
    }
    // A group is dropped only while more than that is left, hence - 1.
    return std::clamp((span - 1) / PYX_TICKS_PER_SECOND, pyx_int64{1}, c_mostSeconds);
}

void PYXKeptGroups::Trim(pyx_int64 seconds)
{
    pyx_int64 span = Span();
    while (m_groups.size() > 1)
    {
        const PYXKeptGroup& oldest = m_groups.front();
        span -= oldest.Length();
        if (span <= seconds * PYX_TICKS_PER_SECOND)
        {
            break;
        }
        m_bytes -= oldest.bytes;
        m_groups.pop_front();
    }
}
