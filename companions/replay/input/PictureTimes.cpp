#include "replay/input/PictureTimes.h"

#include <algorithm>

void PictureTimes::Add(PicturePlace place, pyx_int64 decodeTime)
{
    m_waiting.push_back(place);
    m_times.push_back(decodeTime);
}

void PictureTimes::End()
{
    m_ended = true;
}

std::optional<pyx_int64> PictureTimes::Next()
{
    if (m_waiting.size() <= (m_ended ? 0 : c_lookahead))
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
    const pyx_int64 numbers = place.number - m_known.number;
    if (m_isKnown && place.sequence == m_known.sequence && numbers != 0 && (pts - m_pts) / numbers > 0)
    {
        m_ticksPerNumber = (pts - m_pts) / numbers;
    }
    m_known = place;
    m_pts = pts;
    m_isKnown = true;
}

std::optional<pyx_int64> MissingTimes::Guess(PicturePlace place) const
{
    if (m_ticksPerNumber == 0 || place.sequence != m_known.sequence)
    {
        return std::nullopt;
    }
    return m_pts + (place.number - m_known.number) * m_ticksPerNumber;
}
