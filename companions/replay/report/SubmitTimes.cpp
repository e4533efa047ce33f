#include "replay/report/SubmitTimes.h"

#include <algorithm>
#include <bit>
#include <numeric>

namespace
{

/// 1 below 16 ticks; then each doubling has eight steps.
pyx_int64 StepAt(pyx_int64 ticks)
{
    return std::max<pyx_int64>(1, static_cast<pyx_int64>(std::bit_floor(static_cast<pyx_uint64>(ticks))) / 8);
}

} // namespace

pyx_int64 SubmitTimes::EndOfStep(pyx_int64 start)
{
    return start + StepAt(start);
}

void SubmitTimes::Add(pyx_int64 ticks)
{
    const pyx_int64 time = std::max<pyx_int64>(ticks, 0);
    ++m_steps[time - time % StepAt(time)];
    m_longest = std::max(m_longest, time);
}

void SubmitTimes::Add(const SubmitTimes& other)
{
    for (const auto& [start, calls] : other.m_steps)
    {
        m_steps[start] += calls;
    }
    m_longest = std::max(m_longest, other.m_longest);
}

pyx_uint64 SubmitTimes::Count() const
{
    return std::accumulate(m_steps.begin(), m_steps.end(), pyx_uint64{0},
                           [](pyx_uint64 sum, const auto& step) { return sum + step.second; });
}

pyx_int64 SubmitTimes::Percentile(pyx_uint64 percent) const
{
    const pyx_uint64 rank = (Count() * percent + 99) / 100;
    pyx_uint64 below = 0;
    const auto found = std::ranges::find_if(m_steps, [&](const auto& step) { return (below += step.second) >= rank; });
    return found == m_steps.end() ? 0 : std::min(EndOfStep(found->first) - 1, m_longest);
}
