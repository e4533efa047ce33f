#pragma once

#include "replay/Options.h"

#include <chrono>

/// Shows on standard error how far the reading of the input is.
///
///     [############------------------]  40%  01:12 of 03:00  3.1 MB
///     reading:  40%  01:12 of 03:00  3.1 MB
///
/// A bar is drawn ten times a second, no wider than the terminal, and has its
/// line for itself: call Clear() before printing something else.
class Progress
{
public:
    explicit Progress(ProgressStyle style) : m_style(style)
    {
    }

    /// Called with every packet. `total` in ticks; 0 when it is not known: then no share is shown.
    void Show(pyx_int64 elapsed, pyx_int64 total, pyx_uint64 bytes);

    /// Takes the bar off its line, until the next Show().
    void Clear();

private:
    using Clock = std::chrono::steady_clock;

    bool IsDue(int percent);

    ProgressStyle m_style;
    Clock::time_point m_shown = Clock::now();
    int m_shownPercent = 0;
    bool m_drawn = false;
};
