#include "common/Component.h"
#include "common/KeyPacket.h"
#include "common/PropertyNames.h"
#include "host/HostBuffer.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

constexpr const wchar_t* c_avc = PYX_PROPERTY_OUTPUT_DATA_TYPE;
constexpr const wchar_t* c_hevc = PYX_PROPERTY_HEVC_OUTPUT_DATA_TYPE;
constexpr const wchar_t* c_av1 = PYX_PROPERTY_AV1_OUTPUT_FRAME_TYPE;

TEST(KeyPacketTest, EachCodecIsMarkedUnderItsOwnName)
{
    const std::pair<pyx_int64, const wchar_t*> rows[] = {{1, c_avc},
                                                         {PYX_VIDEO_CODEC_H264, c_avc},
                                                         {PYX_VIDEO_CODEC_HEVC, c_hevc},
                                                         {PYX_VIDEO_CODEC_HEVC_MAIN10, c_hevc},
                                                         {PYX_VIDEO_CODEC_AV1, c_av1},
                                                         {PYX_VIDEO_CODEC_AV1_12BIT, c_av1}};
    for (const auto& [codec, name] : rows)
    {
        for (const bool isKey : {true, false})
        {
            const auto spPacket = HostBuffer::Create(1);
            EXPECT_EQ(PYXMarkVideoPacket(spPacket.Get(), codec, isKey), PYX_OK);
            EXPECT_TRUE(spPacket->HasProperty(name)) << codec;
            EXPECT_EQ(PYXIsKeyPacket(spPacket.Get()), isKey) << codec;
        }
    }
}

TEST(KeyPacketTest, TheFirstReadableFrameTypeTellsKeyPackets)
{
    const struct
    {
        std::vector<std::pair<const wchar_t*, pyx_int64>> types;
        bool isKey;
    } rows[] = {{{}, false}, // without a kind it continues its group
                {{{c_avc, 0}}, true},
                {{{c_avc, 1}}, true},
                {{{c_avc, 2}}, false},
                {{{c_avc, -1}}, false},
                {{{c_hevc, 1}}, true},
                {{{c_hevc, 2}}, false},
                {{{c_av1, 0}}, true},
                {{{c_av1, 1}}, false},
                {{{c_avc, 2}, {c_hevc, 0}}, false},
                {{{c_hevc, 0}, {c_avc, 3}, {c_av1, 0}}, false},
                {{{c_av1, 0}, {c_hevc, 1}}, true}};
    for (const auto& row : rows)
    {
        const auto spPacket = HostBuffer::Create(1);
        for (const auto& [name, value] : row.types)
        {
            spPacket->SetProperty(name, PYXVariantFromInt64(value));
        }
        EXPECT_EQ(PYXIsKeyPacket(spPacket.Get()), row.isKey) << "row " << &row - rows;
    }
}

} // namespace
