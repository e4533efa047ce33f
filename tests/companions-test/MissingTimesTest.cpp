#include "replay/input/MissingTimes.h"

#include <gtest/gtest.h>

namespace
{

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
