#pragma once

#include "common/Types.h"

#include <map>

/// How long calls took: a histogram of eight steps per doubling, so that a step
/// is at most an eighth of its time, and a day of calls takes some kilobytes.
/// Threads: one at a time.
class SubmitTimes
{
public:
    /// A time below zero, which a clock that jumps can yield, counts as none.
    void Add(pyx_int64 ticks);
    void Add(const SubmitTimes& other);

    /// Calls that took [start of their step, start of the next step) ticks, by the former; steps without calls are left
    /// out.
    const std::map<pyx_int64, pyx_uint64>& Steps() const
    {
        return m_steps;
    }

    static pyx_int64 EndOfStep(pyx_int64 start);

    pyx_uint64 Count() const;

    /// Exact.
    pyx_int64 Longest() const
    {
        return m_longest;
    }

    /// The time that `percent` of the calls did not exceed, rounded up to its
    /// step's end. 0 without calls.
    pyx_int64 Percentile(pyx_uint64 percent) const;

private:
    std::map<pyx_int64, pyx_uint64> m_steps;
    pyx_int64 m_longest = 0;
};
