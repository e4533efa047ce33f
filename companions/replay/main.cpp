// The sample host: plays a media file into the replay buffer and saves the last seconds.

#include "replay/Interrupt.h"
#include "replay/Replay.h"
#include "replay/Text.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <io.h>

namespace
{

void SetUpConsole()
{
    SetConsoleOutputCP(CP_UTF8);
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY); // line ends as they are: the report is read by programs on other systems
    _setmode(_fileno(stderr), _O_BINARY);
}

/// The runtime library reads the level when the module loads it. What a failed
/// write-out warns of packet by packet is nothing for a user; who wants it sets
/// the level himself.
void SetTraceLevel(bool verbose)
{
    constexpr const char* variable = "PYX_TRACE";
    if (verbose || !std::getenv(variable))
    {
        _putenv_s(variable, verbose ? "info" : "error");
    }
}

/// Prints the report. Who reads it must not take a part for the whole, so a run
/// whose report cannot be written has failed.
int End(Outcome outcome, const std::string& report)
{
    if (Outcome printed = PrintReport(report); outcome.IsOk())
    {
        outcome = std::move(printed);
    }
    if (!outcome.IsOk())
    {
        std::fprintf(stderr, "replay: %s\n", outcome.Text().c_str());
    }
    return static_cast<int>(outcome.Code());
}

} // namespace

int main()
{
    SetUpConsole();
    Options options;
    std::string text;
    if (const Outcome outcome = ReadCommandLine(&options, &text); !outcome.IsOk())
    {
        return End(outcome, options.json ? ReportAsJson(Report(), outcome) : "");
    }
    if (!text.empty())
    {
        std::fputs(text.c_str(), stdout);
        return 0;
    }
    SetTraceLevel(options.verbose);
    av_log_set_level(options.verbose ? AV_LOG_WARNING : AV_LOG_QUIET);
    CatchInterrupt();
    const ControlFile control(options.control);

    Replay replay(options);
    const Outcome outcome = replay.Run();
    const bool showTable = replay.HasReport() && !options.quiet;
    const std::string table = showTable ? ReportAsTable(replay.Result()) : "";
    return End(outcome, options.json ? ReportAsJson(replay.Result(), outcome) : table);
}
