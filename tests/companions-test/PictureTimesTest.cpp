#include "replay/input/PictureTimes.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

using Times = std::vector<pyx_int64>;

/// Presentation times of pictures that are decoded at 0, 10, 20 ...
Times Order(const std::vector<PicturePlace>& places)
{
    PictureTimes times;
    Times result;
    const auto take = [&times, &result](bool hasEnded) {
        while (const auto time = times.Next(hasEnded))
        {
            result.push_back(*time);
        }
    };
    for (std::size_t i = 0; i < places.size(); ++i)
    {
        times.Add(places[i], static_cast<pyx_int64>(i) * 10);
        take(false);
    }
    take(true);
    return result;
}

TEST(PictureTimesTest, PicturesTakeTheDecodeTimesInTheOrderShown)
{
    EXPECT_EQ(Order({{0, 0}, {0, 6}, {0, 2}, {0, 4}, {0, 12}, {0, 8}, {0, 10}}), Times({0, 30, 10, 20, 60, 40, 50}));
    EXPECT_EQ(Order({{0, 0}, {0, 4}, {0, 2}, {1, 0}, {1, 4}, {1, 2}}), Times({0, 20, 10, 30, 50, 40}))
        << "the numbering starts over with each sequence";
    EXPECT_EQ(Order({{1, 8}, {1, 4}, {1, 6}, {1, 9}}), Times({20, 0, 10, 30})) << "leading pictures";
}

TEST(PictureTimesTest, APictureMayBeShownLongAfterItIsDecoded)
{
    std::vector<PicturePlace> places = {{0, 0}, {0, 20}}; // further apart than a decoder can reorder
    Times shown = {0, 200};
    for (pyx_int64 i = 1; i < 20; ++i)
    {
        places.push_back({0, i});
        shown.push_back(i * 10);
    }
    EXPECT_EQ(Order(places), shown);
}

TEST(MissingTimesTest, APictureTakesItsTimeFromItsPlaceAmongOthersOfItsSequence)
{
    MissingTimes times;
    EXPECT_FALSE(times.Guess({0, 2})) << "nothing is known";
    times.Learn({0, 0}, 1000);
    EXPECT_FALSE(times.Guess({0, 2})) << "one picture tells no step";
    times.Learn({0, 8}, 1160);
    EXPECT_EQ(times.Guess({0, 4}), 1080);
    EXPECT_EQ(times.Guess({0, 10}), 1200);
    EXPECT_FALSE(times.Guess({1, 0})) << "another sequence has numbers of its own";
    times.Learn({1, 0}, 2000);
    EXPECT_EQ(times.Guess({1, 2}), 2040) << "the step stays";
}

} // namespace
