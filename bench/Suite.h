#pragma once

/// How much is measured.
struct Effort
{
    bool quick = false;

    int Repetitions() const
    {
        return quick ? 2 : 7;
    }
};

/// Each registers the benchmarks of one file. Their times are manual and their
/// results are counters, in microseconds or bytes as the names say; a
/// repetition is one iteration, and the median over repetitions counts.
void RegisterIntake(const Effort& effort);
void RegisterTrim(const Effort& effort);
void RegisterWriteOut(const Effort& effort);
void RegisterCalls(const Effort& effort);
void RegisterProperties(const Effort& effort);

/// Benchmarks that need a process of their own: one of them per run.
void RegisterFresh(const char* name);
