#include "replay/report/Timeline.h"

#include <gtest/gtest.h>

namespace
{

constexpr pyx_int64 c_second = PYX_TICKS_PER_SECOND;

pyx_int64 Ticks(double seconds)
{
    return static_cast<pyx_int64>(seconds * c_second);
}

class TimelineTest : public testing::Test
{
protected:
    void Audio(double at)
    {
        timeline.OnSubmitted({false, false, Ticks(at), c_second / 2, 10, std::chrono::microseconds(2), 0, 0});
    }

    /// A group of one second, two pictures and two packets of audio, while groups from `heldFrom` on are kept.
    void Group(double at, double heldFrom)
    {
        const auto before = static_cast<pyx_uint64>(at - heldFrom) * 220;
        timeline.OnSubmitted({true, true, Ticks(at), c_second / 2, 100, {}, Ticks(heldFrom), before + 100});
        Audio(at);
        timeline.OnSubmitted({true, false, Ticks(at + 0.5), c_second / 2, 100, {}, 0, 0});
        Audio(at + 0.5);
    }

    /// A letter for each group: - dropped, k kept, w written, c cut.
    std::string Fates() const
    {
        std::string fates;
        for (const TimelineGroup& group : timeline.Seen().groups)
        {
            fates += "k-wc"[static_cast<std::size_t>(group.fate)];
        }
        return fates;
    }

    Timeline timeline;
};

TEST_F(TimelineTest, FollowsTheGroupsFromDroppingToTheCut)
{
    for (int start = 0; start < 5; ++start)
    {
        Group(start, std::max(0, start - 2));
    }
    Group(5, 5); // a save is on its way, and the next component has taken over
    EXPECT_EQ(Fates(), "--kkkk");
    timeline.OnSaved({Ticks(2), Ticks(3.5), Ticks(5)});
    EXPECT_EQ(Fates(), "--wcck");

    const std::deque<TimelineGroup>& groups = timeline.Seen().groups;
    EXPECT_EQ(groups[3].cutAt, Ticks(3.5));
    EXPECT_EQ(groups[4].cutAt, Ticks(4)) << "not before the group's own start";
    EXPECT_EQ(groups[4].heldFrom, Ticks(2));
    EXPECT_EQ(groups[4].heldBytes, 440U);
    EXPECT_EQ(groups[5].heldFrom, Ticks(5)) << "not what the component before it kept";
    EXPECT_EQ(groups[5].heldBytes, 0U);
}

TEST_F(TimelineTest, AudioBeforeAllGroupsIsInNoneAndLateAudioInItsOwn)
{
    Audio(0);
    Audio(1);
    Group(1, 1);
    Group(2, 1);
    Audio(1.75);
    EXPECT_EQ(timeline.Seen().bytesOutside, 10U);
    EXPECT_EQ(timeline.Seen().groups[0].audioPackets, 4U);
    EXPECT_EQ(timeline.Seen().groups[1].audioPackets, 2U);
}

TEST(SubmitTimesTest, RoundsPercentilesUpByAnEighthAndNoMore)
{
    SubmitTimes times;
    EXPECT_EQ(times.Percentile(99), 0);
    for (pyx_int64 ticks = 1; ticks <= 100'000; ++ticks)
    {
        times.Add(ticks);
    }
    EXPECT_GE(times.Percentile(50), 50'000);
    EXPECT_LE(times.Percentile(50), 50'000 + 50'000 / 8);
    EXPECT_EQ(times.Percentile(100), 100'000) << "the longest is exact";

    SubmitTimes few;
    few.Add(15);
    few.Add(-5);
    EXPECT_EQ(few.Percentile(50), 0);
    EXPECT_EQ(few.Percentile(51), 15);
    EXPECT_EQ(few.Steps(), (std::map<pyx_int64, pyx_uint64>{{0, 1}, {15, 1}}));
}

} // namespace
