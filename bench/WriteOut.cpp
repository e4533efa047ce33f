#include "bench/Directory.h"
#include "bench/Floors.h"
#include "bench/Measure.h"
#include "bench/Require.h"
#include "bench/Subject.h"
#include "bench/Suite.h"

#include <benchmark/benchmark.h>

// Terminate with a cache of half a minute, up to the last end mark in the
// muxer; what follows, deleting the files, is trimming's. The floors read the
// same bytes back from files of their own.

namespace
{

constexpr int c_framesPerGroup = 120;
constexpr int c_kilobits = 50'000;
constexpr int c_groups = 15;

/// Ticks from Terminate to the end mark of the muxer's second input.
pyx_uint64 WriteOut(Subject* pSubject, size_t packets)
{
    NullMuxerRecord* const pRecord = MuxerRecord();
    *pRecord = {};
    const pyx_uint64 begin = ReadTicks();
    pSubject->Terminate();
    Require(pRecord->packets == packets && pRecord->endMarks == 2, "every packet must reach the muxer");
    return pRecord->endTicks - begin;
}

pyx_uint64 ReadBack(FileFloor* pFloor, PYXContext* pContext, size_t packets)
{
    return TimeCall([&] { Require(pFloor->ReadBack(pContext) == packets, "the floor must read every packet"); });
}

void WriteOutFiles(benchmark::State& state, int rounds)
{
    Samples module;
    Samples read;
    Samples bareRead;
    size_t packets = 0;
    for (auto _ : state)
    {
        for (int round = 0; round < rounds; ++round)
        {
            PacketSource source(c_framesPerGroup, c_kilobits);
            Subject subject(Storage::Files, 2 * c_groups * c_framesPerGroup / PacketSource::c_framesPerSecond);
            FileFloor floor(FloorDirectory());
            packets = 0;
            for (int i = 0; i < c_groups; ++i)
            {
                const auto group = source.NextGroup();
                TakeAll(group, &subject);
                TakeAll(group, &floor);
                packets += group.size();
            }
            subject.RequireAllTaken();
            InTurns(
                round, [&] { module.Add(WriteOut(&subject, packets)); },
                [&] {
                    InTurns(
                        round / 2, [&] { read.Add(ReadBack(&floor, subject.Context(), packets)); },
                        [&] { bareRead.Add(ReadBack(&floor, nullptr, packets)); });
                });
        }
        state.SetIterationTime(module.Median() / static_cast<double>(packets) / 1e6);
    }
    const auto count = static_cast<double>(packets);
    state.counters["module_us"] = module.Median() / count;
    state.counters["read_us"] = read.Median() / count;
    state.counters["bare_read_us"] = bareRead.Median() / count;
}

} // namespace

void RegisterWriteOut(const Effort& effort)
{
    const int rounds = effort.quick ? 4 : 8;
    benchmark::RegisterBenchmark("WriteOut/files", [=](benchmark::State& state) { WriteOutFiles(state, rounds); })
        ->Iterations(1)
        ->Repetitions(effort.quick ? 1 : 3)
        ->UseManualTime();
}
