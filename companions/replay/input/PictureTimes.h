#pragma once

#include "common/Types.h"

#include <compare>
#include <cstddef>
#include <deque>
#include <vector>

/// Finds the presentation times of pictures whose file tells decode times only,
/// from the order in which the pictures are shown.
///
/// The presentation times are the decode times, given out in the order shown:
///
///     decode order    I0 P3 B1 B2 P6 B4 B5
///     decode time      0  1  2  3  4  5  6
///     presentation     0  3  1  2  6  4  5
///
/// A picture's place is known when all pictures that are shown before it are
/// known; the object looks `c_lookahead` pictures ahead, more than encoders put
/// between one that is shown late and those shown before it.
///
/// Times may be in any unit. Threads: one at a time.
class PictureTimes
{
public:
    static constexpr std::size_t c_lookahead = 32;

    /// Where a picture is shown: pictures of a later sequence come after all of
    /// an earlier one, those of one sequence by their number.
    struct Place
    {
        pyx_int64 sequence;
        pyx_int64 number;

        auto operator<=>(const Place&) const = default;
    };

    /// Adds the next picture in decode order; decode times rise.
    void Add(Place place, pyx_int64 decodeTime);

    /// No more pictures will come: all that wait are ready.
    void End();

    /// True when Next may be called.
    bool IsReady() const;

    /// Presentation time of the picture that has waited longest.
    pyx_int64 Next();

private:
    std::deque<Place> m_waiting;    // in decode order
    std::vector<pyx_int64> m_times; // rising; as many as wait, not given to a picture yet
    bool m_ended = false;
};
