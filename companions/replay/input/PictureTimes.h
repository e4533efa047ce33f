#pragma once

#include "common/Types.h"

#include <compare>
#include <cstddef>
#include <deque>
#include <optional>
#include <vector>

/// A picture's place in the order shown: by sequence, then by number.
struct PicturePlace
{
    pyx_int64 sequence = 0;
    pyx_int64 number = 0;

    auto operator<=>(const PicturePlace&) const = default;
};

/// Finds the presentation times of pictures whose file has decode times only: they are the decode times, given out in
/// the order shown.
///
///     decode order    I0 P3 B1 B2 P6 B4 B5
///     decode time      0  1  2  3  4  5  6
///     presentation     0  3  1  2  6  4  5
///
/// A time is known when all pictures shown before it are: encoders put fewer than `c_lookahead` pictures between one
/// that is shown late and those shown before it. Times may be in any unit. Threads: one at a time.
class PictureTimes
{
public:
    static constexpr std::size_t c_lookahead = 32;

    /// Adds the next picture in decode order; decode times rise.
    void Add(PicturePlace place, pyx_int64 decodeTime);

    /// Removes the oldest picture and returns its presentation time; empty: later ones decide, unless `hasEnded`.
    std::optional<pyx_int64> Next(bool hasEnded);

private:
    std::deque<PicturePlace> m_waiting; // in decode order
    std::vector<pyx_int64> m_times;     // rising; as many as wait, not given to a picture yet
};

/// Guesses the presentation times that a file lacks of single pictures, from their numbers in the order shown and the
/// times of others. Threads: one at a time.
class MissingTimes
{
public:
    /// A picture whose time is known.
    void Learn(PicturePlace place, pyx_int64 pts);

    /// Empty: nothing is known of its sequence.
    std::optional<pyx_int64> Guess(PicturePlace place) const;

private:
    std::optional<PicturePlace> m_known; // the last one
    pyx_int64 m_pts = 0;                 // of it
    pyx_int64 m_ticksPerNumber = 0;      // 0: not known yet
};
