/// The benchmarks' program.
///
///     pyx-bench --temp=DIR [--quick] [--fresh=NAME] [options of Google Benchmark]
///
/// Measures the ring buffer's module beside it. Progress goes to standard error,
/// results to the file that --benchmark_out names.

#include "bench/Clock.h"
#include "bench/Directory.h"
#include "bench/Require.h"
#include "bench/Suite.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>
#include <windows.h>

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

std::wstring FromUtf8(std::string_view text)
{
    const int size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');
    wide.resize(static_cast<size_t>(
        MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()))));
    return wide;
}

/// Takes the value of `--name=value`; false when the argument is another.
bool TakeOption(std::string_view argument, std::string_view name, std::string_view* pValue)
{
    if (!argument.starts_with(name))
    {
        return false;
    }
    *pValue = argument.substr(name.size());
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    Effort effort;
    std::string_view temp;
    std::string_view fresh;
    for (int i = 1; i < argc; ++i)
    {
        const std::string_view argument = argv[i];
        if (argument == "--quick")
        {
            effort.quick = true;
        }
        else if (!TakeOption(argument, "--temp=", &temp) && !TakeOption(argument, "--fresh=", &fresh))
        {
            Require(false, argv[i]);
        }
    }
    SetScratchDirectory(FromUtf8(temp));
    TicksPerMicrosecond();
    EmptyMeasurement();

    if (fresh.empty())
    {
        RegisterIntake(effort);
        RegisterTrim(effort);
        RegisterWriteOut(effort);
        RegisterCalls(effort);
        RegisterProperties(effort);
    }
    else
    {
        RegisterFresh(std::string(fresh).c_str());
    }
    ProgressReporter progress;
    Require(benchmark::RunSpecifiedBenchmarks(&progress) > 0, "no benchmark of that name");
    benchmark::Shutdown();
    return 0;
}
