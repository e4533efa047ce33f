#include "replay/input/PictureTimes.h"

#include <algorithm>

void PictureTimes::Add(PicturePlace place, pyx_int64 decodeTime)
{
    m_waiting.push_back(place);
    m_times.push_back(decodeTime);
}

std::optional<pyx_int64> PictureTimes::Next(bool hasEnded)
{
    if (m_waiting.size() <= (hasEnded ? 0 : c_lookahead))
    {
        return std::nullopt;
    }
    const PicturePlace place = m_waiting.front();
    m_waiting.pop_front();
    // Those that wait and are shown earlier take the times before.
    const auto time = m_times.begin() +
                      std::ranges::count_if(m_waiting, [place](const PicturePlace& other) { return other < place; });
    const pyx_int64 pts = *time;
    m_times.erase(time);
    return pts;
}

void MissingTimes::Learn(PicturePlace place, pyx_int64 pts)
{
    const pyx_int64 numbers = m_known && place.sequence == m_known->sequence ? place.number - m_known->number : 0;
    if (numbers != 0 && (pts - m_pts) / numbers > 0)
    {
        m_ticksPerNumber = (pts - m_pts) / numbers;
    }
    m_known = place;
    m_pts = pts;
}

std::optional<pyx_int64> MissingTimes::Guess(PicturePlace place) const
{
    return m_known && m_ticksPerNumber != 0 && place.sequence == m_known->sequence
               ? std::optional(m_pts + (place.number - m_known->number) * m_ticksPerNumber)
               : std::nullopt;
}
