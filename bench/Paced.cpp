#include "bench/Directory.h"
#include "bench/Floors.h"
#include "bench/Measure.h"
#include "bench/Subject.h"
#include "bench/Suite.h"

#include <windows.h>

#include <algorithm>
#include <utility>
#include <vector>

// What a host feels: packets come when an encoder would give them, both storage
// modes and their floors take each, and every call is timed alone.

namespace
{

constexpr int c_picturesPerGroup = 120;
constexpr int c_kilobits = 50'000;
constexpr int c_seconds = 30; // kept

void ReportQuantiles(Counters* pCounters, const std::string& name, Samples* pSamples)
{
    constexpr std::pair<const char*, double> c_quantiles[] = {
        {"_p50_us", 0.5}, {"_p90_us", 0.9}, {"_p99_us", 0.99}, {"_p999_us", 0.999}, {"_max_us", 1.0}};
    for (const auto& [suffix, share] : c_quantiles)
    {
        (*pCounters)[name + suffix] = pSamples->Quantile(share);
    }
}

/// Calls with video and with audio, and what part of one processor they take.
void Report(Counters* pCounters, Taker taker, double seconds)
{
    Samples video = taker.cost.Video();
    Samples audio = taker.cost.Of(PacketKind::Audio);
    ReportQuantiles(pCounters, taker.name + "_video", &video);
    ReportQuantiles(pCounters, taker.name + "_audio", &audio);
    (*pCounters)[taker.name + "_processor_percent"] = (video.Sum() + audio.Sum()) / (seconds * 1e6) * 100;
}

void WaitUntil(pyx_uint64 ticks)
{
    while (ReadTicks() < ticks)
    {
        Sleep(1);
    }
}

void FeedAtPace(Counters* pCounters, int groups)
{
    PacketSource source(c_picturesPerGroup, c_kilobits);
    const size_t keep = GroupsKept(c_seconds, source);
    Subject files(Storage::Files, c_seconds);
    Subject memory(Storage::Memory, c_seconds);
    FileFloor fileFloor(files.Context(), keep, FloorDirectory());
    MemoryFloor memoryFloor(memory.Context(), keep, source.BytesPerGroup());
    std::vector<Taker> takers{{"files", &files}, {"write", &fileFloor}, {"memory", &memory}, {"copy", &memoryFloor}};
    for (size_t i = 0; i < keep; ++i)
    {
        const auto group = source.NextGroup();
        std::ranges::for_each(takers, [&](const Taker& taker) { std::ranges::for_each(group, taker.take); });
    }
    const pyx_uint64 begin = ReadTicks();
    const pyx_int64 firstPts =
        static_cast<pyx_int64>(keep) * c_picturesPerGroup * PYX_TICKS_PER_SECOND / PacketSource::c_picturesPerSecond;
    size_t round = 0;
    for (int i = 0; i < groups; ++i)
    {
        for (const Packet& packet : source.NextGroup())
        {
            const double microseconds = static_cast<double>(packet.pBuffer->GetPts() - firstPts) / 10;
            WaitUntil(begin + static_cast<pyx_uint64>(microseconds * TicksPerMicrosecond()));
            InTurns(round++, takers, [&](Taker& taker) {
                Sleep(1); // right after another taker its code, and the system's, would be warm
                taker.Take(packet);
            });
        }
    }
    files.RequireAllTaken();
    memory.RequireAllTaken();
    files.Keep(1); // the rest need not be written out
    for (const Taker& taker : takers)
    {
        Report(pCounters, taker, groups * source.SecondsPerGroup());
    }
}

} // namespace

void RegisterPaced(const Effort& effort)
{
    Register("Paced", 1, FeedAtPace, effort.quick ? 4 : 30);
}
