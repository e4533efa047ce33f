#include "replay/input/Describe.h"

#include "common/PropertyNames.h"
#include "host/HostBuffer.h"
#include "host/Utf8.h"

#include <new>
#include <string_view>

namespace
{

/// Takes properties of any name.
PYXInterfacePtr<PYXPropertyStorage> MakeProperties()
{
    const PYXInterfacePtr<HostBuffer> spBuffer = HostBuffer::Create(0);
    if (!spBuffer)
    {
        throw std::bad_alloc();
    }
    return PYXInterfacePtr<PYXPropertyStorage>(spBuffer.Get());
}

/// A codec's set-up data as the encoder gives it.
std::vector<pyx_uint8> SetUpOf(const AVCodecParameters& parameters)
{
    const std::span<const pyx_uint8> data(parameters.extradata, static_cast<std::size_t>(parameters.extradata_size));
    // Containers put four bytes of their own before AV1's sequence header; the first of them has the top bit set.
    const bool av1Box = parameters.codec_id == AV_CODEC_ID_AV1 && data.size() > 4 && (data[0] & 0x80) != 0;
    return {data.begin() + (av1Box ? 4 : 0), data.end()};
}

/// Sets a property of a storage that takes any.
void Keep(PYXPropertyStorage* pProperties, const wchar_t* name, const PYXVariant& value)
{
    static_cast<void>(pProperties->SetProperty(name, value)); // one for which there is no memory is left out
}

void KeepText(PYXPropertyStorage* pProperties, const wchar_t* name, const AVDictionary* pMetadata, const char* key)
{
    if (const AVDictionaryEntry* pEntry = av_dict_get(pMetadata, key, nullptr, 0))
    {
        Keep(pProperties, name, PYXVariantBorrowWString(PYXToWide(pEntry->value).c_str()));
    }
}

void SetColors(PYXPropertyStorage* pStream, const AVCodecParameters& parameters)
{
    const auto keep = [pStream](const wchar_t* name, int value, int unknown) {
        if (value != unknown)
        {
            Keep(pStream, name, PYXVariantFromInt64(value));
        }
    };
    keep(PYX_PROPERTY_VIDEO_COLOR_RANGE, parameters.color_range, AVCOL_RANGE_UNSPECIFIED);
    keep(PYX_PROPERTY_VIDEO_COLOR_PRIMARIES, parameters.color_primaries, AVCOL_PRI_UNSPECIFIED);
    keep(PYX_PROPERTY_VIDEO_COLOR_TRANSFER, parameters.color_trc, AVCOL_TRC_UNSPECIFIED);
    keep(PYX_PROPERTY_VIDEO_COLOR_MATRIX, parameters.color_space, AVCOL_SPC_UNSPECIFIED);
}

bool TellsDefaultStream(const AVFormatContext& file)
{
    const std::string_view name = file.iformat->name;
    return name.starts_with("mov") || name.starts_with("matroska");
}

void SetCommon(PYXPropertyStorage* pStream, const MediaReader& reader)
{
    const AVStream& stream = reader.Stream();
    KeepText(pStream, PYX_PROPERTY_LANGUAGE, stream.metadata, "language");
    if (TellsDefaultStream(reader.File()))
    {
        const bool isDefault = (stream.disposition & AV_DISPOSITION_DEFAULT) != 0;
        Keep(pStream, PYX_PROPERTY_DEFAULT_STREAM, PYXVariantFromBool(isDefault));
    }
}

void SetVideoDetails(PYXPropertyStorage* pStream, const MediaReader& video)
{
    SetColors(pStream, video.Parameters());
    if (const AVRational aspect = video.PixelAspect(); aspect.num > 0 && aspect.den > 0)
    {
        Keep(pStream, PYX_PROPERTY_VIDEO_PIXEL_ASPECT,
             PYXVariantFromRate(static_cast<pyx_uint32>(aspect.num), static_cast<pyx_uint32>(aspect.den)));
    }
    for (const SideDataRow& row : c_sideData)
    {
        const std::span<const pyx_uint8> bytes = FindSideData(video.Stream(), row.type);
        const auto spBuffer = HostBuffer::Create(bytes);
        if (spBuffer && !bytes.empty())
        {
            Keep(pStream, row.property, PYXVariantBorrowInterface(spBuffer.Get()));
        }
    }
    SetCommon(pStream, video);
}

} // namespace

