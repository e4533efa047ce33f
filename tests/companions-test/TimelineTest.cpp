#include "replay/report/Timeline.h"

#include <gtest/gtest.h>

#include <numeric>

namespace
{

constexpr pyx_int64 c_second = PYX_TICKS_PER_SECOND;

/// Seconds and whole numbers as a case writes them.
class TimelineTest : public testing::Test
{
protected:
    void Video(double at, bool key, std::size_t bytes = 100)
    {
        timeline.OnSubmitted({true, key, Ticks(at), c_second / 2, bytes, std::chrono::microseconds(3)});
    }

    void Audio(double at, std::size_t bytes = 10)
    {
        timeline.OnSubmitted({false, false, Ticks(at), c_second / 2, bytes, std::chrono::microseconds(2)});
    }

    /// A group of one second: two pictures and two packets of audio.
    void Group(double at)
    {
        Video(at, true);
        Audio(at);
        Video(at + 0.5, false);
        Audio(at + 0.5);
    }

    void Drop(double start)
    {
        KeptGroup group;
        group.start = Ticks(start);
        timeline.OnGroupDropped(group);
    }

    static pyx_int64 Ticks(double seconds)
    {
        return static_cast<pyx_int64>(seconds * c_second);
    }

    /// A letter for each group: - dropped, k kept, w written, c cut.
    std::string Fates() const
    {
        std::string fates;
        for (const TimelineGroup& group : timeline.Groups())
        {
            fates += "k-wc"[static_cast<std::size_t>(group.fate)];
        }
        return fates;
    }

    Timeline timeline;
};

TEST_F(TimelineTest, FollowsTheCacheFromDroppingToTheCut)
{
    for (int start = 0; start < 5; ++start)
    {
        if (start >= 3)
        {
            Drop(start - 3);
        }
        Group(start);
    }
    SavedStretch saved;
    saved.groups = {{Ticks(2)}, {Ticks(3)}, {Ticks(4)}};
    saved.from = Ticks(2);
    saved.to = Ticks(3.5);
    timeline.OnSaved(saved);
    Group(5);
    EXPECT_EQ(Fates(), "--wcck");

    const std::vector<TimelineGroup>& groups = timeline.Groups();
    EXPECT_EQ(groups[3].cutAt, Ticks(3.5));
    EXPECT_EQ(groups[4].cutAt, Ticks(4)) << "not before the group's own start";
    EXPECT_EQ(groups[2].peakBytes, 660U);
    EXPECT_EQ(groups[3].peakBytes, 660U) << "the oldest one went when this one opened";
    EXPECT_EQ(groups[4].heldFrom, Ticks(2));
    EXPECT_EQ(groups[5].heldBytes, 0U) << "what was saved is gone";
}

TEST_F(TimelineTest, AudioBeforeAllGroupsIsInNoneAndLateAudioInItsOwn)
{
    Audio(0);
    Audio(1);
    Group(1);
    Group(2);
    Audio(1.75);
    EXPECT_EQ(timeline.BytesOutside(), 10U);
    EXPECT_EQ(timeline.Groups()[0].audioPackets, 4U);
    EXPECT_EQ(timeline.Groups()[1].audioPackets, 2U);
}

TEST_F(TimelineTest, ALongRunIsToldInFewEntriesThatAddUp)
{
    constexpr int length = 50'000;
    for (int start = 0; start < length; ++start)
    {
        if (start >= 10)
        {
            Drop(start - 10);
        }
        Video(start, true, 7);
        Audio(start, 1); // and silence for half a second
    }
    EXPECT_LE(timeline.Groups().size(), 2048U + 10U);
    EXPECT_LE(timeline.Audio().size(), 2048U);
    EXPECT_LE(timeline.Rate().size(), 2048U);
    pyx_uint64 groups = 0;
    pyx_uint64 bytes = 0;
    for (const TimelineGroup& group : timeline.Groups())
    {
        groups += group.groups;
        bytes += group.bytes;
    }
    EXPECT_EQ(groups, 50'000U);
    EXPECT_EQ(bytes, 400'000U);
    EXPECT_EQ(std::accumulate(timeline.Rate().begin(), timeline.Rate().end(), pyx_uint64{0}), 400'000U);
    EXPECT_EQ(timeline.Groups().back().peakBytes, 80U) << "of the ten that are cached";
}

TEST(SubmitTimesTest, RoundsPercentilesUpByAThirtySecondAndNoMore)
{
    SubmitTimes times;
    EXPECT_EQ(times.Percentile(99), 0);
    for (pyx_int64 ticks = 1; ticks <= 100'000; ++ticks)
    {
        times.Add(ticks);
    }
    EXPECT_GE(times.Percentile(50), 50'000);
    EXPECT_LE(times.Percentile(50), 50'000 + 50'000 / 32);
    EXPECT_EQ(times.Percentile(100), 100'000) << "the longest is exact";

    SubmitTimes few;
    few.Add(63);
    few.Add(-5);
    EXPECT_EQ(few.Percentile(50), 0);
    EXPECT_EQ(few.Percentile(51), 63);
    EXPECT_EQ(few.CountBetween(0, 64), 2U);
    EXPECT_EQ(few.CountBetween(0, 63), 1U);
    few.Add(INT64_MAX);
    EXPECT_EQ(few.Percentile(100), INT64_MAX);
}

} // namespace
