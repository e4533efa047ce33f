#include "muxer/DecodeTimes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

namespace
{

using Times = std::vector<pyx_int64>;

/// The decode times of a whole stream; a packet that is refused has none.
Times Decode(const Times& presentation, std::size_t lookahead = DecodeTimes::c_lookahead)
{
    DecodeTimes times(lookahead);
    Times result;
    for (std::size_t i = 0; i <= presentation.size(); ++i)
    {
        i < presentation.size() ? static_cast<void>(times.Add(presentation[i])) : times.End();
        while (times.IsReady())
        {
            result.push_back(times.Next());
        }
    }
    return result;
}

TEST(DecodeTimesTest, GivesThePresentationTimesInOrderLaterByTheDepthOfReordering)
{
    EXPECT_EQ(Decode({}), Times());
    EXPECT_EQ(Decode({7}), Times({7}));
    EXPECT_EQ(Decode({0, 2, 1, 3}), Times({-2, -1, 0, 1})) << "later ones may go deeper";
    EXPECT_EQ(Decode({0, 4, 2, 1, 3, 8, 6, 5, 7}), Times({-2, -1, 0, 1, 2, 3, 4, 5, 6})) << "B-pyramid";
    EXPECT_EQ(Decode({0, 80, 40, 20, 10, 30}), Times({-30, -20, -10, 0, 10, 20})) << "deeper than usual";
    EXPECT_EQ(Decode({0, 100, 200, 800, 400, 300, 500}, 4), Times({0, 100, 200, 250, 275, 300, 400})) << "later on";
    EXPECT_EQ(Decode({0, 100, 200, 9000, 9100}), Times({0, 100, 200, 9000, 9100})) << "a pause delays nothing";
    EXPECT_EQ(Decode({0, 1000, 4000, 2000, 3000}, 1), Times({0, 1000, 1999, 2000, 3000})) << "reordered unexpectedly";
    EXPECT_EQ(Decode({0, 10, 20, 11}, 1), Times({0, 10, 20})) << "the one that waits takes the decode time";
    EXPECT_EQ(Decode({40, 40, -100, 50}, 0), Times({40, 50})) << "no decode time is left for two of them";
}

/// Reordering of any depth up to the deepest, which may begin after a long stretch without.
TEST(DecodeTimesTest, DecodeTimesRiseAndAreNeverLateHoweverTheStreamReorders)
{
    std::mt19937 random(3);
    for (int round = 0; round < 300; ++round)
    {
        Times presentation(400);
        std::ranges::generate(presentation, [pts = pyx_int64{0}]() mutable { return pts += 1000; });
        const auto depth = static_cast<std::ptrdiff_t>(random() % (DecodeTimes::c_deepestReordering + 1));
        for (auto begin = presentation.begin() + random() % 200; presentation.end() - begin > depth; begin += depth + 1)
        {
            std::swap(*begin, begin[depth]);
            std::shuffle(begin + 1, begin + depth + 1, random);
        }
        const Times decoded = Decode(presentation);
        ASSERT_TRUE(std::ranges::equal(decoded, presentation, std::less_equal())) << "round " << round;
        ASSERT_EQ(std::ranges::adjacent_find(decoded, std::greater_equal()), decoded.end()) << "round " << round;
    }
}

} // namespace
