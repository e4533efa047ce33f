#include "muxer/DecodeTimes.h"

#include <algorithm>
#include <cstdint>

DecodeTimes::DecodeTimes(std::size_t lookahead) : m_lookahead(lookahead)
{
}

pyx_int64 DecodeTimes::Soonest() const
{
    // Every packet that waits takes a decode time of its own before the next one.
    return m_started ? m_last + static_cast<pyx_int64>(m_waiting.size()) + 1 : INT64_MIN;
}

bool DecodeTimes::Add(pyx_int64 pts)
{
    if (pts < Soonest())
    {
        return false;
    }
    m_waiting.push_back(pts);
    m_places.insert(std::ranges::upper_bound(m_places, pts), pts);
    return true;
}

void DecodeTimes::End()
{
    m_ended = true;
}

bool DecodeTimes::IsReady() const
{
    return m_ended ? !m_waiting.empty() : m_waiting.size() > m_lookahead;
}

pyx_int64 DecodeTimes::Next()
{
    MakePlaces(CountMissingPlaces());
    pyx_int64 dts = std::min(m_places.front(), LatestPossible());
    if (m_started)
    {
        dts = std::max(dts, m_last + 1);
    }
    m_places.erase(m_places.begin());
    m_waiting.pop_front();
    m_last = dts;
    m_started = true;
    return dts;
}

pyx_int64 DecodeTimes::Earliest() const
{
    return std::min(m_places.front(), std::ranges::min(m_waiting));
}

/// How many packets would have to be decoded before a place in the order is
/// free for them. Counts only packets whose place later ones cannot change.
std::ptrdiff_t DecodeTimes::CountMissingPlaces() const
{
    const std::size_t unsettled = m_ended ? 0 : std::min(m_lookahead, c_deepestReordering);
    const std::size_t settled = m_waiting.size() - unsettled;
    std::ptrdiff_t missing = 0;
    for (std::size_t i = 0; i < settled; ++i)
    {
        const auto usable = std::ranges::upper_bound(m_places, m_waiting[i]) - m_places.begin();
        missing = std::max(missing, static_cast<std::ptrdiff_t>(i) + 1 - usable);
    }
    return missing;
}

/// Before the first packet, places are made in front: with the spacing of the
/// pictures that follow. Later there is only room between the last decode time
/// and the next; one place at a time keeps the steps even.
void DecodeTimes::MakePlaces(std::ptrdiff_t count)
{
    if (count == 0)
    {
        return;
    }
    if (m_started)
    {
        m_places.insert(m_places.begin(), m_last + (m_places.front() - m_last) / 2);
        return;
    }
    count = std::min(std::max(count, c_usualReordering), std::ssize(m_places) - 1);
    std::vector<pyx_int64> before(m_places.begin(), m_places.begin() + count);
    const pyx_int64 span = *(m_places.begin() + count) - m_places.front();
    std::ranges::transform(before, before.begin(), [span](pyx_int64 place) { return place - span; });
    m_places.insert(m_places.begin(), before.begin(), before.end());
}

/// The next decode time must leave room for one before each packet that waits.
pyx_int64 DecodeTimes::LatestPossible() const
{
    pyx_int64 latest = m_waiting.front();
    for (std::size_t i = 1; i < m_waiting.size(); ++i)
    {
        latest = std::min(latest, m_waiting[i] - static_cast<pyx_int64>(i));
    }
    return latest;
}
