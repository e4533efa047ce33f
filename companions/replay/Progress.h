#pragma once

#include "replay/Options.h"

#include <chrono>

/// Shows on standard error how far the input has been read, as a bar no wider than the terminal or as plain lines:
///
///     [############------------------]  40%  01:12 of 03:00  3.1 MB
///     reading:  40%  01:12 of 03:00  3.1 MB
class Progress
{
public:
    explicit Progress(ProgressStyle style) : m_style(style)
    {
    }

    /// Called with every packet; a bar is drawn ten times a second, a line printed at every quarter and every ten
    /// seconds. `total` in ticks; 0: not known, so no percentage is shown.
    void Show(pyx_int64 elapsed, pyx_int64 total, pyx_uint64 bytes);

    /// Removes the bar until the next Show(). Called before anything else is printed.
    void Clear();

private:
    using Clock = std::chrono::steady_clock;

    ProgressStyle m_style;
    Clock::time_point m_shown = Clock::now();
    int m_shownPercent = 0;
    bool m_drawn = false;
};
