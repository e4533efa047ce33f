#include "replay/Progress.h"

#include "replay/Text.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace
{

constexpr std::size_t c_longestBar = 30;
constexpr auto c_barInterval = std::chrono::milliseconds(100);
constexpr std::chrono::milliseconds c_plainInterval(10'000);
constexpr int c_plainPercent = 25;

/// Of the terminal, as script/replay says.
std::size_t Columns()
{
    const char* columns = std::getenv("COLUMNS");
    const int number = columns ? std::atoi(columns) : 0;
    return number > 0 ? static_cast<std::size_t>(number) : 80;
}

/// As long as it fits before `line`, so that the terminal does not break the line.
std::string Bar(int percent, std::size_t line)
{
    const std::size_t around = line + 4; // brackets, a space, and the last column stays free
    const std::size_t length = std::min(c_longestBar, Columns() - std::min(Columns(), around));
    std::string bar(static_cast<std::size_t>(percent) * length / 100, '#');
    bar.resize(length, '-');
    return length > 2 ? "[" + bar + "] " : "";
}

} // namespace

Progress::Progress(ProgressStyle style, pyx_int64 total)
    : m_style(style), m_total(total), m_next(Clock::now()), m_nextPercent(c_plainPercent)
{
    m_next += style == ProgressStyle::Plain ? c_plainInterval : std::chrono::milliseconds(0);
}

Progress::~Progress()
{
    Clear();
}

void Progress::Show(pyx_int64 elapsed, pyx_uint64 bytes)
{
    if (m_style == ProgressStyle::None)
    {
        return;
    }
    const int percent = m_total > 0 ? static_cast<int>(std::clamp<pyx_int64>(elapsed, 0, m_total) * 100 / m_total) : 0;
    if (!IsDue(percent))
    {
        return;
    }
    const std::string line = Line(percent, elapsed, bytes);
    if (m_style == ProgressStyle::Plain)
    {
        std::fprintf(stderr, "reading: %s\n", line.c_str());
        return;
    }
    const std::string shown = (Bar(percent, line.size()) + line).substr(0, Columns() - 1);
    std::fprintf(stderr, "\r%s\x1b[K", shown.c_str());
    std::fflush(stderr);
    m_drawn = true;
}

void Progress::Clear()
{
    if (m_drawn)
    {
        std::fputs("\r\x1b[K", stderr);
        std::fflush(stderr);
        m_drawn = false;
    }
}

bool Progress::IsDue(int percent)
{
    const Clock::time_point now = Clock::now();
    const bool isBar = m_style == ProgressStyle::Bar;
    if (now < m_next && (isBar || percent < m_nextPercent))
    {
        return false;
    }
    m_next = now + (isBar ? c_barInterval : c_plainInterval);
    m_nextPercent = percent - percent % c_plainPercent + c_plainPercent;
    return true;
}

std::string Progress::Line(int percent, pyx_int64 elapsed, pyx_uint64 bytes) const
{
    const std::string done = FormatTime(std::max<pyx_int64>(0, elapsed));
    if (m_total <= 0)
    {
        return done + "  " + FormatBytes(bytes);
    }
    char share[8];
    std::snprintf(share, sizeof(share), "%3d%%", percent);
    return std::string(share) + "  " + done + " of " + FormatTime(m_total) + "  " + FormatBytes(bytes);
}
