#include "bench/Directory.h"
#include "bench/Floors.h"
#include "bench/Measure.h"
#include "bench/Require.h"
#include "bench/Subject.h"
#include "bench/Suite.h"

#include <functional>

// Terminate with a cache of half a minute, up to the last end mark in the
// muxer; what follows, deleting the files, is trimming's. The floors read the
// same bytes back from files of their own.

namespace
{

constexpr int c_picturesPerGroup = 120;
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

void WriteOutFiles(Counters* pCounters)
{
    PacketSource source(c_picturesPerGroup, c_kilobits);
    Subject subject(Storage::Files, 2 * c_groups * c_picturesPerGroup / PacketSource::c_picturesPerSecond);
    FileFloor floor(FloorDirectory(), c_groups);
    size_t packets = 0;
    for (int i = 0; i < c_groups; ++i)
    {
        const auto group = source.NextGroup();
        TakeAll(group, &subject);
        TakeAll(group, &floor);
        packets += group.size();
    }
    subject.RequireAllTaken();
    const auto perPacket = [&](pyx_uint64 ticks) { return ToMicroseconds(ticks) / static_cast<double>(packets); };
    const std::function<void()> readers[] = {
        [&] { (*pCounters)["module_us"] = perPacket(WriteOut(&subject, packets)); },
        [&] { (*pCounters)["read_us"] = perPacket(ReadBack(&floor, subject.Context(), packets)); },
    };
    static size_t s_round = 0;
    InTurns(s_round++, readers, [](const auto& reader) { reader(); });
}

} // namespace

void RegisterWriteOut(const Effort& effort)
{
    Register("WriteOut/files", effort.quick ? 4 : 20, WriteOutFiles);
}
