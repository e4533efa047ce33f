#include "bench/Directory.h"
#include "bench/Floors.h"
#include "bench/Measure.h"
#include "bench/Require.h"
#include "bench/Subject.h"
#include "bench/Suite.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>
#include <vector>

// SubmitInput per packet, with a full cache, so that every start packet also
// lets an old group go. Module and floors take one group each in turns.

namespace
{

constexpr int c_fullBitRate = 50'000; // kbit/s
constexpr int c_lowBitRate = 1'000;   // where only the number of packets and groups matters

struct IntakeCase
{
    int framesPerGroup;
    int seconds;  // kept
    int kilobits; // per second of video
    int measuredGroups;
};

void Report(benchmark::State& state, const std::string& who, Cost* pCost)
{
    state.counters[who + "_us"] = pCost->PerPacket();
    state.counters[who + "_mean_us"] = pCost->MeanPerPacket();
    state.counters[who + "_video_us"] = pCost->PerVideoPacket();
    state.counters[who + "_start_us"] = pCost->Of(PacketKind::Start).Median();
    state.counters[who + "_regular_us"] = pCost->Of(PacketKind::Regular).Median();
    state.counters[who + "_audio_us"] = pCost->Of(PacketKind::Audio).Median();
}

/// More groups than are ever kept.
int GroupsToFill(const IntakeCase& what, const PacketSource& source)
{
    return static_cast<int>(what.seconds / source.SecondsPerGroup()) + 3;
}

void IntakeIntoFiles(benchmark::State& state, const IntakeCase& what)
{
    PacketSource source(what.framesPerGroup, what.kilobits);
    CopyFloor copyFloor(source.BytesPerGroup());
    FileFloor fileFloor(FloorDirectory());
    Subject subject(Storage::Files, what.seconds);

    for (int i = 0; i < GroupsToFill(what, source); ++i)
    {
        const auto group = source.NextGroup();
        TakeAll(group, &subject);
        TakeAll(group, &fileFloor);
    }
    const size_t kept = ReadDirectory(ModuleDirectory()).files / 2;
    while (fileFloor.GroupCount() > kept)
    {
        fileFloor.DropOldest();
    }
    fileFloor.Keep(kept);

    Cost module;
    Cost write;
    Cost copy;
    for (auto _ : state)
    {
        for (int i = 0; i < what.measuredGroups; ++i)
        {
            const auto group = source.NextGroup();
            InTurns(i, [&] { TakeTimed(group, &subject, &module); }, [&] { TakeTimed(group, &fileFloor, &write); });
            TakeTimed(group, &copyFloor, &copy);
        }
        state.SetIterationTime(module.PerPacket() / 1e6);
    }
    subject.RequireAllTaken();
    Require(ReadDirectory(ModuleDirectory()) == ReadDirectory(FloorDirectory()),
            "the module and its floor must hold the same bytes in as many files");
    subject.Keep(1); // the rest need not be written out

    Report(state, "module", &module);
    Report(state, "write", &write);
    Report(state, "copy", &copy);
    state.counters["groups_kept"] = static_cast<double>(kept);
}

void IntakeIntoMemory(benchmark::State& state, const IntakeCase& what)
{
    PacketSource source(what.framesPerGroup, what.kilobits);
    CopyFloor copyFloor(source.BytesPerGroup());
    GrowFloor growFloor;
    Subject subject(Storage::Memory, what.seconds);
    if (what.kilobits == c_lowBitRate)
    {
        for (int i = 0; i < GroupsToFill(what, source); ++i)
        {
            TakeAll(source.NextGroup(), &subject);
        }
    }

    Cost module;
    Cost grow;
    Cost copy;
    for (auto _ : state)
    {
        static int s_round = 0; // goes on over repetitions, which may be a single group each
        for (int i = 0; i < what.measuredGroups; ++i)
        {
            const auto group = source.NextGroup();
            InTurns(
                s_round++, [&] { TakeTimed(group, &subject, &module); }, [&] { TakeTimed(group, &growFloor, &grow); });
            TakeTimed(group, &copyFloor, &copy);
        }
        state.SetIterationTime(module.PerPacket() / 1e6);
    }
    subject.RequireAllTaken();

    Report(state, "module", &module);
    Report(state, "grow", &grow);
    Report(state, "copy", &copy);
}

using IntakeFunction = void (*)(benchmark::State&, const IntakeCase&);

void Register(const char* storage, IntakeFunction pFunction, const IntakeCase& what, int repetitions)
{
    const std::string name = std::string("Intake/") + storage + "/gop:" + std::to_string(what.framesPerGroup) +
                             "/duration:" + std::to_string(what.seconds) + "/kbit:" + std::to_string(what.kilobits);
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) { pFunction(state, what); })
        ->Iterations(1)
        ->Repetitions(repetitions)
        ->UseManualTime();
}

} // namespace

void RegisterIntake(const Effort& effort)
{
    // The main case comes first. In memory a group's cost grows with the square of its length.
    for (const int frames : effort.quick ? std::vector{120, 30, 480} : std::vector{120, 30, 60, 240, 480})
    {
        const int groups = std::max(2, (effort.quick ? 8 : 16) * PacketSource::c_framesPerSecond / frames);
        Register("files", IntakeIntoFiles, {frames, 30, c_fullBitRate, groups}, effort.Repetitions());
        if (frames <= 120 || !effort.quick)
        {
            Register("memory", IntakeIntoMemory, {frames, 30, c_fullBitRate, 1},
                     frames <= 120 && !effort.quick ? 3 : 1);
        }
    }
    for (const int seconds : effort.quick ? std::vector{120} : std::vector{30, 120, 600})
    {
        Register("files", IntakeIntoFiles, {120, seconds, c_lowBitRate, 8}, effort.Repetitions());
        if (!effort.quick)
        {
            Register("memory", IntakeIntoMemory, {120, seconds, c_lowBitRate, 8}, 3);
        }
    }
}
