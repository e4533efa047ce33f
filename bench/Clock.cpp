#include "bench/Clock.h"

#include <algorithm>
#include <windows.h>

namespace
{

constexpr DWORD c_calibrationMilliseconds = 100;

double Calibrate()
{
    LARGE_INTEGER frequency;
    LARGE_INTEGER begin;
    LARGE_INTEGER end;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&begin);
    const pyx_uint64 beginTicks = ReadTicks();
    Sleep(c_calibrationMilliseconds);
    QueryPerformanceCounter(&end);
    const pyx_uint64 endTicks = ReadTicks();
    const double seconds = static_cast<double>(end.QuadPart - begin.QuadPart) / static_cast<double>(frequency.QuadPart);
    return static_cast<double>(endTicks - beginTicks) / (seconds * 1e6);
}

pyx_uint64 MeasureNothing()
{
    pyx_uint64 least = ~0ULL;
    for (int i = 0; i < 1000; ++i)
    {
        const pyx_uint64 begin = ReadTicks();
        least = std::min(least, ReadTicks() - begin);
    }
    return least;
}

} // namespace

double TicksPerMicrosecond()
{
    static const double rate = Calibrate();
    return rate;
}

pyx_uint64 EmptyMeasurement()
{
    static const pyx_uint64 ticks = MeasureNothing();
    return ticks;
}
