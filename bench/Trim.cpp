#include "bench/Directory.h"
#include "bench/Floors.h"
#include "bench/Measure.h"
#include "bench/Require.h"
#include "bench/Subject.h"
#include "bench/Suite.h"

#include <functional>

// Dropping one group at a time, by shortening the duration by a group's length.
// Beside it the floor gives up the same: two files, or a group's memory.

namespace
{

constexpr int c_picturesPerGroup = 120;
constexpr int c_kilobits = 50'000;
constexpr pyx_int64 c_secondsPerGroup = 2;
constexpr pyx_int64 c_groups = 16; // with the active one
constexpr pyx_int64 c_dropped = 14;
constexpr pyx_int64 c_spanSeconds = c_groups * c_secondsPerGroup;

template <class Floor> void DropInTurns(Counters* pCounters, Subject* pSubject, Floor* pFloor)
{
    Samples module;
    Samples floor;
    for (pyx_int64 i = 1; i <= c_dropped; ++i)
    {
        // What remains must be longer than the duration: between two multiples of a group's length, so that the
        // rounding of time stamps does not matter, one group more is dropped each time.
        const pyx_int64 seconds = c_spanSeconds - i * c_secondsPerGroup - 1;
        const auto dropOfModule = [&] { module.Add(TimeCall([&] { pSubject->Keep(seconds); })); };
        const auto dropOfFloor = [&] { floor.Add(TimeCall([&] { pFloor->DropOldest(); })); };
        const std::function<void()> drops[] = {dropOfModule, dropOfFloor};
        InTurns(static_cast<size_t>(i), drops, [](const auto& drop) { drop(); });
    }
    (*pCounters)["module_us"] = module.Median();
    (*pCounters)["floor_us"] = floor.Median();
}

template <class Floor> void Fill(Subject* pSubject, Floor* pFloor)
{
    PacketSource source(c_picturesPerGroup, c_kilobits);
    for (pyx_int64 i = 0; i < c_groups; ++i)
    {
        const auto group = source.NextGroup();
        TakeAll(group, pSubject);
        TakeAll(group, pFloor);
    }
    pSubject->RequireAllTaken();
}

void TrimFiles(Counters* pCounters)
{
    Subject subject(Storage::Files, c_spanSeconds);
    FileFloor floor(FloorDirectory(), c_groups);
    Fill(&subject, &floor);
    DropInTurns(pCounters, &subject, &floor);
    const DirectoryContent left(ModuleDirectory());
    Require(left == DirectoryContent(FloorDirectory()) && left.files == pyx_uint64{2 * (c_groups - c_dropped)},
            "each shortening must drop one group");
}

void TrimMemory(Counters* pCounters)
{
    Subject subject(Storage::Memory, c_spanSeconds);
    CommitFloor floor(c_groups);
    Fill(&subject, &floor);
    DropInTurns(pCounters, &subject, &floor);
}

} // namespace

void RegisterTrim(const Effort& effort)
{
    Register("Trim/files", effort.Repetitions(), TrimFiles);
    Register("Trim/memory", effort.Repetitions(), TrimMemory);
}