PYXVideoStream DescribeVideo(const MediaReader& video)
{
    const AVCodecParameters& parameters = video.Parameters();
    const bool main10 = parameters.codec_id == AV_CODEC_ID_HEVC && parameters.profile == FF_PROFILE_HEVC_MAIN_10;
    PYXVideoStream stream;
    stream.codec = main10 ? PYX_VIDEO_CODEC_HEVC_MAIN10 : video.Codec().number;
    stream.size = {parameters.width, parameters.height};
    stream.rate = {static_cast<pyx_uint32>(video.FrameRate().num), static_cast<pyx_uint32>(video.FrameRate().den)};
    stream.bitRate = parameters.bit_rate;
    stream.setUp = SetUpOf(parameters);
    stream.spMore = MakeProperties();
    SetVideoDetails(stream.spMore.Get(), video);
    return stream;
}

PYXAudioStream DescribeAudio(const MediaReader& audio)
{
    const AVCodecParameters& parameters = audio.Parameters();
    PYXAudioStream stream;
    stream.codec = parameters.codec_id;
    stream.sampleRate = parameters.sample_rate;
    stream.channels = parameters.ch_layout.nb_channels;
    stream.bitRate = parameters.bit_rate;
    stream.setUp = SetUpOf(parameters);
    stream.spMore = MakeProperties();
    const auto set = [&stream](const wchar_t* name, pyx_int64 value) {
        Keep(stream.spMore.Get(), name, PYXVariantFromInt64(value));
    };
    set(PYX_PROPERTY_AUDIO_FORMAT, parameters.format); // numbered alike on both sides
    if (parameters.ch_layout.order == AV_CHANNEL_ORDER_NATIVE)
    {
        set(PYX_PROPERTY_AUDIO_CHANNEL_LAYOUT, static_cast<pyx_int64>(parameters.ch_layout.u.mask));
    }
    set(PYX_PROPERTY_AUDIO_BLOCK_ALIGN, parameters.block_align);
    set(PYX_PROPERTY_AUDIO_FRAME_SIZE, parameters.frame_size);
    SetCommon(stream.spMore.Get(), audio);
    return stream;
}

PYXInterfacePtr<PYXPropertyStorage> DescribeClip(const MediaReader& video, bool fastStart)
{
    PYXInterfacePtr<PYXPropertyStorage> spClip = MakeProperties();
    KeepText(spClip.Get(), PYX_PROPERTY_CREATION_TIME, video.File().metadata, "creation_time");
    KeepText(spClip.Get(), PYX_PROPERTY_TITLE, video.File().metadata, "title");
    if (fastStart)
    {
        Keep(spClip.Get(), PYX_PROPERTY_FAST_START, PYXVariantFromBool(true));
    }
    return spClip;
}

std::string WhatIsNotKept(const MediaReader& video, const std::wstring& output)
{
    const AVOutputFormat* pFormat = av_guess_format(nullptr, PYXToUtf8(output).c_str(), nullptr);
    // Matroska keeps it from FFmpeg 7 on.
    const bool keeps = !pFormat || std::string_view(pFormat->name) != "matroska" || LIBAVFORMAT_VERSION_MAJOR >= 61;
    const bool isKept = keeps || FindSideData(video.Stream(), AV_PKT_DATA_DISPLAYMATRIX).empty();
    return isKept ? "" : "an .mkv file does not keep that the pictures are turned or mirrored; .mp4 and .mov do";
}
