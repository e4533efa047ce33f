#include "support/RingBufferTest.h"

#include <algorithm>
#include <iostream>
#include <vector>

namespace
{

constexpr pyx_int64 c_picturesPerSecond = 30;
constexpr pyx_int64 c_picturesPerGroup = 60;
constexpr pyx_int64 c_audioRate = 16000;
constexpr pyx_int64 c_samplesPerPacket = 1024;
constexpr pyx_int64 c_firstSecond = 1'000'000; ///< all times of a day have as many digits

constexpr size_t c_heapNoise = 1 << 20; ///< bytes that the system may keep in heaps for small blocks to come

/// What the process holds on behalf of a recorder.
struct Holdings
{
    explicit Holdings(const std::filesystem::path& directory)
        : handles(CountHandles()), hostObjects(HostObject::Alive()), blocks(CountRuntimeBlocks()),
          files(std::distance(std::filesystem::directory_iterator(directory), {}))
    {
        std::vector<void*> heapRegions;
        heapRegions.reserve(1000);
        CountHeaps(&heapRegions);
        CountVirtualBytes(heapRegions);
    }

    bool IsLike(const Holdings& other) const
    {
        return handles == other.handles && hostObjects == other.hostObjects && files == other.files &&
               blocks == other.blocks && heapBytes <= other.heapBytes + c_heapNoise &&
               virtualBytes == other.virtualBytes;
    }

    friend std::ostream& operator<<(std::ostream& out, const Holdings& all)
    {
        return out << all.handles << " handles, " << all.files << " files, " << all.hostObjects << " host objects, "
                   << all.blocks << " blocks, " << all.heapBytes << " bytes in heaps, " << all.virtualBytes
                   << " bytes outside";
    }

    int handles;
    pyx_int64 hostObjects;
    pyx_int64 blocks; ///< of the C runtime's heap
    std::ptrdiff_t files;
    size_t heapBytes = 0;    ///< in use, of all heaps
    size_t virtualBytes = 0; ///< private memory, reserved or committed, outside the heaps

private:
    void CountHeaps(std::vector<void*>* pRegions)
    {
        HANDLE heaps[64];
        for (DWORD i = 0, count = std::min<DWORD>(GetProcessHeaps(64, heaps), 64); i < count; ++i)
        {
            for (PROCESS_HEAP_ENTRY entry{}; HeapWalk(heaps[i], &entry);)
            {
                const bool isUsed = (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0;
                heapBytes += isUsed ? entry.cbData : 0;
                MEMORY_BASIC_INFORMATION memory{};
                VirtualQuery(entry.lpData, &memory, sizeof(memory));
                if (std::ranges::find(*pRegions, memory.AllocationBase) == pRegions->end())
                {
                    pRegions->push_back(memory.AllocationBase);
                }
            }
        }
    }

    /// A heap may keep what was freed, so its regions do not count.
    void CountVirtualBytes(const std::vector<void*>& heapRegions)
    {
        MEMORY_BASIC_INFORMATION memory{};
        for (char* p = nullptr; VirtualQuery(p, &memory, sizeof(memory)); p += memory.RegionSize)
        {
            const bool isOurs = memory.State != MEM_FREE && memory.Type == MEM_PRIVATE;
            const bool isHeap = std::ranges::find(heapRegions, memory.AllocationBase) != heapRegions.end();
            virtualBytes += isOurs && !isHeap ? memory.RegionSize : 0;
        }
    }
};

/// A recorder that runs all day and saves a clip of its last half minute each
/// hour. Every hour has the same packets at later times, so whatever is not as
/// in another hour was left behind by the hours between.
class SoakTest : public StorageTest
{
protected:
    void Submit(PYXInput* pInput, const Packet& packet)
    {
        m_refused += pInput->SubmitInput(packet.Build().Get()) == PYX_OK ? 0 : 1;
    }

    /// Video and audio in the order of their times.
    void FeedUntil(pyx_int64 second)
    {
        const auto spVideo = Input(0);
        const auto spAudio = Input(1);
        for (; m_pictures < second * c_picturesPerSecond; ++m_pictures)
        {
            const pyx_int64 time = m_pictures * PYX_TICKS_PER_SECOND / c_picturesPerSecond;
            const bool isKey = m_pictures % c_picturesPerGroup == 0;
            Submit(spVideo.Get(), {.pts = time, .key = isKey, .bytes = isKey ? 800 : 100});
            const pyx_int64 next = (m_pictures + 1) * PYX_TICKS_PER_SECOND / c_picturesPerSecond;
            for (; AudioTime() < next; ++m_audioPackets)
            {
                Submit(spAudio.Get(), {.kind = 'A', .pts = AudioTime(), .bytes = 50});
            }
        }
    }

    pyx_int64 AudioTime() const
    {
        return m_audioPackets * PYX_TICKS_PER_SECOND * c_samplesPerPacket / c_audioRate;
    }

    pyx_int64 m_pictures = c_firstSecond * c_picturesPerSecond;
    pyx_int64 m_audioPackets = c_firstSecond * c_audioRate / c_samplesPerPacket;
    int m_refused = 0;
};

INSTANTIATE_STORAGE_SUITE(SoakTest);

TEST_P(SoakTest, EachHourOfADayLeavesBehindWhatTheSecondDid)
{
    const bool isLong = getenv("PYX_TEST_LONG") != nullptr;
    const int hours = isLong ? 24 : 6;
    const pyx_int64 secondsPerHour = isLong ? 3600 : 64; // a whole number of audio packets
    std::string firstClip;
    std::unique_ptr<Holdings> pFull;
    std::unique_ptr<Holdings> pSaved;
    for (int hour = 1; hour <= hours; ++hour)
    {
        FeedUntil(c_firstSecond + hour * secondsPerHour);
        const Holdings full(m_temp.path);
        ASSERT_EQ(Terminate(), PYX_OK);
        ASSERT_EQ(m_spComponent->Init(0, 0, 0), PYX_OK);
        const std::string clip = Written();
        ASSERT_EQ(std::ranges::count(clip, 'V'), 30 * c_picturesPerSecond + 1) << "hour " << hour;
        firstClip = hour == 1 ? clip : firstClip;
        ASSERT_TRUE(clip == firstClip) << "the clip of hour " << hour << " is not that of the first:\n" << clip;
        Calls();
        Traces();
        const Holdings saved(m_temp.path);
        std::cout << "hour " << hour << ": " << full << "\n  saved: " << saved << '\n' << std::flush;
        pFull = hour <= 2 ? std::make_unique<Holdings>(full) : std::move(pFull);
        pSaved = hour <= 2 ? std::make_unique<Holdings>(saved) : std::move(pSaved);
        ASSERT_TRUE(full.IsLike(*pFull) && saved.IsLike(*pSaved)) << "hour 2: " << *pFull << "\n  saved: " << *pSaved;
    }
    EXPECT_EQ(m_refused, 0);
}

} // namespace
