#include "support/RingBufferTest.h"

#include <algorithm>
#include <iostream>

namespace
{

constexpr int c_picturesPerSecond = 30;
constexpr pyx_int64 c_firstSecond = 1'000'000; ///< all times of a day have as many digits

/// A recorder that runs all day and saves a clip of its last half minute each
/// hour. Every hour has the same packets at later times, so whatever is not as
/// in another hour was left by the hours between.
class SoakTest : public StorageTest
{
protected:
    /// A picture 30 times a second, a group every two seconds, audio with every other picture.
    void FeedSecond(pyx_int64 second)
    {
        for (int i = 0; i < c_picturesPerSecond; ++i)
        {
            const pyx_int64 ticks = second * PYX_TICKS_PER_SECOND + i * PYX_TICKS_PER_SECOND / c_picturesPerSecond;
            const std::string time = std::to_string(ticks);
            Feed('V' + time + (i == 0 && second % 2 == 0 ? "K/800" : "/100"));
            Feed(i % 2 ? "" : 'A' + time + "/50");
        }
    }

    /// What the process holds on behalf of the recorder.
    std::string Holdings() const
    {
        return std::to_string(CountHandles()) + " handles, " + std::to_string(HostObject::Alive()) + " host objects, " +
               std::to_string(CountRuntimeBlocks()) + " blocks, " + std::to_string(std::ranges::count(Files(), 'T')) +
               " files";
    }
};

INSTANTIATE_STORAGE_SUITE(SoakTest);

TEST_P(SoakTest, EachHourOfADayLeavesWhatTheSecondDid)
{
    const bool isLong = getenv("PYX_TEST_LONG") != nullptr;
    const pyx_int64 secondsPerHour = isLong ? 3600 : 64;
    const std::string block(100, ' ');        // a text that has a block on the heap, as those that replace it
    std::string clips[2] = {block, block};    // of the first hour and of the last one
    std::string holdings[2] = {block, block}; // of the second hour and of the last one
    for (int hour = 0; hour < (isLong ? 24 : 6); ++hour)
    {
        for (pyx_int64 second = 0; second < secondsPerHour; ++second)
        {
            FeedSecond(c_firstSecond + hour * secondsPerHour + second);
        }
        std::string held = "full: " + Holdings();
        ASSERT_EQ(Terminate(), PYX_OK);
        ASSERT_EQ(m_spComponent->Init(0, 0, 0), PYX_OK);
        clips[hour > 0] = Written();
        Calls();
        Traces();
        held += "\nsaved: " + Holdings();
        std::cout << "hour " << hour << ' ' << held << '\n' << std::flush;
        holdings[hour > 1] = held;
        ASSERT_EQ(std::ranges::count(clips[0], 'V'), 30 * c_picturesPerSecond + 1) << "with the end mark";
        ASSERT_TRUE(hour == 0 || clips[1] == clips[0]) << clips[1] << "\nis not the first hour's:\n" << clips[0];
        ASSERT_TRUE(hour < 2 || holdings[1] == holdings[0]) << holdings[0];
    }
}

} // namespace
