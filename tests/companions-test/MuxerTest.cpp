#include "common/KeyPacket.h"
#include "common/PropertyNames.h"
#include "host/HostBuffer.h"
#include "host/HostContext.h"
#include "media/FFmpeg.h"
#include "media/NalStream.h"
#include "muxer/MuxerImpl.h"
#include "support/RingBufferTest.h"

#include <algorithm>
#include <array>
#include <random>

namespace
{

template <class Value> std::span<const pyx_uint8> BytesOf(const Value& value)
{
    return {reinterpret_cast<const pyx_uint8*>(&value), sizeof(value)};
}

/// The muxer by itself, fed as the ring buffer feeds it.
class MuxerTest : public testing::Test, protected TestDirectory
{
protected:
    MuxerTest() : m_spMuxer(new PYXMuxerImpl(HostContext::Create().Get()))
    {
        m_spMuxer->GetInput(0, m_spVideo.Out());
        SetPath(L"clip.mp4");
        m_spVideo->SetProperty(PYX_PROPERTY_VIDEO_FRAME_SIZE, PYXVariantFromSize(64, 48));
    }

    void SetPath(const wchar_t* name)
    {
        m_clip = path / name;
        const std::wstring clip = m_clip.wstring();
        ASSERT_EQ(m_spMuxer->SetProperty(PYX_PROPERTY_PATH, PYXVariantBorrowWString(clip.c_str())), PYX_OK);
    }

    /// One of 25 pictures a second, by its place in the order shown.
    PYX_RESULT Submit(std::span<const pyx_uint8> bytes, int place, bool isKey)
    {
        const PYXInterfacePtr<HostBuffer> spBuffer = HostBuffer::Create(bytes);
        spBuffer->SetPts(place * PYX_TICKS_PER_SECOND / 25);
        PYXMarkVideoPacket(spBuffer.Get(), PYX_VIDEO_CODEC_H264, isKey);
        return m_spVideo->SubmitInput(spBuffer.Get());
    }

    template <class Value> void SetBytes(const wchar_t* name, const Value& value)
    {
        const auto spBytes = HostBuffer::Create(BytesOf(value));
        m_spVideo->SetProperty(name, PYXVariantBorrowInterface(spBytes.Get()));
    }

    FFmpegPtr<AVFormatContext> OpenClip() const
    {
        AVFormatContext* pFile = nullptr; // its pictures are not decoded: they are none
        EXPECT_EQ(avformat_open_input(&pFile, ("file:" + m_clip.string()).c_str(), nullptr, nullptr), 0);
        return FFmpegPtr<AVFormatContext>(pFile);
    }

    struct Slice
    {
        int type; // of its NAL unit
        int place;
        bool isKey = false;
    };

    void SetCodec(pyx_int64 codec)
    {
        std::array<pyx_uint8, 23> record{1};
        record[4] = record[21] = 0xff; // lengths of four bytes, of H.264 and of HEVC
        SetBytes(PYX_PROPERTY_EXTRA_DATA, record);
        m_spVideo->SetProperty(PYX_PROPERTY_CODEC_ID, PYXVariantFromInt64(codec));
        m_isHevc = codec == PYX_VIDEO_CODEC_HEVC;
    }

    PYX_RESULT Submit(const Slice& slice, pyx_uint8 number = '0')
    {
        const auto header = static_cast<pyx_uint8>(m_isHevc ? slice.type << 1 : slice.type);
        const pyx_uint8 delimiter = m_isHevc ? 35 << 1 : 9;
        const pyx_uint8 bytes[] = {0, 0, 0, 2, delimiter, 1, 0, 0, 0, 3, header, 1, number};
        return Submit(bytes, slice.place, slice.isKey);
    }

    /// The numbers of those that come out of a clip of these, in decode order.
    std::string Write(pyx_int64 codec, const std::vector<Slice>& slices)
    {
        SetCodec(codec);
        pyx_uint8 number = '0';
        for (const Slice& slice : slices)
        {
            EXPECT_EQ(Submit(slice, number++), PYX_OK);
        }
        EXPECT_EQ(m_spVideo->SubmitInput(nullptr), PYX_EOF);
        const FFmpegPtr<AVFormatContext> pFile = OpenClip();
        std::string written;
        for (PacketPtr pPacket(av_packet_alloc()); av_read_frame(pFile.get(), pPacket.get()) >= 0;)
        {
            written += static_cast<char>(pPacket->data[pPacket->size - 1]);
        }
        return written;
    }

