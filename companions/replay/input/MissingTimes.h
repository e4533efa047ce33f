#pragma once

#include "replay/input/PictureTimes.h"

#include <optional>

/// Guesses the presentation times of single pictures whose file tells them for
/// most, from their numbers in the order shown and the times of others.
/// Threads: one at a time.
class MissingTimes
{
public:
    /// A picture whose time is known.
    void Learn(PictureTimes::Place place, pyx_int64 pts)
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

    /// Empty: nothing is known of its sequence.
    std::optional<pyx_int64> Guess(PictureTimes::Place place) const
    {
        if (m_ticksPerNumber == 0 || place.sequence != m_known.sequence)
        {
            return std::nullopt;
        }
        return m_pts + (place.number - m_known.number) * m_ticksPerNumber;
    }

private:
    bool m_isKnown = false;
    PictureTimes::Place m_known{};
    pyx_int64 m_pts = 0;
    pyx_int64 m_ticksPerNumber = 0; // 0: not known yet
};
