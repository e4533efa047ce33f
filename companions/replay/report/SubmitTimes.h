#pragma once

#include "common/Types.h"

#include <array>
#include <bit>

/// How long calls took, for any number of calls in the same few kilobytes.
///
/// A histogram: times below 64 ticks are counted apart, longer ones in 32 steps
/// per doubling, so that a step is at most a 32nd of its time.
/// Threads: one at a time.
class SubmitTimes
{
public:
    /// A time below zero, which a clock that jumps can yield, counts as none.
    void Add(pyx_int64 ticks);
    void Add(const SubmitTimes& other);

    pyx_uint64 Count() const
    {
        return m_count;
    }

    /// Exact.
    pyx_int64 Longest() const
    {
        return m_longest;
    }

    /// The time that `percent` of the calls did not exceed, rounded up to its
    /// step's end. 0 without calls.
    pyx_int64 Percentile(pyx_uint64 percent) const;

    /// Calls that took [from, to) ticks; both should be bounds of a step.
    pyx_uint64 CountBetween(pyx_int64 from, pyx_int64 to) const;

private:
    static constexpr unsigned c_exactBits = 6; // below 2^6 ticks each time has a step of its own
    static constexpr std::size_t c_stepsPerDoubling = std::size_t{1} << (c_exactBits - 1);

    static std::size_t StepOf(pyx_int64 ticks);
    static pyx_int64 LastOf(std::size_t step);

    std::array<pyx_uint64, (64 - c_exactBits + 2) * c_stepsPerDoubling> m_calls = {};
    pyx_uint64 m_count = 0;
    pyx_int64 m_longest = 0;
};
