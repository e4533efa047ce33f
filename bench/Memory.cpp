#include "bench/Measure.h"
#include "bench/Require.h"
#include "bench/Subject.h"
#include "bench/Suite.h"

#include <windows.h>
#include <psapi.h>

// Memory that a cache takes from the process and gives back. In a process of its
// own, so that nothing freed before is used again, which would hide it.

namespace
{

double WorkingSet()
{
    PROCESS_MEMORY_COUNTERS counters{};
    Require(K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters), "the process's memory use");
    return static_cast<double>(counters.WorkingSetSize);
}

/// Fills a cache that keeps so many seconds twice over, then empties it.
void MeasureCache(Counters* pCounters, Storage storage, int picturesPerGroup, int kilobits, int seconds)
{
    PacketSource source(picturesPerGroup, kilobits);
    Subject subject(storage, seconds);
    const size_t kept = GroupsKept(seconds, source);
    double packets = 0;
    double bytes = 0; // of what is kept
    const double before = WorkingSet();
    for (size_t i = 0; i < 2 * kept; ++i)
    {
        for (const Packet& packet : source.NextGroup())
        {
            subject.Take(packet);
            packets += i < kept ? 0 : 1;
            bytes += i < kept ? 0 : static_cast<double>(packet.pBuffer->GetSize());
        }
    }
    subject.RequireAllTaken();
    const double full = WorkingSet();
    subject.Init();
    (*pCounters)["taken_bytes"] = full - before;
    (*pCounters)["given_back_bytes"] = full - WorkingSet();
    (*pCounters)["packets"] = packets;
    (*pCounters)["kept_bytes"] = bytes;
    (*pCounters)["group_bytes"] = bytes / static_cast<double>(kept);
}

} // namespace

void RegisterMemory()
{
    Register("Memory/files", 1, MeasureCache, Storage::Files, 120, 1'000, 600);
    Register("Memory/memory", 1, MeasureCache, Storage::Memory, 120, 50'000, 60);
    Register("Memory/all-keys", 1, MeasureCache, Storage::Memory, 1, 9'600, 600);
}
