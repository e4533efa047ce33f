#include "support/RingBufferTest.h"

#include <fstream>

namespace
{

class RingBufferImplTest : public RingBufferTest
{
};

/// One line per property in name order: name, display name, kind, content type,
/// default, minimum, maximum, access, listed values.
std::string Describe(PYXPropertyStorageEx* pStorage)
{
    std::ostringstream text;
    const PYXPropertyInfo* p = nullptr;
    for (pyx_size i = 0; i < pStorage->GetPropertiesInfoCount() && pStorage->GetPropertyInfo(i, &p) == PYX_OK; ++i)
    {
        text << Narrow(p->name) << " | " << Narrow(p->desc) << " | " << p->type << ' ' << p->contentType << " | "
             << Text(p->defaultValue) << " | " << Text(p->minValue) << " | " << Text(p->maxValue) << " | "
             << p->accessType << (p->pEnumDescription ? " |" : "");
        const PYXEnumDescriptionEntry* pRow = p->pEnumDescription;
        for (; pRow && pRow->name; ++pRow)
        {
            text << ' ' << pRow->value << ' ' << Narrow(pRow->name);
        }
        text << (pRow && pRow->value ? " end -1\n" : "\n");
    }
    return text.str();
}

TEST_F(RingBufferImplTest, DeclaresItsProperties)
{
    Create();
    EXPECT_EQ(Describe(m_spComponent.Get()), R"(BufferInRamEnabled | BufferInRamEnabled | 1 0 | false | - | - | 255
Duration | Duration (sec) | 2 0 | 30 | 1 | 2147483647 | 3
EnableAudio | Enable audio stream | 1 0 | false | - | - | 255
EnableVideo | Enable video stream | 1 0 | true | - | - | 255
Path | Output file | 11 2 |  | - | - | 3
TempPath | Temp location | 11 2 |  | - | - | 3
)");
    EXPECT_EQ(Describe(Input(0).Get()), R"(BitRate | Bit Rate | 2 0 | 100000 | 1 | 2147483647 | 3
CodecID | Codec ID | 2 0 | 5 | - | - | 3 | 0 UNKNOWN 1 PYXVideoDecoderKRN_MPEG2 2 PYXVideoDecoderKRN_MPEG4 )"
                                        R"(3 PYXVideoDecoderKRN_WMV3 4 PYXVideoDecoderKRN_VC1 5 )"
                                        R"(PYXVideoDecoderKRN_H264_AVC 6 PYXVideoDecoderKRN_H264_MVC 7 )"
                                        R"(PYXVideoDecoderKRN_H264_SVC 8 PYXVideoDecoderKRN_MJPEG 9 )"
                                        R"(PYXVideoDecoderHW_H265_HEVC 10 PYXVideoDecoderHW_H265_MAIN10 )"
                                        R"(13 PYXVideoDecoderHW_AV1 14 PYXVideoDecoderHW_AV1_12BIT
Enabled | Enabled | 1 0 | true | - | - | 3
ExtraData | Extra Data | 12 0 | null | - | - | 3
StreamType | Stream Type | 2 0 | 1 | - | - | 3 | 0 Unknown 1 Video 2 Audio 3 Data
VideoFrameRate | Frame Rate | 7 0 | 30,1 | 0,1 | 2147483647,2147483647 | 3
VideoFrameSize | Frame Size | 5 0 | 1920,1080 | 1,1 | 100000,100000 | 3
)");
    Set(L"EnableAudio", L"true");
    EXPECT_EQ(Describe(Input(1).Get()), R"(AudioBlockAlign | Block Align | 2 0 | 0 | 0 | 2147483647 | 3
AudioChannelLayout | Channel Layout | 2 0 | 3 | 0 | 2147483647 | 3
AudioChannels | Channels | 2 0 | 2 | 1 | 2147483647 | 3
AudioFormat | Sample Format | 2 0 | -1 | - | - | 3 | -1 UNKNOWN 0 U8 1 S16 2 S32 3 FLT 4 DBL 5 U8P 6 S16P 7 S32P 8 FLTP 9 DBLP end -1
AudioFrameSize | Frame Size | 2 0 | 0 | 0 | 2147483647 | 3
AudioSampleRate | Sample Rate | 2 0 | 44100 | 0 | 2147483647 | 3
BitRate | Bit Rate | 2 0 | 100000 | 1 | 2147483647 | 3
CodecID | Codec ID | 2 0 | 86018 | 0 | 2147483647 | 3
Enabled | Enabled | 1 0 | true | - | - | 3
ExtraData | Extra Data | 12 0 | null | - | - | 3
StreamType | Stream Type | 2 0 | 2 | - | - | 3 | 0 Unknown 1 Video 2 Audio 3 Data
)");
}

TEST_F(RingBufferImplTest, MakesItsDirectoryNewAndTakesItAway)
{
    Create();
    std::filesystem::create_directories(m_temp.path / "deep" / "deeper");
    std::ofstream(m_temp.path / "deep" / "deeper" / "file").put('x');
    Set(L"TempPath", m_temp.path.c_str());
    EXPECT_EQ(Files(), "");
    std::ofstream(m_temp.path / "file").put('x');
    EXPECT_EQ(m_spComponent->Init(5, 640, 480), PYX_OK);
    EXPECT_EQ(Files(), "");
    EXPECT_EQ(Terminate(), PYX_OK);
    EXPECT_EQ(Files(), "none");
    Set(L"TempPath", (m_temp.path / "." / "a" / "b").c_str()); // the parents are missing
    EXPECT_EQ(Files(), "a");
    Feed("V1K V2K");
    EXPECT_EQ(TestDirectory::List(m_temp.path / "a" / "b"), "Temp1.RBV Temp2.RBV");
}

} // namespace
