#include "common/Component.h"
#include "common/KeyPacket.h"
#include "common/PropertyNames.h"
#include "host/HostBuffer.h"
#include "support/Companions.h"

#include <gtest/gtest.h>

#include <map>

namespace
{

const std::map<char, const wchar_t*> c_names = {{'O', PYX_PROPERTY_OUTPUT_DATA_TYPE},
                                                {'H', PYX_PROPERTY_HEVC_OUTPUT_DATA_TYPE},
                                                {'A', PYX_PROPERTY_AV1_OUTPUT_FRAME_TYPE}};

TEST(KeyPacketTest, EachCodecIsMarkedUnderItsOwnName)
{
    const std::pair<pyx_int64, char> rows[] = {{1, 'O'}, {5, 'O'}, {9, 'H'}, {10, 'H'}, {13, 'A'}, {14, 'A'}};
    for (const auto& [codec, name] : rows)
    {
        const auto spPacket = HostBuffer::Create(1);
        EXPECT_EQ(PYXMarkVideoPacket(spPacket.Get(), codec, true), PYX_OK);
        EXPECT_TRUE(spPacket->HasProperty(c_names.at(name)) && PYXIsKeyPacket(spPacket.Get())) << codec;
        EXPECT_EQ(PYXMarkVideoPacket(spPacket.Get(), codec, false), PYX_OK);
        EXPECT_FALSE(PYXIsKeyPacket(spPacket.Get())) << codec;
    }
}

TEST(KeyPacketTest, TheFirstReadableFrameTypeTellsKeyPackets)
{
    for (const std::string row : {"O0 key", "O1 key", "O2", "O-1", "H1 key", "H2", "A0 key", "A1", "O2 H0", "H0 O3 A0",
                                  "A0 H1 key", "Ax key", ""}) // without a kind it continues its group
    {
        const auto spPacket = HostBuffer::Create(1);
        for (const std::string& type : Split(row.substr(0, row.find(" key")), ' '))
        {
            const std::wstring text(type.begin() + 1, type.end());
            spPacket->SetProperty(c_names.at(type[0]), PYXVariantBorrowWString(text.c_str()));
        }
        EXPECT_EQ(PYXIsKeyPacket(spPacket.Get()), row.ends_with("key")) << row;
    }
}

} // namespace
