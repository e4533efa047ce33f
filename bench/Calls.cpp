#include "bench/Measure.h"
#include "bench/Probes.h"
#include "bench/Require.h"
#include "bench/Subject.h"
#include "bench/Suite.h"

#include <benchmark/benchmark.h>

#include <string>

// Where a packet's time goes. Own: what is left of a call into the module when
// the file operations in it are taken off. Calls: how often and how long the
// module is in each function that it calls.

namespace
{

constexpr int c_framesPerGroup = 120;
constexpr int c_kilobits = 50'000;
constexpr int c_seconds = 30;
constexpr int c_groupsToFill = 18;
constexpr const char* c_kindNames[] = {"start", "regular", "audio"};

/// Feeds groups into a full cache and calls `take` for each packet of a kind.
template <class Take> void FeedFullCache(int groups, PacketKind kind, bool filesOnly, const Take& take)
{
    PacketSource source(c_framesPerGroup, c_kilobits);
    Subject subject(Storage::Files, c_seconds);
    for (int i = 0; i < c_groupsToFill; ++i)
    {
        TakeAll(source.NextGroup(), &subject);
    }
    {
        const ProbeSession session(filesOnly, subject.Context(), source.NextGroup().front().pBuffer);
        for (int i = 0; i < groups; ++i)
        {
            for (const Packet& packet : source.NextGroup())
            {
                if (packet.kind == kind)
                {
                    take(&subject, packet);
                }
                else
                {
                    subject.Take(packet);
                }
            }
        }
    }
    subject.RequireAllTaken();
    subject.Keep(1); // the rest need not be written out
}

void OwnPartOfIntake(benchmark::State& state, int groups)
{
    Cost own;
    for (auto _ : state)
    {
        for (const PacketKind kind : {PacketKind::Start, PacketKind::Regular, PacketKind::Audio})
        {
            const int groupsOfKind = kind == PacketKind::Start ? groups : groups / 4;
            FeedFullCache(groupsOfKind, kind, true, [&](Subject* pSubject, const Packet& packet) {
                const pyx_uint64 filesBefore = ProbeSession::TicksInFiles();
                pyx_uint64 ticks = 0;
                ProbeSession::Watched([&] { ticks = TimeCall([&] { pSubject->Take(packet); }); });
                own.Add(kind, ticks - (ProbeSession::TicksInFiles() - filesBefore));
            });
        }
        state.SetIterationTime(1);
    }
    const double start = own.Of(PacketKind::Start).Median();
    const double regular = own.Of(PacketKind::Regular).Median();
    state.counters["own_start_us"] = start;
    state.counters["own_regular_us"] = regular;
    state.counters["own_audio_us"] = own.Of(PacketKind::Audio).Median();
    state.counters["own_video_us"] = (start + (c_framesPerGroup - 1) * regular) / c_framesPerGroup;
}

void ReportReadings(benchmark::State& state, double packets)
{
    for (const ProbeReading& reading : ProbeSession::Readings())
    {
        if (reading.calls > 0)
        {
            const std::string name = reading.name;
            state.counters["calls/" + name] = static_cast<double>(reading.calls) / packets;
            state.counters["us/" + name] = ToMicroseconds(reading.ticks) / packets;
        }
    }
}

void CallsOfIntake(benchmark::State& state, PacketKind kind)
{
    Samples total;
    for (auto _ : state)
    {
        FeedFullCache(kind == PacketKind::Start ? 16 : 4, kind, false, [&](Subject* pSubject, const Packet& packet) {
            ProbeSession::Watched([&] { total.Add(TimeCall([&] { pSubject->Take(packet); })); });
        });
        state.SetIterationTime(1);
    }
    state.counters["total_us"] = total.Mean();
    ReportReadings(state, static_cast<double>(total.Count()));
}

void CallsOfWriteOut(benchmark::State& state)
{
    PacketSource source(c_framesPerGroup, c_kilobits);
    Subject subject(Storage::Files, 60);
    double packets = 0;
    for (int i = 0; i < 15; ++i)
    {
        const auto group = source.NextGroup();
        TakeAll(group, &subject);
        packets += static_cast<double>(group.size());
    }
    NullMuxerRecord* const pRecord = MuxerRecord();
    *pRecord = {};
    for (auto _ : state)
    {
        const ProbeSession session(false, subject.Context(), source.NextGroup().front().pBuffer);
        const pyx_uint64 begin = ReadTicks();
        ProbeSession::Watched([&] { subject.Terminate(); }, &pRecord->endTicks);
        state.counters["total_us"] = ToMicroseconds(pRecord->endTicks - begin) / packets;
        state.SetIterationTime(1);
    }
    ReportReadings(state, packets);
}

template <class Function> benchmark::internal::Benchmark* Register(const std::string& name, const Function& function)
{
    return benchmark::RegisterBenchmark(name.c_str(), function)->Iterations(1)->UseManualTime();
}

} // namespace

void RegisterCalls(const Effort& effort)
{
    const int groups = effort.quick ? 8 : 16;
    Register("Own/files", [=](benchmark::State& state) {
        OwnPartOfIntake(state, groups);
    })->Repetitions(effort.quick ? 1 : 3);
    for (const PacketKind kind : {PacketKind::Start, PacketKind::Regular, PacketKind::Audio})
    {
        Register(std::string("Calls/intake/") + c_kindNames[static_cast<size_t>(kind)],
                 [=](benchmark::State& state) { CallsOfIntake(state, kind); });
    }
    Register("Calls/write-out", CallsOfWriteOut);
}
