#include "muxer/LeadingPictures.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

struct Picture
{
    pyx_uint8 header; // of its NAL unit
    pyx_int64 pts;
    bool isKey = false;
};

/// For each picture, '-' when it is lost and '+' when it is shown.
std::string Judge(AVCodecID codec, const std::vector<Picture>& pictures)
{
    AVCodecParameters parameters{};
    parameters.codec_id = codec;
    LeadingPictures leading;
    std::string shown;
    for (const Picture& picture : pictures)
    {
        pyx_uint8 bytes[] = {0, 0, 1, picture.header, 1, 7};
        AVPacket packet{};
        packet.data = bytes;
        packet.size = sizeof(bytes);
        packet.pts = picture.pts;
        packet.flags = picture.isKey ? AV_PKT_FLAG_KEY : 0;
        shown += leading.IsLost(parameters, packet) ? '-' : '+';
    }
    return shown;
}

constexpr pyx_uint8 Hevc(int type)
{
    return static_cast<pyx_uint8>(type << 1);
}

TEST(LeadingPicturesTest, OnlyPicturesThatReferToWhatIsNotInTheClipAreLost)
{
    // An open group of H.264, and the next one, whose leading pictures have what they need.
    EXPECT_EQ(Judge(AV_CODEC_ID_H264, {{0x41, 3, true}, {1, 1}, {1, 2}, {0x41, 6}, {0x41, 9, true}, {1, 7}, {1, 8}}),
              "+--++++");
    EXPECT_EQ(Judge(AV_CODEC_ID_H264, {{0x65, 3, true}, {1, 1}, {1, 2}}), "+++") << "refers to nothing before it";
    // HEVC marks them: 21 CRA, 20 IDR, 8 and 9 skipped leading, 6 and 7 decodable leading pictures.
    EXPECT_EQ(Judge(AV_CODEC_ID_HEVC, {{Hevc(21), 3, true}, {Hevc(9), 1}, {Hevc(8), 2}, {Hevc(1), 6}}), "+--+");
    EXPECT_EQ(Judge(AV_CODEC_ID_HEVC, {{Hevc(20), 3, true}, {Hevc(7), 1}, {Hevc(6), 2}}), "+++");
    EXPECT_EQ(Judge(AV_CODEC_ID_AV1, {{0, 3, true}, {0, 1}}), "++");
}

} // namespace
