#include "replay/input/LiveOrder.h"
#include "replay/input/PictureTimes.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

constexpr pyx_int64 c_step = PYX_TICKS_PER_SECOND / 25; // one picture, one audio packet

/// The merged packets, "v0 a0 ...", of one step each, then what the order tells of itself.
std::string Merge(const std::vector<pyx_int64>& video, const std::vector<pyx_int64>& audio)
{
    LiveOrder order(true, 8);
    std::string merged;
    const auto take = [&] {
        for (MediaPacket packet; order.Take(&packet);)
        {
            merged += (packet.video ? "v" : "a") + std::to_string(packet.pts / c_step) + ' ';
        }
    };
    for (const bool isVideo : {true, false})
    {
        for (const pyx_int64 place : isVideo ? video : audio)
        {
            order.Add({.pPacket = nullptr, .pts = place * c_step, .duration = c_step, .video = isVideo});
            take();
        }
    }
    order.End();
    take();
    return merged + "elapsed " + std::to_string(order.Elapsed() / c_step) + " end " +
           std::to_string(order.LastEnd() / c_step) + " dropped " + std::to_string(order.DroppedAudio() / c_step);
}

TEST(LiveOrderTest, PacketsComeWhenALiveCaptureWouldHaveThem)
{
    EXPECT_EQ(Merge({0, 3, 1, 2, 6, 4, 5}, {0, 1, 2, 3, 4, 5, 6}),
              "v0 a0 a1 a2 v3 v1 v2 a3 a4 a5 v6 v4 v5 a6 elapsed 6 end 7 dropped 0");
    EXPECT_EQ(Merge({0, 1, 2, 3}, {0, 1}), "v0 a0 v1 a1 v2 v3 elapsed 3 end 4 dropped 0");
    EXPECT_EQ(Merge({0, 1}, {0, 1, 2, 3, 4}), "v0 a0 v1 a1 elapsed 1 end 5 dropped 3") << "audio ends with the video";
    EXPECT_EQ(Merge({0, 1, 2, 3, 4, 5, 6, 7, 8}, {1}), "v0 v1 a1 v2 v3 v4 v5 v6 v7 v8 elapsed 8 end 9 dropped 0")
        << "one that comes after a pause of the other";
}

/// Presentation times of pictures that are decoded at 0, 10, 20 ...
std::vector<pyx_int64> Order(const std::vector<PicturePlace>& places)
{
    PictureTimes times;
    std::vector<pyx_int64> result;
    for (std::size_t i = 0; i <= places.size(); ++i)
    {
        if (i < places.size())
        {
            times.Add(places[i], static_cast<pyx_int64>(i) * 10);
        }
        while (const auto time = times.Next(i == places.size()))
        {
            result.push_back(*time);
        }
    }
    return result;
}

TEST(PictureTimesTest, PicturesTakeTheDecodeTimesInTheOrderShown)
{
    using Times = std::vector<pyx_int64>;
    EXPECT_EQ(Order({{0, 0}, {0, 4}, {0, 2}, {1, 0}, {1, 4}, {1, 2}}), Times({0, 20, 10, 30, 50, 40}))
        << "the numbering starts over with each sequence";
    EXPECT_EQ(Order({{1, 8}, {1, 4}, {1, 6}, {1, 9}}), Times({20, 0, 10, 30})) << "leading pictures";
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