    PYXInterfacePtr<PYXMuxerImpl> m_spMuxer;
    PYXInterfacePtr<PYXInput> m_spVideo;
    bool m_isHevc = false;
    fs::path m_clip;
};

std::string Metadata(const AVDictionary* pMetadata, const char* name)
{
    const AVDictionaryEntry* pEntry = av_dict_get(pMetadata, name, nullptr, 0);
    return pEntry ? pEntry->value : "";
}

TEST_F(MuxerTest, AClipSaysOfItselfWhatItsInputsSay)
{
    m_spVideo->SetProperty(PYX_PROPERTY_VIDEO_PIXEL_ASPECT, PYXVariantFromRate(4, 3));
    m_spVideo->SetProperty(PYX_PROPERTY_VIDEO_COLOR_RANGE, PYXVariantFromInt64(2));
    m_spVideo->SetProperty(PYX_PROPERTY_VIDEO_COLOR_PRIMARIES, PYXVariantFromInt64(9));
    m_spVideo->SetProperty(PYX_PROPERTY_VIDEO_COLOR_TRANSFER, PYXVariantFromInt64(16));
    m_spVideo->SetProperty(PYX_PROPERTY_VIDEO_COLOR_MATRIX, PYXVariantFromInt64(9));
    const AVContentLightMetadata light{1000, 400};
    SetBytes(PYX_PROPERTY_VIDEO_CONTENT_LIGHT, light);
    const std::array<std::int32_t, 9> turned{0, 1 << 16, 0, 1 << 16, 0, 0, 0, 0, 1 << 30};
    SetBytes(PYX_PROPERTY_VIDEO_DISPLAY_MATRIX, turned);
    m_spMuxer->SetProperty(PYX_PROPERTY_TITLE, PYXVariantBorrowWString(L"Fjord"));
    m_spVideo->SetProperty(PYX_PROPERTY_LANGUAGE, PYXVariantBorrowWString(L"fra"));
    m_spMuxer->SetProperty(PYX_PROPERTY_CREATION_TIME, PYXVariantBorrowWString(L"2024-05-06T07:08:09Z"));
    EXPECT_EQ(Write(PYX_VIDEO_CODEC_H264, {{5, 0, true}, {1, 1}}), "01");

    const FFmpegPtr<AVFormatContext> pFile = OpenClip();
    ASSERT_TRUE(pFile);
    const AVStream& stream = *pFile->streams[0];
    EXPECT_EQ(av_cmp_q(stream.sample_aspect_ratio, {4, 3}), 0);
    EXPECT_EQ(stream.codecpar->color_range, AVCOL_RANGE_JPEG);
    EXPECT_EQ(stream.codecpar->color_primaries, AVCOL_PRI_BT2020);
    EXPECT_EQ(stream.codecpar->color_trc, AVCOL_TRC_SMPTE2084);
    EXPECT_EQ(stream.codecpar->color_space, AVCOL_SPC_BT2020_NCL);
    EXPECT_TRUE(std::ranges::equal(FindSideData(stream, AV_PKT_DATA_CONTENT_LIGHT_LEVEL), BytesOf(light)));
    EXPECT_TRUE(std::ranges::equal(FindSideData(stream, AV_PKT_DATA_DISPLAYMATRIX), BytesOf(turned)));
    EXPECT_EQ(Metadata(pFile->metadata, "title"), "Fjord");
    EXPECT_EQ(Metadata(stream.metadata, "language"), "fra");
    EXPECT_EQ(Metadata(pFile->metadata, "creation_time"), "2024-05-06T07:08:09.000000Z");
}

TEST_F(MuxerTest, AClipTakesItsNameWhenItIsCompleteAndElseLeavesNothing)
{
    Put("clip.mp4", "older");
    SetCodec(PYX_VIDEO_CODEC_H264);
    for (int i = 0; i < 100; ++i) // more than wait for the order of the first
    {
        ASSERT_EQ(Submit({i ? 1 : 5, i, i == 0}), PYX_OK);
    }
    EXPECT_EQ(Read(m_clip), "older");
    m_spMuxer->Terminate();
    EXPECT_EQ(List(), "clip.mp4");
    EXPECT_EQ(Write(PYX_VIDEO_CODEC_H264, {{5, 0, true}}), "0");
    EXPECT_EQ(List(), "clip.mp4");

    SetPath(L"missing/clip.mp4");
    EXPECT_EQ(Submit({5, 0, true}), PYX_FILE_NOT_OPEN);
}

TEST_F(MuxerTest, OnlyPicturesAtTheStartThatReferToWhatIsNotInTheClipAreLeftOut)
{
    // An open group of H.264, and the next one, whose leading pictures have what they need.
    EXPECT_EQ(Write(PYX_VIDEO_CODEC_H264, {{1, 3, true}, {1, 1}, {1, 2}, {1, 6}, {1, 9, true}, {1, 7}, {1, 0}}),
              "03456");
    EXPECT_EQ(Write(PYX_VIDEO_CODEC_H264, {{5, 3, true}, {1, 1}, {1, 2}}), "012") << "refers to nothing before it";
    // HEVC marks them: 21 CRA, 20 IDR, 8 and 9 skipped leading, 6 and 7 decodable leading pictures.
    EXPECT_EQ(Write(PYX_VIDEO_CODEC_HEVC, {{21, 3, true}, {9, 1}, {8, 2}, {1, 6}}), "03");
    EXPECT_EQ(Write(PYX_VIDEO_CODEC_HEVC, {{20, 3, true}, {7, 1}, {6, 2}}), "012");
}

TEST_F(MuxerTest, AFirstPictureInNeitherFormIsRefused)
{
    EXPECT_EQ(Write(PYX_VIDEO_CODEC_H264, {{5, 0, true}}), "0");
    using Bytes = std::vector<pyx_uint8>;
    for (const Bytes& bytes :
         {Bytes{0, 0, 0, 2, 0x65}, Bytes{0, 0, 0, 2, 0x65, 1, 7}, Bytes{0, 0, 0, 0}, Bytes{0, 1, 1}})
    {
        EXPECT_EQ(Submit(bytes, 0, true), PYX_INVALID_ARG) << testing::PrintToString(bytes);
    }
}

/// A host's packets are taken as they come: each form is read within its bytes and ends.
TEST(NalStreamTest, ForeignBytesAreReadWithinTheirBounds)
{
    std::mt19937 random(5);
    for (int round = 0; round < 200000; ++round)
    {
        std::vector<pyx_uint8> bytes(random() % 24);
        for (pyx_uint8& byte : bytes)
        {
            byte = static_cast<pyx_uint8>(random() % 4 ? random() % 4 : random());
        }
        const bool isHevc = random() % 2 == 0;
        for (std::size_t lengthSize = 0; lengthSize <= 4; ++lengthSize)
        {
            const int type = GetPictureType(bytes, isHevc, lengthSize);
            ASSERT_TRUE(type >= -1 && type < 32);
            ASSERT_TRUE(!IsLengthPrefixed(bytes, lengthSize) || bytes.size() > lengthSize);
        }
        ASSERT_LE(GetLengthSize(bytes, isHevc), bytes.size() > (isHevc ? 21u : 4u) ? 4u : 0u);
    }
}

TEST_F(MuxerTest, APathIsReadOnlyFromAText)
{
    const PYXVariant number = PYXVariantFromInt64(7);
    PYXVariantOwner validated;
    EXPECT_EQ(m_spMuxer->ValidateProperty(PYX_PROPERTY_PATH, number, validated.Out()), PYX_INVALID_ARG);
    EXPECT_EQ(m_spMuxer->SetProperty(PYX_PROPERTY_PATH, PYXVariantBorrowWString(L"clip.txt")), PYX_INVALID_ARG);
    EXPECT_EQ(m_spMuxer->SetProperty(PYX_PROPERTY_PATH, PYXVariantBorrowWString(L"")), PYX_OK);
}

} // namespace
