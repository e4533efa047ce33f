#include "common/Component.h"
#include "common/KeyPacket.h"
#include "common/PropertyNames.h"
#include "host/HostBuffer.h"

#include <gtest/gtest.h>

namespace
{

TEST(KeyPacketTest, EachCodecIsMarkedUnderItsOwnNameAndReadBack)
{
    const std::pair<pyx_int64, const wchar_t*> rows[] = {
        {1, PYX_PROPERTY_OUTPUT_DATA_TYPE},
        {PYX_VIDEO_CODEC_H264, PYX_PROPERTY_OUTPUT_DATA_TYPE},
        {PYX_VIDEO_CODEC_HEVC, PYX_PROPERTY_HEVC_OUTPUT_DATA_TYPE},
        {PYX_VIDEO_CODEC_HEVC_MAIN10, PYX_PROPERTY_HEVC_OUTPUT_DATA_TYPE},
        {PYX_VIDEO_CODEC_AV1, PYX_PROPERTY_AV1_OUTPUT_FRAME_TYPE},
        {PYX_VIDEO_CODEC_AV1_12BIT, PYX_PROPERTY_AV1_OUTPUT_FRAME_TYPE}};
    for (const auto& [codec, name] : rows)
    {
        for (const bool isKey : {true, false})
        {
            const auto spPacket = HostBuffer::Create(1);
            EXPECT_FALSE(PYXIsKeyPacket(spPacket.Get())); // without a kind it continues its group
            EXPECT_EQ(PYXMarkVideoPacket(spPacket.Get(), codec, isKey), PYX_OK);
            EXPECT_TRUE(spPacket->HasProperty(name)) << codec;
            EXPECT_EQ(PYXIsKeyPacket(spPacket.Get()), isKey) << codec;
        }
    }
}

} // namespace
