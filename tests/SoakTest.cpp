#include "support/RingBufferTest.h"

#include <algorithm>
#include <iostream>

namespace
{

constexpr pyx_int64 c_picturesPerSecond = 30;
constexpr pyx_int64 c_picturesPerGroup = 60;
constexpr pyx_int64 c_audioRate = 16000;
constexpr pyx_int64 c_samplesPerPacket = 1024;
constexpr pyx_int64 c_firstSecond = 1'000'000; ///< all times of a day have as many digits

/// What the process holds on behalf of a recorder.
struct Holdings
{
    explicit Holdings(const std::filesystem::path& directory)
        : handles(CountHandles()), hostObjects(HostObject::Alive()), blocks(CountRuntimeBlocks()),
          files(std::distance(std::filesystem::directory_iterator(directory), {}))
    {
    }

    bool operator==(const Holdings&) const = default;

    friend std::ostream& operator<<(std::ostream& out, const Holdings& all)
    {
        return out << all.handles << " handles, " << all.files << " files, " << all.hostObjects << " host objects, "
                   << all.blocks << " blocks";
    }

    int handles;
    pyx_int64 hostObjects;
    pyx_int64 blocks; ///< of the C runtime's heap
    std::ptrdiff_t files;
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
        ASSERT_TRUE(full == *pFull && saved == *pSaved) << "hour 2: " << *pFull << "\n  saved: " << *pSaved;
    }
    EXPECT_EQ(m_refused, 0);
}

} // namespace
