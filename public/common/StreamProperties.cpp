#include "common/StreamProperties.h"

#include "common/Component.h"

namespace
{

constexpr pyx_uint32 c_access = PYX_PROPERTY_ACCESS_READ_WRITE;
constexpr PYXVariant c_none{};
constexpr PYXVariant c_null = PYXVariantBorrowInterface(nullptr);
constexpr PYXVariant c_highest = PYXVariantFromInt64(2147483647);

constexpr PYXVariant Number(pyx_int64 value)
{
    return PYXVariantFromInt64(value);
}

constexpr PYXEnumDescriptionEntry c_streamTypes[] = {
    {0, L"Unknown"}, {1, L"Video"}, {2, L"Audio"}, {3, L"Data"}, {0, nullptr},
};

/// Named after the framework's decoder components; 11 and 12 are not used.
constexpr PYXEnumDescriptionEntry c_videoCodecs[] = {
    {0, L"UNKNOWN"},
    {1, L"PYXVideoDecoderKRN_MPEG2"},
    {2, L"PYXVideoDecoderKRN_MPEG4"},
    {3, L"PYXVideoDecoderKRN_WMV3"},
    {4, L"PYXVideoDecoderKRN_VC1"},
    {5, L"PYXVideoDecoderKRN_H264_AVC"},
    {6, L"PYXVideoDecoderKRN_H264_MVC"},
    {7, L"PYXVideoDecoderKRN_H264_SVC"},
    {8, L"PYXVideoDecoderKRN_MJPEG"},
    {9, L"PYXVideoDecoderHW_H265_HEVC"},
    {10, L"PYXVideoDecoderHW_H265_MAIN10"},
    {13, L"PYXVideoDecoderHW_AV1"},
    {14, L"PYXVideoDecoderHW_AV1_12BIT"},
    {0, nullptr},
};

constexpr PYXEnumDescriptionEntry c_audioFormats[] = {
    {-1, L"UNKNOWN"}, {0, L"U8"},   {1, L"S16"},  {2, L"S32"},  {3, L"FLT"},  {4, L"DBL"},
    {5, L"U8P"},      {6, L"S16P"}, {7, L"S32P"}, {8, L"FLTP"}, {9, L"DBLP"}, {-1, nullptr},
};

// clang-format off
constexpr PYXPropertyDeclaration c_videoProperties[] = {
    //                               display name    kind                   default                         minimum                   maximum                             access    table
    {PYX_PROPERTY_STREAM_TYPE,       L"Stream Type", PYX_VARIANT_INT64,     Number(PYX_STREAM_TYPE_VIDEO),  c_none,                   c_none,                             c_access, 0, c_streamTypes},
    {PYX_PROPERTY_ENABLED,           L"Enabled",     PYX_VARIANT_BOOL,      PYXVariantFromBool(true),       c_none,                   c_none,                             c_access},
    {PYX_PROPERTY_CODEC_ID,          L"Codec ID",    PYX_VARIANT_INT64,     Number(PYX_VIDEO_CODEC_H264),   c_none,                   c_none,                             c_access, 0, c_videoCodecs},
    {PYX_PROPERTY_BIT_RATE,          L"Bit Rate",    PYX_VARIANT_INT64,     Number(100000),                 Number(1),                c_highest,                          c_access},
    {PYX_PROPERTY_EXTRA_DATA,        L"Extra Data",  PYX_VARIANT_INTERFACE, c_null,                         c_null,                   c_null,                             c_access},
    {PYX_PROPERTY_VIDEO_FRAME_RATE,  L"Frame Rate",  PYX_VARIANT_RATE,      PYXVariantFromRate(30, 1),      c_none,                   c_none,                             c_access},
    {PYX_PROPERTY_VIDEO_FRAME_SIZE,  L"Frame Size",  PYX_VARIANT_SIZE,      PYXVariantFromSize(1920, 1080), PYXVariantFromSize(1, 1), PYXVariantFromSize(100000, 100000), c_access},
};

// The audio codec has no table: its numbers are not those of the video codecs.
constexpr PYXPropertyDeclaration c_audioProperties[] = {
    //                                   display name       kind                   default                        minimum    maximum    access    table
    {PYX_PROPERTY_STREAM_TYPE,           L"Stream Type",    PYX_VARIANT_INT64,     Number(PYX_STREAM_TYPE_AUDIO), c_none,    c_none,    c_access, 0, c_streamTypes},
    {PYX_PROPERTY_ENABLED,               L"Enabled",        PYX_VARIANT_BOOL,      PYXVariantFromBool(true),      c_none,    c_none,    c_access},
    {PYX_PROPERTY_CODEC_ID,              L"Codec ID",       PYX_VARIANT_INT64,     Number(86018),                 Number(0), c_highest, c_access},
    {PYX_PROPERTY_BIT_RATE,              L"Bit Rate",       PYX_VARIANT_INT64,     Number(100000),                Number(1), c_highest, c_access},
    {PYX_PROPERTY_EXTRA_DATA,            L"Extra Data",     PYX_VARIANT_INTERFACE, c_null,                        c_null,    c_null,    c_access},
    {PYX_PROPERTY_AUDIO_SAMPLE_RATE,     L"Sample Rate",    PYX_VARIANT_INT64,     Number(44100),                 Number(0), c_highest, c_access},
    {PYX_PROPERTY_AUDIO_CHANNELS,        L"Channels",       PYX_VARIANT_INT64,     Number(2),                     Number(1), c_highest, c_access},
    {PYX_PROPERTY_AUDIO_FORMAT,          L"Sample Format",  PYX_VARIANT_INT64,     Number(-1),                    c_none,    c_none,    c_access, 0, c_audioFormats},
    {PYX_PROPERTY_AUDIO_CHANNEL_LAYOUT,  L"Channel Layout", PYX_VARIANT_INT64,     Number(3),                     Number(0), c_highest, c_access},
    {PYX_PROPERTY_AUDIO_BLOCK_ALIGN,     L"Block Align",    PYX_VARIANT_INT64,     Number(0),                     Number(0), c_highest, c_access},
    {PYX_PROPERTY_AUDIO_FRAME_SIZE,      L"Frame Size",     PYX_VARIANT_INT64,     Number(0),                     Number(0), c_highest, c_access},
};
// clang-format on

} // namespace

constinit const std::span<const PYXPropertyDeclaration> PYX_VIDEO_STREAM_PROPERTIES{c_videoProperties};
constinit const std::span<const PYXPropertyDeclaration> PYX_AUDIO_STREAM_PROPERTIES{c_audioProperties};
