#pragma once

#include "common/Types.h"

#include <cstddef>
#include <deque>
#include <vector>

/// Finds the decode times of a stream whose packets come in decode order with
/// presentation times only.
///
/// The decode times are the presentation times put in order, later by as many
/// places as the stream reorders (`-` are made-up times before the first):
///
///     presentation   0  3  1  2  6  4  5         decode order: I P B B P B B
///     in order       -  0  1  2  3  4  5  6      one place later
///     decode        -1  0  1  2  3  4  5
///
/// By places and not by an amount of time, so that a pause between two pictures
/// does not delay all that follow.
///
/// To know the order, and how deep the stream reorders, the object looks ahead:
/// a packet is ready when `lookahead` later ones are known. When the reordering
/// turns out to be deeper only later on, the decode times move closer together
/// until the missing place is made, which later packets show in time.
///
/// Invariants: decode times rise strictly; none is later than its packet's
/// presentation time. Memory is bounded by the lookahead.
/// Times may be in any unit. Threads: one at a time.
class DecodeTimes
{
public:
    /// Pictures that can precede another in decode order and follow it in
    /// presentation: no codec's decoder keeps more.
    static constexpr std::size_t c_deepestReordering = 16;

    /// How deep encoders usually reorder once they do: a picture between others
    /// that refers to them and is referred to. Many begin with less.
    static constexpr std::ptrdiff_t c_usualReordering = 2;

    /// Shows the depth of all but a stream that begins with a long stretch of
    /// less.
    static constexpr std::size_t c_lookahead = 4 * c_deepestReordering;

    /// A stream that is not reordered needs no lookahead.
    explicit DecodeTimes(std::size_t lookahead);

    /// The earliest time that Add() takes.
    pyx_int64 Soonest() const;

    /// Adds the next packet in decode order. False: its time is so far back
    /// that no decode time is left for it; nothing has changed.
    bool Add(pyx_int64 pts);

    /// No more packets will come: all that wait are ready.
    void End();

    /// True when Next may be called.
    bool IsReady() const;

    /// Decode time of the packet that has waited longest.
    pyx_int64 Next();

    /// The earliest presentation time that is still to be passed; only while
    /// packets wait.
    pyx_int64 Earliest() const;

private:
    std::ptrdiff_t CountMissingPlaces() const;
    void MakePlaces(std::ptrdiff_t count);
    pyx_int64 LatestPossible() const;

    std::size_t m_lookahead;
    std::deque<pyx_int64> m_waiting; // presentation times in decode order
    std::vector<pyx_int64> m_places; // in order: decode times not given away yet, never fewer than wait
    pyx_int64 m_last = 0;            // decode time given last, once m_started
    bool m_started = false;
    bool m_ended = false;
};
