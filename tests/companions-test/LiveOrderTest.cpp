#include "replay/input/LiveOrder.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

constexpr pyx_int64 c_step = PYX_TICKS_PER_SECOND / 25; // one picture, one audio packet

/// Hands out packets of one step each at the given places, and then `end`.
class ScriptedSource final : public PacketSource
{
public:
    ScriptedSource(bool video, std::vector<pyx_int64> places, ReadResult end = ReadResult::End)
        : m_video(video), m_places(std::move(places)), m_end(end)
    {
    }

    ReadResult Next(MediaPacket* pPacket) override
    {
        if (m_next == m_places.size())
        {
            return m_end;
        }
        pPacket->video = m_video;
        pPacket->key = m_video && m_next == 0;
        pPacket->pts = m_places[m_next++] * c_step;
        pPacket->duration = c_step;
        return ReadResult::Packet;
    }

    const std::string& BrokenText() const override
    {
        static const std::string s_text = "cut";
        return s_text;
    }

private:
    bool m_video;
    std::vector<pyx_int64> m_places;
    ReadResult m_end;
    std::size_t m_next = 0;
};

/// The merged packets, "v0 a0 ...", then what the order tells of itself.
std::string Merge(std::vector<pyx_int64> videoPlaces, std::vector<pyx_int64> audioPlaces,
                  ReadResult end = ReadResult::End)
{
    ScriptedSource video(true, std::move(videoPlaces), end);
    ScriptedSource audio(false, std::move(audioPlaces));
    LiveOrder order(&video, &audio);
    std::string merged;
    MediaPacket packet;
    while (order.Next(&packet) == ReadResult::Packet)
    {
        merged += (packet.video ? "v" : "a") + std::to_string(packet.pts / c_step) + ' ';
    }
    return merged + "elapsed " + std::to_string(order.Elapsed() / c_step) + " end " +
           std::to_string(order.End() / c_step) + " dropped " + std::to_string(order.DroppedAudio() / c_step) + ' ' +
           order.BrokenText();
}

TEST(LiveOrderTest, PacketsComeWhenALiveCaptureWouldHaveThem)
{
    EXPECT_EQ(Merge({0, 3, 1, 2, 6, 4, 5}, {0, 1, 2, 3, 4, 5, 6}),
              "v0 a0 a1 a2 v3 v1 v2 a3 a4 a5 v6 v4 v5 a6 elapsed 6 end 7 dropped 0 ");
}

TEST(LiveOrderTest, NoPictureIsLostForAudioAndAudioEndsWithTheVideo)
{
    EXPECT_EQ(Merge({0, 1, 2, 3}, {0, 1}), "v0 a0 v1 a1 v2 v3 elapsed 3 end 4 dropped 0 ");
    EXPECT_EQ(Merge({0, 1}, {0, 1, 2, 3, 4}), "v0 a0 v1 a1 elapsed 1 end 5 dropped 3 ");
}

TEST(LiveOrderTest, ABrokenStreamEndsTheOrderWithItsReasonAndKeepsWhatCameBefore)
{
    EXPECT_EQ(Merge({0, 1}, {}, ReadResult::Broken), "v0 v1 elapsed 1 end 2 dropped 0 cut");
}

} // namespace
