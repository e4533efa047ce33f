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
// lets an old group go. Module and floor take one group each in turns.

namespace
{

constexpr int c_fullBitRate = 50'000;   // kbit/s
constexpr int c_lowBitRate = 1'000;     // where only the number of packets and groups matters
constexpr int c_allKeysBitRate = 9'600; // 20,000 bytes a picture, each a group

struct IntakeCase
{
    int picturesPerGroup;
    int seconds;  // kept
    int kilobits; // per second of video
    int measuredGroups;
};

void Report(Counters* pCounters, const std::string& name, Cost* pCost)
{
    (*pCounters)[name + "_video_us"] = pCost->PerVideoPacket();
    (*pCounters)[name + "_start_us"] = pCost->Of(PacketKind::Start).Median();
    (*pCounters)[name + "_regular_us"] = pCost->Of(PacketKind::Regular).Median();
    (*pCounters)[name + "_audio_us"] = pCost->Of(PacketKind::Audio).Median();
}

void Measure(Counters* pCounters, const IntakeCase& what, PacketSource* pSource, std::vector<Taker> takers)
{
    constexpr size_t c_dropped = 4; // until what a group frees serves the next one
    for (size_t i = 0; i < GroupsKept(what.seconds, *pSource) + c_dropped; ++i)
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
        InTurns(static_cast<size_t>(i), takers,
                [&](Taker& taker) { std::ranges::for_each(group, [&](const Packet& packet) { taker.Take(packet); }); });
    }
    std::ranges::for_each(takers, [&](Taker& taker) { Report(pCounters, taker.name, &taker.cost); });
}

void IntakeIntoFiles(Counters* pCounters, const IntakeCase& what)
{
    PacketSource source(what.picturesPerGroup, what.kilobits);
    Subject subject(Storage::Files, what.seconds);
    FileFloor floor(subject.Context(), GroupsKept(what.seconds, source), FloorDirectory());
    Measure(pCounters, what, &source, {{"module", &subject}, {"floor", &floor}});
    subject.RequireAllTaken();
    Require(DirectoryContent(ModuleDirectory()) == DirectoryContent(FloorDirectory()),
            "the module and its floor must hold the same bytes in as many files");
    subject.Keep(1); // the rest need not be written out
}

void IntakeIntoMemory(Counters* pCounters, const IntakeCase& what)
{
    PacketSource source(what.picturesPerGroup, what.kilobits);
    Subject subject(Storage::Memory, what.seconds);
    MemoryFloor floor(subject.Context(), GroupsKept(what.seconds, source), source.BytesPerGroup());
    Measure(pCounters, what, &source, {{"module", &subject}, {"floor", &floor}});
    subject.RequireAllTaken();
}

template <class Intake> void RegisterCase(const char* mode, Intake intake, const IntakeCase& what, int repetitions)
{
    Register(std::string("Intake/") + mode + "/group:" + std::to_string(what.picturesPerGroup) +
                 "/duration:" + std::to_string(what.seconds) + "/kbit:" + std::to_string(what.kilobits),
             repetitions, intake, what);
}

} // namespace

void RegisterIntake(const Effort& effort)
{
    std::vector<IntakeCase> cases;
    for (const int pictures : effort.quick ? std::vector{30, 120, 480} : std::vector{30, 60, 120, 240, 480})
    {
        const int groups = std::max(3, (effort.quick ? 8 : 16) * PacketSource::c_picturesPerSecond / pictures);
        cases.push_back({pictures, 30, c_fullBitRate, groups});
    }
    for (const int seconds : effort.quick ? std::vector{30, 600} : std::vector{30, 120, 600})
    {
        cases.push_back({120, seconds, c_lowBitRate, 64});
    }
    for (const IntakeCase& what : cases)
    {
        RegisterCase("files", IntakeIntoFiles, what, effort.Repetitions());
        RegisterCase("memory", IntakeIntoMemory, what, effort.Repetitions());
    }
    // As many files would only measure the file system.
    RegisterCase("memory", IntakeIntoMemory, {1, 600, c_allKeysBitRate, 960}, effort.quick ? 1 : 3);
}
