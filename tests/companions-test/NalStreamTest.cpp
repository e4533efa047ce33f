#include "media/NalStream.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace
{

using Data = std::vector<pyx_uint8>;

TEST(NalStreamTest, TellsStartCodesFromLengths)
{
    EXPECT_TRUE(IsAnnexB(Data{0, 0, 1, 0x65}));
    EXPECT_TRUE(IsAnnexB(Data{0, 0, 0, 1, 0x65}));
    EXPECT_FALSE(IsAnnexB(Data{}));
    EXPECT_FALSE(IsAnnexB(Data{0, 0}));
    EXPECT_FALSE(IsAnnexB(Data{0, 0, 0}));
    EXPECT_FALSE(IsAnnexB(Data{0, 0, 0, 0, 1}));
    EXPECT_FALSE(IsAnnexB(Data{0, 1, 1, 0x65}));

    EXPECT_TRUE(IsLengthPrefixed(Data{0, 0, 0, 2, 0x65, 1, 0, 0, 0, 1, 9}, 4));
    EXPECT_TRUE(IsLengthPrefixed(Data{1, 9}, 1));
    EXPECT_FALSE(IsLengthPrefixed(Data{}, 4));
    EXPECT_FALSE(IsLengthPrefixed(Data{0, 0, 0, 2, 0x65}, 4)) << "a byte is missing";
    EXPECT_FALSE(IsLengthPrefixed(Data{0, 0, 0, 1, 0x65, 7}, 4)) << "a byte is left over";
    EXPECT_FALSE(IsLengthPrefixed(Data{0, 0, 0, 0}, 4)) << "an empty unit";
    EXPECT_FALSE(IsLengthPrefixed(Data{9, 9}, 0));
}

TEST(NalStreamTest, ReadsTheSizeOfLengthsFromBothRecordsAndRefusesShortOnes)
{
    EXPECT_EQ(GetLengthSize(Data{1, 100, 0, 40, 0xff}, false), 4u);
    EXPECT_EQ(GetLengthSize(Data{1, 100, 0, 40, 0xfd}, false), 2u);
    EXPECT_EQ(GetLengthSize(Data{1, 100, 0, 40}, false), 0u);
    Data record(22, 0);
    record[21] = 3;
    EXPECT_EQ(GetLengthSize(record, true), 4u);
    EXPECT_EQ(GetLengthSize({record.data(), 21}, true), 0u);
}

TEST(NalStreamTest, FindsThePictureAfterDelimitersAndParameterSets)
{
    EXPECT_EQ(GetPictureType(Data{0, 0, 0, 1, 9, 0xf0, 0, 0, 1, 0x67, 1, 0, 0, 1, 0x65, 7}, false, 0), 5);
    EXPECT_EQ(GetPictureType(Data{0, 0, 0, 2, 9, 0xf0, 0, 0, 0, 2, 0x41, 7}, false, 4), 1);
    EXPECT_EQ(GetPictureType(Data{0, 0, 1, 0x40, 1, 9, 0, 0, 1, 0x02, 1, 9}, true, 0), 1) << "HEVC, after a VPS";
    EXPECT_EQ(GetPictureType(Data{0, 3, 0x2a, 1, 9}, true, 2), 21);
    EXPECT_EQ(GetPictureType(Data{0, 0, 1, 0x67, 1}, false, 0), -1) << "no picture";
    EXPECT_EQ(GetPictureType(Data{0, 0, 1}, false, 0), -1);
    EXPECT_EQ(GetPictureType(Data{0, 0, 0, 9}, false, 4), -1);
}

/// A host's packets are taken as they come: each form is read within its bytes and ends.
TEST(NalStreamTest, ForeignBytesAreReadWithinTheirBounds)
{
    std::mt19937 random(5);
    for (int round = 0; round < 200000; ++round)
    {
        Data bytes(random() % 24);
        for (pyx_uint8& byte : bytes)
        {
            byte = static_cast<pyx_uint8>(random() % 4 ? random() % 4 : random());
        }
        bytes.shrink_to_fit(); // the heap's check sees a read past the end
        const bool isHevc = random() % 2 == 0;
        for (std::size_t lengthSize = 0; lengthSize <= 4; ++lengthSize)
        {
            const int type = GetPictureType(bytes, isHevc, lengthSize);
            ASSERT_TRUE(type >= -1 && type < 32);
            ASSERT_TRUE(!IsLengthPrefixed(bytes, lengthSize) || bytes.size() > lengthSize);
        }
        ASSERT_LE(GetLengthSize(bytes, isHevc), 4u);
    }
}

} // namespace
