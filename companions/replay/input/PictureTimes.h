#pragma once

#include "common/Types.h"

#include <compare>
#include <cstddef>
#include <deque>
#include <optional>
#include <vector>

/// Where a picture is shown: pictures of a later sequence come after all of an
/// earlier one, those of one sequence by their number.
struct PicturePlace
{
    pyx_int64 sequence = 0;
    pyx_int64 number = 0;

    auto operator<=>(const PicturePlace&) const = default;
};

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

    /// Adds the next picture in decode order; decode times rise.
    void Add(PicturePlace place, pyx_int64 decodeTime);

    /// No more pictures will come.
    void End();

    /// Presentation time of the picture that has waited longest, which then waits
    /// no more; empty: later ones decide.
    std::optional<pyx_int64> Next();

private:
    std::deque<PicturePlace> m_waiting; // in decode order
    std::vector<pyx_int64> m_times;     // rising; as many as wait, not given to a picture yet
    bool m_ended = false;
};

/// Guesses the presentation times of single pictures whose file tells them for
/// most, from their numbers in the order shown and the times of others.
/// Threads: one at a time.
class MissingTimes
{
public:
    /// A picture whose time is known.
    void Learn(PicturePlace place, pyx_int64 pts);

    /// Empty: nothing is known of its sequence.
    std::optional<pyx_int64> Guess(PicturePlace place) const;

private:
    bool m_isKnown = false;
    PicturePlace m_known;           // the last one, once m_isKnown
    pyx_int64 m_pts = 0;            // of it
    pyx_int64 m_ticksPerNumber = 0; // 0: not known yet
};
