#include "replay/input/LiveOrder.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

constexpr pyx_int64 c_step = PYX_TICKS_PER_SECOND / 25; // one picture, one audio packet

/// Hands out packets of one step each at the given places: of the video, and after them those of the audio.
class ScriptedSource final : public PacketSource
{
public:
    ScriptedSource(std::vector<pyx_int64> videoPlaces, std::vector<pyx_int64> audioPlaces)
        : m_pictures(videoPlaces.size()), m_places(std::move(videoPlaces))
    {
        m_places.insert(m_places.end(), audioPlaces.begin(), audioPlaces.end());
    }

    bool Next(MediaPacket* pPacket) override
    {
        if (m_next == m_places.size())
        {
            return false;
        }
        pPacket->video = m_next < m_pictures;
        pPacket->pts = m_places[m_next++] * c_step;
        pPacket->duration = c_step;
        return true;
    }

    std::size_t MostWaiting() const override
    {
        return 8;
    }

private:
    std::size_t m_pictures;
    std::vector<pyx_int64> m_places;
    std::size_t m_next = 0;
};

/// The merged packets, "v0 a0 ...", then what the order tells of itself.
std::string Merge(std::vector<pyx_int64> videoPlaces, std::vector<pyx_int64> audioPlaces)
{
    ScriptedSource source(std::move(videoPlaces), std::move(audioPlaces));
    LiveOrder order(&source, true);
    std::string merged;
    MediaPacket packet;
    while (order.Next(&packet))
    {
        merged += (packet.video ? "v" : "a") + std::to_string(packet.pts / c_step) + ' ';
    }
    return merged + "elapsed " + std::to_string(order.Elapsed() / c_step) + " end " +
           std::to_string(order.End() / c_step) + " dropped " + std::to_string(order.DroppedAudio() / c_step);
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
