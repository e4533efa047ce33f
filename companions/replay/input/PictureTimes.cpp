#include "replay/input/PictureTimes.h"

#include <algorithm>

void PictureTimes::Add(Place place, pyx_int64 decodeTime)
{
    m_waiting.push_back(place);
    m_times.push_back(decodeTime);
}

void PictureTimes::End()
{
    m_ended = true;
}

bool PictureTimes::IsReady() const
{
    return m_ended ? !m_waiting.empty() : m_waiting.size() > c_lookahead;
}

pyx_int64 PictureTimes::Next()
{
    const Place place = m_waiting.front();
    m_waiting.pop_front();
    // Those that wait and are shown earlier take the times before.
    const auto before =
        std::count_if(m_waiting.begin(), m_waiting.end(), [place](const Place& waiting) { return waiting < place; });
    const auto time = m_times.begin() + before;
    const pyx_int64 pts = *time;
    m_times.erase(time);
    return pts;
}
