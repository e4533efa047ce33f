// The sample host: plays a media file into the replay buffer and saves the last seconds.

#include "replay/Clip.h"
#include "replay/Completed.h"
#include "replay/Interrupt.h"
#include "replay/Replay.h"
#include "replay/report/ReportPage.h"
#include "replay/Text.h"

#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <cstdlib>

namespace
{

void SetUpConsole()
{
    SetConsoleOutputCP(CP_UTF8);
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY); // line ends as they are: the report is read by programs on other systems
    _setmode(_fileno(stderr), _O_BINARY);
}

/// The runtime library reads the level when the module loads it. A user is told
/// once what went wrong, in words of this program; what the components trace,
/// maybe packet by packet, is for who asks for it.
void SetTraceLevel(bool verbose)
{
    constexpr const char* variable = "PYX_TRACE";
    if (verbose || !std::getenv(variable))
    {
        _putenv_s(variable, verbose ? "info" : "none");
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
    ListCompleted(L"");
    return static_cast<int>(outcome.Code());
}

/// Runs, and writes the page of the run if one was asked for and anything went in.
Outcome RunWithPage(const Options& options, Replay* pReplay)
{
    RETURN_ON_FAILURE(options.report.empty() ? Outcome() : CheckWritable(options.report));
    Outcome outcome = pReplay->Run();
    if (!options.report.empty() && pReplay->HasReport())
    {
        const Outcome written = WriteReportPage(options, pReplay->Result(), outcome);
        outcome = outcome.IsOk() ? written : outcome;
    }
    return outcome;
}

} // namespace

int main()
{
    SetUpConsole();
    Options options;
    std::string text;
    const Outcome understood = ReadCommandLine(&options, &text);
    ListCompletedIn(options.completed);
    if (!understood.IsOk())
    {
        return End(understood, options.json ? ReportAsJson(Report(), understood) : "");
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
    const Outcome outcome = RunWithPage(options, &replay);
    const bool showTable = replay.HasReport() && !options.quiet;
    const std::string table = showTable ? ReportAsTable(replay.Result()) : "";
    return End(outcome, options.json ? ReportAsJson(replay.Result(), outcome) : table);
}
