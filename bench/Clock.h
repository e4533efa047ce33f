#pragma once

#include "common/Types.h"

#include <intrin.h>

/// Time by the processor's own counter, which costs a tenth of what the
/// system's costs under Wine and does not count 100 ns at a time: packets are
/// timed one by one. The counter runs at a fixed rate on every processor of the
/// last decade.
inline pyx_uint64 ReadTicks()
{
    return __rdtsc();
}

/// The counter's rate, found once against the system's clock.
double TicksPerMicrosecond();

/// What two readings cost that enclose nothing.
pyx_uint64 EmptyMeasurement();

inline double ToMicroseconds(pyx_uint64 ticks)
{
    return static_cast<double>(ticks) / TicksPerMicrosecond();
}
