#include "replay/Progress.h"

#include "replay/Text.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace
{

/// Of the terminal, as script/replay sets it.
std::size_t Columns()
{
    const char* columns = std::getenv("COLUMNS");
    const int number = columns ? std::atoi(columns) : 0;
    return number > 0 ? static_cast<std::size_t>(number) : 80;
}

/// With a bar that is as long as the terminal allows.
std::string WithBar(int percent, const std::string& line)
{
    const std::size_t around = line.size() + 4; // brackets, a space, and the last column stays free
    const std::size_t length = std::min<std::size_t>(30, Columns() - std::min(Columns(), around));
    std::string bar(static_cast<std::size_t>(percent) * length / 100, '#');
    bar.resize(length, '-');
    return ((length > 2 ? "[" + bar + "] " : "") + line).substr(0, Columns() - 1);
}

} // namespace

void Progress::Show(pyx_int64 elapsed, pyx_int64 total, pyx_uint64 bytes)
{
    const int percent = total > 0 ? static_cast<int>(std::min(elapsed, total) * 100 / total) : 0;
    const auto since = Clock::now() - m_shown;
    const bool isBar = m_style == ProgressStyle::Bar;
    const bool isDue = isBar ? since >= std::chrono::milliseconds(100)
                             : since >= std::chrono::seconds(10) || percent / 25 > m_shownPercent / 25;
    if (m_style == ProgressStyle::None || !isDue)
    {
        return;
    }
    m_shown = Clock::now();
    m_shownPercent = percent;
    std::string line = FormatTime(elapsed);
    if (total > 0)
    {
        const std::string share = std::to_string(percent) + "%  ";
        line = std::string(6 - share.size(), ' ') + share + line + " of " + FormatTime(total);
    }
    line += "  " + FormatBytes(bytes);
    m_drawn = isBar;
    std::fprintf(stderr, isBar ? "\r%s\x1b[K" : "reading: %s\n", (isBar ? WithBar(percent, line) : line).c_str());
    std::fflush(stderr);
}

void Progress::Clear()
{
    if (std::exchange(m_drawn, false))
    {
        std::fputs("\r\x1b[K", stderr);
        std::fflush(stderr);
    }
}
