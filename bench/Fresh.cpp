#include "bench/Require.h"
#include "bench/Subject.h"
#include "bench/Suite.h"

#include <benchmark/benchmark.h>

#include <string_view>
#include <vector>
#include <windows.h>

#include <psapi.h>

// Memory that a cache takes from the process. In a process of its own, so that
// nothing freed before is used again, which would hide it.

namespace
{

struct MemoryUse
{
    double workingSet;
    double committed;
};

MemoryUse ReadMemoryUse()
{
    PROCESS_MEMORY_COUNTERS counters{};
    Require(K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters), "the process's memory use");
    return {static_cast<double>(counters.WorkingSetSize), static_cast<double>(counters.PagefileUsage)};
}

/// Feeds `minutes` of the stream into a cache that keeps all of it.
void MeasureCache(benchmark::State& state, Storage storage, int framesPerGroup, int kilobits, double minutes)
{
    PacketSource source(framesPerGroup, kilobits);
    Subject subject(storage, 3600);
    double packets = 0;
    double bytes = 0;
    const auto takeGroup = [&] {
        for (const Packet& packet : source.NextGroup())
        {
            subject.Take(packet);
            bytes += static_cast<double>(packet.pBuffer->GetSize());
            ++packets;
        }
    };
    takeGroup(); // what exists once per process or component is paid now
    packets = 0;
    bytes = 0;
    const MemoryUse before = ReadMemoryUse();
    for (auto _ : state)
    {
        for (double seconds = 0; seconds < minutes * 60; seconds += source.SecondsPerGroup())
        {
            takeGroup();
        }
        state.SetIterationTime(1);
    }
    const MemoryUse after = ReadMemoryUse();
    subject.RequireAllTaken();
    state.counters["working_set_bytes_per_minute"] = (after.workingSet - before.workingSet) / minutes;
    state.counters["bytes_per_packet"] = (after.committed - before.committed) / packets;
    state.counters["payload_bytes_per_minute"] = bytes / minutes;
    state.counters["packets_per_minute"] = packets / minutes;
    if (storage == Storage::Files)
    {
        subject.Keep(1); // the rest need not be written out
    }
}

/// The host's own share: as many buffers of one byte as there are records, each
/// with what the record keeps of a packet.
void MeasureHostBuffers(benchmark::State& state, double minutes)
{
    PacketSource source(120, 1'000);
    const PYXInterfacePtr<HostContext> spContext = HostContext::Create();
    std::vector<PYXInterfacePtr<PYXBuffer>> buffers(200'000);
    size_t count = 0;
    const MemoryUse before = ReadMemoryUse();
    for (auto _ : state)
    {
        for (double seconds = 0; seconds < minutes * 60; seconds += source.SecondsPerGroup())
        {
            for (const Packet& packet : source.NextGroup())
            {
                PYXInterfacePtr<PYXBuffer>& spBuffer = buffers.at(count++);
                Require(spContext->AllocBuffer(PYX_MEMORY_HOST, 1, spBuffer.Out()) == PYX_OK, "a buffer of the host");
                packet.pBuffer->CopyTo(spBuffer.Get(), true);
            }
        }
        state.SetIterationTime(1);
    }
    const MemoryUse after = ReadMemoryUse();
    state.counters["bytes_per_packet"] = (after.committed - before.committed) / static_cast<double>(count);
}

struct FreshBenchmark
{
    const char* name;
    void (*pFunction)(benchmark::State&);
};

constexpr FreshBenchmark c_benchmarks[] = {
    {"Memory/files", [](benchmark::State& state) { MeasureCache(state, Storage::Files, 120, 1'000, 10); }},
    {"Memory/memory", [](benchmark::State& state) { MeasureCache(state, Storage::Memory, 30, 50'000, 1); }},
    {"Memory/host-buffers", [](benchmark::State& state) { MeasureHostBuffers(state, 10); }},
};

} // namespace

void RegisterFresh(const char* name)
{
    for (const FreshBenchmark& row : c_benchmarks)
    {
        if (std::string_view(row.name) == name)
        {
            benchmark::RegisterBenchmark(row.name, row.pFunction)->Iterations(1)->UseManualTime();
        }
    }
}
