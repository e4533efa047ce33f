#include "muxer/DecodeTimes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace
{

using Times = std::vector<pyx_int64>;

/// The decode times of a whole stream; empty when a packet was refused.
Times Decode(const Times& presentation, std::size_t lookahead = DecodeTimes::c_lookahead)
{
    DecodeTimes times(lookahead);
    Times result;
    for (const pyx_int64 pts : presentation)
    {
        if (!times.Add(pts))
        {
            return {};
        }
        while (times.IsReady())
        {
            result.push_back(times.Next());
        }
    }
    times.End();
    while (times.IsReady())
    {
        result.push_back(times.Next());
    }
    return result;
}

TEST(DecodeTimesTest, GivesThePresentationTimesInOrderLaterByTheDepthOfReordering)
{
    EXPECT_EQ(Decode({}), Times());
    EXPECT_EQ(Decode({7}), Times({7}));
    EXPECT_EQ(Decode({0, 1, 2, 3}), Times({0, 1, 2, 3}));
    EXPECT_EQ(Decode({0, 4, 2, 1, 3, 8, 6, 5, 7}), Times({-2, -1, 0, 1, 2, 3, 4, 5, 6})) << "B-pyramid";
    EXPECT_EQ(Decode({0, 100, 200, 9000, 9100}), Times({0, 100, 200, 9000, 9100})) << "a pause delays nothing";
}

TEST(DecodeTimesTest, AStreamWithoutReorderingWaitsForNothingAndRefusesATimeForWhichNoDecodeTimeIsLeft)
{
    DecodeTimes times(0);
    ASSERT_TRUE(times.Add(40));
    ASSERT_TRUE(times.IsReady());
    EXPECT_EQ(times.Next(), 40);
    EXPECT_FALSE(times.Add(40));
    EXPECT_FALSE(times.Add(-100));
    ASSERT_TRUE(times.Add(41)) << "it goes on";
    EXPECT_EQ(times.Next(), 41);
}

/// Reordering of any depth up to the deepest, which may begin after a long stretch without.
TEST(DecodeTimesTest, DecodeTimesRiseAndAreNeverLateHoweverTheStreamReorders)
{
    std::mt19937 random(3);
    for (int round = 0; round < 300; ++round)
    {
        Times presentation;
        const std::size_t plain = random() % 200;
        for (std::size_t i = 0; i < 400; ++i)
        {
            presentation.push_back(static_cast<pyx_int64>(i) * 1000);
        }
        const std::size_t depth = random() % (DecodeTimes::c_deepestReordering + 1);
        for (std::size_t i = plain; i + depth < presentation.size(); i += depth + 1)
        {
            const auto begin = presentation.begin() + static_cast<std::ptrdiff_t>(i);
            std::rotate(begin, begin + static_cast<std::ptrdiff_t>(depth),
                        begin + static_cast<std::ptrdiff_t>(depth) + 1);
            std::shuffle(begin + 1, begin + static_cast<std::ptrdiff_t>(depth) + 1, random);
        }
        const Times decoded = Decode(presentation);
        ASSERT_EQ(decoded.size(), presentation.size());
        for (std::size_t i = 0; i < decoded.size(); ++i)
        {
            ASSERT_LE(decoded[i], presentation[i]) << "round " << round << " packet " << i;
            ASSERT_TRUE(i == 0 || decoded[i] > decoded[i - 1]) << "round " << round << " packet " << i;
        }
    }
}

} // namespace
