// The sample host: plays a media file into the replay buffer and saves the last seconds.

#include "replay/Control.h"
#include "replay/Replay.h"
#include "replay/Text.h"

#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

void SetUpConsole()
{
    SetConsoleOutputCP(CP_UTF8);
    for (std::FILE* pFile : {stdin, stdout, stderr})
    {
        _setmode(_fileno(pFile), _O_BINARY); // line ends as they are: the report is read by programs on other systems
    }
}

/// The runtime library reads the level when the module loads it. This program reports a failure once, in its own words;
/// what the components trace, maybe packet by packet, is shown on request.
void SetTraceLevel(bool verbose)
{
    constexpr const char* variable = "PYX_TRACE";
    if (verbose || !std::getenv(variable))
    {
        _putenv_s(variable, verbose ? "info" : "none");
    }
}

/// Prints the report; a run whose report cannot be written has failed.
int End(const Options& options, Outcome outcome, const std::string& report)
{
    const bool isPrinted = std::fputs(report.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
    if (!isPrinted && outcome.IsOk())
    {
        const char* why = errno == EINVAL ? "its reader has ended" : std::strerror(errno); // EINVAL: a pipe's
        outcome = {ExitCode::CannotWrite, std::string("the report could not be written to standard output: ") + why};
    }
    if (!outcome.IsOk())
    {
        std::fprintf(stderr, "replay: %s\n", outcome.text.c_str());
    }
    ListCompleted(options.completed, L"");
    return static_cast<int>(outcome.code);
}

} // namespace

int main()
{
    SetUpConsole();
    Options options;
    std::string text;
    if (const Outcome understood = ReadCommandLine(&options, &text); !understood.IsOk() || !text.empty())
    {
        return End(options, understood,
                   understood.IsOk() || !options.json ? text : ReportAsJson(options, {}, understood));
    }
    SetTraceLevel(options.verbose);
    av_log_set_level(options.verbose ? AV_LOG_INFO : AV_LOG_QUIET);
    CatchInterrupt();

    Replay replay(options);
    Outcome outcome = replay.Run();
    const Report& report = replay.Result();
    if (report.fed && !options.report.empty())
    {
        const Outcome written = WriteReportPage(options, report, outcome);
        outcome = outcome.IsOk() ? written : outcome;
    }
    const std::string table = report.fed && !options.quiet ? ReportAsTable(report) : "";
    return End(options, outcome, options.json ? ReportAsJson(options, report, outcome) : table);
}
