#include "bench/Measure.h"
#include "bench/Require.h"
#include "bench/Subject.h"
#include "bench/Suite.h"

#include <windows.h>
#include <psapi.h>

#include <cmath>
#include <vector>

// Memory that a cache takes from the process. In a process of its own, so that
// nothing freed before is used again, which would hide it.

namespace
{

double WorkingSet()
{
    PROCESS_MEMORY_COUNTERS counters{};
    Require(K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters), "the process's memory use");
    return static_cast<double>(counters.WorkingSetSize);
}

/// Private memory of the process in bytes.
struct AddressSpace
{
    static AddressSpace Read()
    {
        AddressSpace all;
        MEMORY_BASIC_INFORMATION region{};
        for (char* p = nullptr; VirtualQuery(p, &region, sizeof region) != 0; p += region.RegionSize)
        {
            if (region.State != MEM_FREE && region.Type == MEM_PRIVATE)
            {
                all.reserved += static_cast<double>(region.RegionSize);
                all.committed += region.State == MEM_COMMIT ? static_cast<double>(region.RegionSize) : 0.0;
            }
        }
        return all;
    }

    double reserved = 0; ///< what is committed included
    double committed = 0;
};

/// Feeds groups and counts what they hold.
struct Feed
{
    void TakeGroup()
    {
        for (const Packet& packet : source.NextGroup())
        {
            pSubject->Take(packet);
            bytes += static_cast<double>(packet.pBuffer->GetSize());
            ++packets;
        }
        ++groups;
    }

    PacketSource source;
    Subject* pSubject;
    double groups = 0;
    double packets = 0;
    double bytes = 0;
};

/// The first component of a process, from loading the module to its end after one
/// packet; then `minutes` of the stream into a cache that keeps all of it; then all but the last second
/// are dropped.
void MeasureCache(Counters* pCounters, Storage storage, int picturesPerGroup, int kilobits, double minutes)
{
    constexpr int c_lastSeconds = 1;
    Feed feed{PacketSource(picturesPerGroup, kilobits), nullptr};
    const Packet first = feed.source.NextGroup().front();
    (*pCounters)["first_packet_us"] = ToMicroseconds(TimeCall([&] { Subject(storage, 3600).Take(first); }));
    Subject subject(storage, 3600);
    feed.pSubject = &subject;
    const AddressSpace before = AddressSpace::Read();
    const double workingSetBefore = WorkingSet();
    while (feed.groups * feed.source.SecondsPerGroup() < minutes * 60)
    {
        feed.TakeGroup();
    }
    const AddressSpace full = AddressSpace::Read();
    (*pCounters)["working_set_bytes_per_minute"] = (WorkingSet() - workingSetBefore) / minutes;
    subject.RequireAllTaken();
    subject.Keep(c_lastSeconds);
    const AddressSpace after = AddressSpace::Read();
    const double left = std::floor(c_lastSeconds / feed.source.SecondsPerGroup()) + 1;
    (*pCounters)["bytes_per_packet"] = (full.committed - before.committed) / feed.packets;
    (*pCounters)["payload_bytes_per_minute"] = feed.bytes / minutes;
    (*pCounters)["payload_bytes_per_group"] = feed.bytes / feed.groups;
    (*pCounters)["reserved_bytes_per_group"] = (full.reserved - before.reserved) / feed.groups;
    (*pCounters)["committed_bytes_per_group"] = (full.committed - before.committed) / feed.groups;
    (*pCounters)["reserved_given_back_per_group"] = (full.reserved - after.reserved) / (feed.groups - left);
    (*pCounters)["committed_given_back_per_group"] = (full.committed - after.committed) / (feed.groups - left);
}

/// The host's own share: as many buffers of one byte as there are records, each
/// with what the record keeps of a packet.
void MeasureHostBuffers(Counters* pCounters, double minutes)
{
    PacketSource source(120, 1'000);
    const PYXInterfacePtr<HostContext> spContext = HostContext::Create();
    std::vector<PYXInterfacePtr<PYXBuffer>> buffers(200'000);
    size_t count = 0;
    const AddressSpace before = AddressSpace::Read();
    for (double seconds = 0; seconds < minutes * 60; seconds += source.SecondsPerGroup())
    {
        for (const Packet& packet : source.NextGroup())
        {
            PYXInterfacePtr<PYXBuffer>& spBuffer = buffers.at(count++);
            Require(spContext->AllocBuffer(PYX_MEMORY_HOST, 1, spBuffer.Out()) == PYX_OK, "a buffer of the host");
            Require(packet.pBuffer->CopyTo(spBuffer.Get(), true) == PYX_OK, "a copied description");
        }
    }
    const AddressSpace after = AddressSpace::Read();
    (*pCounters)["bytes_per_packet"] = (after.committed - before.committed) / static_cast<double>(count);
}

} // namespace

void RegisterFresh()
{
    Register("Memory/files", 1, MeasureCache, Storage::Files, 120, 1'000, 10.0);
    Register("Memory/memory", 1, MeasureCache, Storage::Memory, 40, 50'000, 1.0);
    Register("Memory/host-buffers", 1, MeasureHostBuffers, 10.0);
}
