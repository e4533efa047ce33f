#include "bench/Directory.h"
#include "bench/Floors.h"
#include "bench/Measure.h"
#include "bench/Require.h"
#include "bench/Subject.h"
#include "bench/Suite.h"

#include <benchmark/benchmark.h>

#include <deque>
#include <windows.h>

// Dropping one group at a time, by shortening the duration by a group's length.
// Beside it the floor gives up the same: two files, or two blocks of memory.

namespace
{

constexpr int c_framesPerGroup = 120;
constexpr int c_kilobits = 50'000;
constexpr pyx_int64 c_secondsPerGroup = 2;
constexpr pyx_int64 c_groups = 16; // with the active one
constexpr pyx_int64 c_dropped = 14;
constexpr pyx_int64 c_spanSeconds = c_groups * c_secondsPerGroup;

/// The blocks that groups in memory occupy, touched.
class BlockFloor
{
public:
    explicit BlockFloor(pyx_size bytes) : m_bytes(bytes)
    {
    }

    BlockFloor(const BlockFloor&) = delete;
    BlockFloor& operator=(const BlockFloor&) = delete;

    ~BlockFloor()
    {
        while (!m_blocks.empty())
        {
            DropOldest();
        }
    }

    void Add()
    {
        void* const pBlock = VirtualAlloc(nullptr, m_bytes, MEM_COMMIT, PAGE_READWRITE);
        Require(pBlock != nullptr, "memory for a block");
        FillMemory(pBlock, m_bytes, 1);
        m_blocks.push_back(pBlock);
    }

    void DropOldest()
    {
        VirtualFree(m_blocks.front(), 0, MEM_RELEASE);
        m_blocks.pop_front();
    }

private:
    const pyx_size m_bytes;
    std::deque<void*> m_blocks;
};

template <class Floor> void DropInTurns(benchmark::State& state, Subject* pSubject, Floor* pFloor)
{
    Samples module;
    Samples floor;
    for (auto _ : state)
    {
        for (pyx_int64 i = 1; i <= c_dropped; ++i)
        {
            // What remains must be longer than the duration: between two multiples of a group's length, so that the
            // rounding of time stamps does not matter, one group more is dropped each time.
            const pyx_int64 seconds = c_spanSeconds - i * c_secondsPerGroup - 1;
            InTurns(
                i, [&] { module.Add(TimeCall([&] { pSubject->Keep(seconds); })); },
                [&] { floor.Add(TimeCall([&] { pFloor->DropOldest(); })); });
        }
        state.SetIterationTime(module.Median() / 1e6);
    }
    state.counters["module_us"] = module.Median();
    state.counters["module_mean_us"] = module.Mean();
    state.counters["floor_us"] = floor.Median();
    state.counters["floor_mean_us"] = floor.Mean();
}

void TrimFiles(benchmark::State& state)
{
    PacketSource source(c_framesPerGroup, c_kilobits);
    Subject subject(Storage::Files, c_spanSeconds);
    FileFloor floor(FloorDirectory());
    for (pyx_int64 i = 0; i < c_groups; ++i)
    {
        const auto group = source.NextGroup();
        TakeAll(group, &subject);
        TakeAll(group, &floor);
    }
    DropInTurns(state, &subject, &floor);
    subject.RequireAllTaken();
    const DirectoryContent left = ReadDirectory(ModuleDirectory());
    Require(left == ReadDirectory(FloorDirectory()) && left.files == pyx_uint64{2 * (c_groups - c_dropped)},
            "each shortening must drop one group");
}

void TrimMemory(benchmark::State& state)
{
    PacketSource source(c_framesPerGroup, c_kilobits);
    Subject subject(Storage::Memory, c_spanSeconds);
    BlockFloor floor(source.BytesPerGroup());
    for (pyx_int64 i = 0; i < c_groups; ++i)
    {
        TakeAll(source.NextGroup(), &subject);
        floor.Add();
    }
    DropInTurns(state, &subject, &floor);
    subject.RequireAllTaken();
}

} // namespace

void RegisterTrim(const Effort& effort)
{
    benchmark::RegisterBenchmark("Trim/files", TrimFiles)
        ->Iterations(1)
        ->Repetitions(effort.Repetitions())
        ->UseManualTime();
    if (!effort.quick)
    {
        benchmark::RegisterBenchmark("Trim/memory", TrimMemory)->Iterations(1)->Repetitions(2)->UseManualTime();
    }
}
