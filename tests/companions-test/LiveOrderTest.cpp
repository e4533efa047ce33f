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

std::string Merge(LiveOrder* pOrder)
{
    std::string merged;
    MediaPacket packet;
    while (pOrder->Next(&packet) == ReadResult::Packet)
    {
        merged += (packet.video ? " v" : " a") + std::to_string(packet.pts / c_step);
    }
    return merged;
}

TEST(LiveOrderTest, PacketsComeWhenALiveCaptureWouldHaveThem)
{
    ScriptedSource video(true, {0, 3, 1, 2, 6, 4, 5});
    ScriptedSource audio(false, {0, 1, 2, 3, 4, 5, 6});
    LiveOrder order(&video, &audio);
    EXPECT_EQ(Merge(&order), " v0 a0 a1 a2 v3 v1 v2 a3 a4 a5 v6 v4 v5 a6");
    EXPECT_EQ(order.Elapsed(), 6 * c_step);
    EXPECT_EQ(order.End(), 7 * c_step);
    EXPECT_TRUE(order.BrokenText().empty());
}

TEST(LiveOrderTest, NoPictureIsLostForAudioAndAudioEndsWithTheVideo)
{
    ScriptedSource video(true, {0, 1, 2, 3});
    ScriptedSource brief(false, {0, 1});
    LiveOrder first(&video, &brief);
    EXPECT_EQ(Merge(&first), " v0 a0 v1 a1 v2 v3");
    EXPECT_EQ(first.DroppedAudio(), 0);

    ScriptedSource again(true, {0, 1});
    ScriptedSource lasting(false, {0, 1, 2, 3, 4});
    LiveOrder second(&again, &lasting);
    EXPECT_EQ(Merge(&second), " v0 a0 v1 a1");
    EXPECT_EQ(second.DroppedAudio(), 3 * c_step);
}

TEST(LiveOrderTest, ABrokenStreamEndsTheOrderWithItsReasonAndKeepsWhatCameBefore)
{
    ScriptedSource video(true, {0, 1}, ReadResult::Broken);
    LiveOrder alone(&video, nullptr);
    EXPECT_EQ(Merge(&alone), " v0 v1");
    EXPECT_EQ(alone.BrokenText(), "cut");
}

} // namespace
