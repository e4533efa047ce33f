#include "replay/report/SubmitTimes.h"

#include <algorithm>
#include <numeric>

// Step n holds n for n < 64; then each doubling takes 32 steps:
//
//     ticks   0 1 2 ... 63   64,65  66,67 ... 126,127   128..131 ...
//     step    0 1 2 ... 63   64     65    ... 95        96       ...

std::size_t SubmitTimes::StepOf(pyx_int64 ticks)
{
    const auto value = static_cast<pyx_uint64>(std::max<pyx_int64>(ticks, 0));
    const auto bits = static_cast<unsigned>(std::bit_width(value));
    const unsigned shift = bits > c_exactBits ? bits - c_exactBits : 0;
    return shift * c_stepsPerDoubling + static_cast<std::size_t>(value >> shift);
}

pyx_int64 SubmitTimes::LastOf(std::size_t step)
{
    if (step < 2 * c_stepsPerDoubling)
    {
        return static_cast<pyx_int64>(step);
    }
    const std::size_t shift = step / c_stepsPerDoubling - 1;
    const pyx_uint64 next = (static_cast<pyx_uint64>(step - shift * c_stepsPerDoubling) + 1) << shift;
    return static_cast<pyx_int64>(next - 1);
}

void SubmitTimes::Add(pyx_int64 ticks)
{
    ++m_calls[StepOf(ticks)];
    ++m_count;
    m_longest = std::max(m_longest, ticks);
}

void SubmitTimes::Add(const SubmitTimes& other)
{
    std::transform(m_calls.begin(), m_calls.end(), other.m_calls.begin(), m_calls.begin(), std::plus());
    m_count += other.m_count;
    m_longest = std::max(m_longest, other.m_longest);
}

pyx_int64 SubmitTimes::Percentile(pyx_uint64 percent) const
{
    const pyx_uint64 rank = (m_count * percent + 99) / 100;
    pyx_uint64 below = 0;
    for (std::size_t step = 0; step < m_calls.size() && rank > 0; ++step)
    {
        below += m_calls[step];
        if (below >= rank)
        {
            return std::min(LastOf(step), m_longest);
        }
    }
    return 0;
}

pyx_uint64 SubmitTimes::CountBetween(pyx_int64 from, pyx_int64 to) const
{
    const auto first = m_calls.begin();
    return std::accumulate(first + static_cast<std::ptrdiff_t>(StepOf(from)),
                           first + static_cast<std::ptrdiff_t>(StepOf(to)), pyx_uint64{0});
}
