#include "replay/input/LiveOrder.h"

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
}

TEST(LiveOrderTest, NoPictureIsLostForAudioAndAudioEndsWithTheVideo)
{
    EXPECT_EQ(Merge({0, 1, 2, 3}, {0, 1}), "v0 a0 v1 a1 v2 v3 elapsed 3 end 4 dropped 0");
    EXPECT_EQ(Merge({0, 1}, {0, 1, 2, 3, 4}), "v0 a0 v1 a1 elapsed 1 end 5 dropped 3");
    EXPECT_EQ(Merge({0, 1, 2, 3, 4, 5, 6, 7, 8}, {1}), "v0 v1 a1 v2 v3 v4 v5 v6 v7 v8 elapsed 8 end 9 dropped 0")
        << "one that comes after a pause of the other";
}

} // namespace
