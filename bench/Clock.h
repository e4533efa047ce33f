#pragma once

#include "common/Types.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <thread>

/// Time by the processor's own counter, which costs a tenth of what the
/// system's costs under Wine and does not count 100 ns at a time: packets are
/// timed one by one. The counter runs at a fixed rate on every processor of the
/// last decade.
inline pyx_uint64 ReadTicks()
{
    return ReadTimeStampCounter();
}

/// The counter's rate, found once against the system's clock.
inline double TicksPerMicrosecond()
{
    static const double s_rate = [] {
        using Clock = std::chrono::steady_clock;
        const Clock::time_point begin = Clock::now();
        const pyx_uint64 beginTicks = ReadTicks();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        const std::chrono::duration<double, std::micro> passed = Clock::now() - begin;
        return static_cast<double>(ReadTicks() - beginTicks) / passed.count();
    }();
    return s_rate;
}

/// What two readings cost that enclose nothing, see TimeCall.
inline pyx_uint64 EmptyMeasurement()
{
    static const pyx_uint64 s_ticks = [] {
        pyx_uint64 least = ~0ULL;
        for (int i = 0; i < 1000; ++i)
        {
            const pyx_uint64 begin = ReadTicks();
            MemoryBarrier();
            least = std::min(least, ReadTicks() - begin);
        }
        return least;
    }();
    return s_ticks;
}

inline double ToMicroseconds(pyx_uint64 ticks)
{
    return static_cast<double>(ticks) / TicksPerMicrosecond();
}
