#include "bench/Directory.h"
#include "bench/Floors.h"
#include "bench/Measure.h"
#include "bench/Require.h"
#include "bench/Subject.h"
#include "bench/Suite.h"

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
    int picturesPerGroup;
    int seconds;  // kept
    int kilobits; // per second of video
    int measuredGroups;
};

void Report(Counters* pCounters, Taker* pTaker)
{
    Cost& cost = pTaker->cost;
    (*pCounters)[pTaker->name + "_us"] = cost.PerPacket();
    (*pCounters)[pTaker->name + "_mean_us"] = cost.MeanPerPacket();
    (*pCounters)[pTaker->name + "_video_us"] = cost.PerVideoPacket();
    (*pCounters)[pTaker->name + "_start_us"] = cost.Of(PacketKind::Start).Median();
    (*pCounters)[pTaker->name + "_regular_us"] = cost.Of(PacketKind::Regular).Median();
    (*pCounters)[pTaker->name + "_audio_us"] = cost.Of(PacketKind::Audio).Median();
}

void Measure(Counters* pCounters, const IntakeCase& what, PacketSource* pSource, std::vector<Taker> takers)
{
    for (size_t i = 0; i < GroupsKept(what.seconds, *pSource); ++i)
    {
        const auto group = pSource->NextGroup();
        for (const Taker& taker : takers)
        {
            std::ranges::for_each(group, taker.take);
        }
    }
    for (int i = 0; i < what.measuredGroups; ++i)
    {
        const auto group = pSource->NextGroup();
        InTurns(static_cast<size_t>(i), takers, [&](Taker& taker) { TakeAll(group, &taker); });
    }
    std::ranges::for_each(takers, [&](Taker& taker) { Report(pCounters, &taker); });
}

void IntakeIntoFiles(Counters* pCounters, const IntakeCase& what)
{
    PacketSource source(what.picturesPerGroup, what.kilobits);
    FileFloor fileFloor(FloorDirectory(), GroupsKept(what.seconds, source));
    Subject subject(Storage::Files, what.seconds);
    Measure(pCounters, what, &source, {{"module", &subject}, {"write", &fileFloor}});
    subject.RequireAllTaken();
    Require(DirectoryContent(ModuleDirectory()) == DirectoryContent(FloorDirectory()),
            "the module and its floor must hold the same bytes in as many files");
    subject.Keep(1); // the rest need not be written out
    (*pCounters)["groups_kept"] = static_cast<double>(GroupsKept(what.seconds, source));
}

void IntakeIntoMemory(Counters* pCounters, const IntakeCase& what)
{
    PacketSource source(what.picturesPerGroup, what.kilobits);
    CommitFloor commitFloor(GroupsKept(what.seconds, source));
    HeapFloor heapFloor(GroupsKept(what.seconds, source));
    Subject subject(Storage::Memory, what.seconds);
    Measure(pCounters, what, &source, {{"module", &subject}, {"commit", &commitFloor}, {"heap", &heapFloor}});
    subject.RequireAllTaken();
    (*pCounters)["bytes_per_packet"] =
        static_cast<double>(source.BytesPerGroup()) / static_cast<double>(source.NextGroup().size());
}

void RegisterCase(const IntakeCase& what, int repetitions)
{
    const std::string name = "/group:" + std::to_string(what.picturesPerGroup) +
                             "/duration:" + std::to_string(what.seconds) + "/kbit:" + std::to_string(what.kilobits);
    Register("Intake/files" + name, repetitions, IntakeIntoFiles, what);
    Register("Intake/memory" + name, repetitions, IntakeIntoMemory, what);
}

} // namespace

void RegisterIntake(const Effort& effort)
{
    for (const int pictures : effort.quick ? std::vector{30, 120, 480} : std::vector{30, 60, 120, 240, 480})
    {
        const int groups = std::max(3, (effort.quick ? 8 : 16) * PacketSource::c_picturesPerSecond / pictures);
        RegisterCase({pictures, 30, c_fullBitRate, groups}, effort.Repetitions());
    }
    for (const int seconds : effort.quick ? std::vector{30, 120} : std::vector{30, 120, 600})
    {
        RegisterCase({120, seconds, c_lowBitRate, 8}, effort.Repetitions());
    }
}
