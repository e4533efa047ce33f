#pragma once

#include "replay/Options.h"

#include <chrono>

/// Shows on standard error how far the reading of the input is.
///
///     [############------------------]  40%  01:12 of 03:00  3.1 MB
///     reading: 40%  01:12 of 03:00  3.1 MB
///
/// A bar is drawn ten times a second, no wider than the terminal, and has its
/// line for itself: call Clear() before printing something else.
class Progress
{
public:
    /// `total` in ticks; 0 when it is not known: then no share is shown.
    Progress(ProgressStyle style, pyx_int64 total);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();

    /// Called with every packet.
    void Show(pyx_int64 elapsed, pyx_uint64 bytes);

    /// Takes the bar off its line, until the next Show().
    void Clear();

private:
    using Clock = std::chrono::steady_clock;

    bool IsDue(int percent);
    std::string Line(int percent, pyx_int64 elapsed, pyx_uint64 bytes) const;

    ProgressStyle m_style;
    pyx_int64 m_total;
    Clock::time_point m_next; // when to show again
    int m_nextPercent;        // a plain line earlier than that only when it is due by time
    bool m_drawn = false;
};
