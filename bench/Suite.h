#pragma once

#include <benchmark/benchmark.h>

#include <string>

/// How much is measured.
struct Effort
{
    bool quick = false;

    int Repetitions() const
    {
        return quick ? 2 : 7;
    }
};

/// Results of one repetition by name, in microseconds or bytes as the names say.
using Counters = benchmark::UserCounters;

/// Has `measure(pCounters, args...)` run so many times; the median over the
/// repetitions counts.
template <class Measure, class... Args>
void Register(const std::string& name, int repetitions, const Measure& measure, const Args&... args)
{
    const auto run = [=](benchmark::State& state) {
        for (auto _ : state)
        {
            measure(&state.counters, args...);
        }
    };
    benchmark::RegisterBenchmark(name.c_str(), run)->Iterations(1)->Repetitions(repetitions);
}

/// Each registers the benchmarks of one file.
void RegisterIntake(const Effort& effort);
void RegisterPaced(const Effort& effort);

/// Benchmarks that need a process of their own: a filter picks one of them.
void RegisterMemory();
