/// The benchmarks' program.
///
///     pyx-bench [--quick] [--fresh --benchmark_filter=NAME] [options of Google Benchmark] DIRECTORY
///
/// Measures the ring buffer's module beside it. Progress goes to standard error,
/// results to the file that --benchmark_out names.

#include "bench/Clock.h"
#include "bench/Directory.h"
#include "bench/Require.h"
#include "bench/Suite.h"

#include <cstdio>
#include <filesystem>
#include <string_view>
#include <vector>

namespace
{

/// A line per benchmark and repetition; the numbers are read from the file.
class ProgressReporter final : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context&) override
    {
        return true;
    }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        if (!runs.empty() && runs.front().run_type == Run::RT_Iteration)
        {
            std::fprintf(stderr, "%s\n", runs.front().run_name.str().c_str());
        }
    }
};

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    Effort effort;
    bool fresh = false;
    for (int i = 1; i < argc; ++i)
    {
        const std::string_view argument = argv[i];
        effort.quick = effort.quick || argument == "--quick";
        fresh = fresh || argument == "--fresh";
        g_scratchDirectory = argument.starts_with("--") ? g_scratchDirectory : std::filesystem::path(argument);
    }
    Require(std::filesystem::is_directory(g_scratchDirectory), "the last argument must name a directory");
    TicksPerMicrosecond();
    EmptyMeasurement();

    if (fresh)
    {
        RegisterMemory();
    }
    else
    {
        RegisterIntake(effort);
        RegisterPaced(effort);
    }
    ProgressReporter progress;
    Require(benchmark::RunSpecifiedBenchmarks(&progress) > 0, "no benchmark of that name");
    benchmark::Shutdown();
    return 0;
}
