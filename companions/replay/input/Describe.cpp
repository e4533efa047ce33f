#include "replay/input/Describe.h"

#include "common/PropertyNames.h"
#include "host/HostBuffer.h"
#include "host/Utf8.h"
#include "media/ClipProperties.h"
#include "media/DisplayMatrix.h"

extern "C"
{
#include <libavutil/parseutils.h>
}

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
    if (const AVDictionaryEntry* pEntry = av_dict_get(stream.metadata, "language", nullptr, 0))
    {
        const std::wstring language = PYXToWide(pEntry->value);
        Keep(pStream, PYX_PROPERTY_LANGUAGE, PYXVariantBorrowWString(language.c_str()));
    }
    if (TellsDefaultStream(reader.File()))
    {
        const bool isDefault = (stream.disposition & AV_DISPOSITION_DEFAULT) != 0;
        Keep(pStream, PYX_PROPERTY_DEFAULT_STREAM, PYXVariantFromBool(isDefault));
    }
}

void KeepSideData(PYXPropertyStorage* pStream, const wchar_t* name, const MediaReader& video, AVPacketSideDataType type)
{
    const std::span<const pyx_uint8> bytes = FindSideData(video.Stream(), type);
    const auto spBuffer = bytes.empty() ? PYXInterfacePtr<HostBuffer>() : HostBuffer::Create(bytes);
    if (spBuffer)
    {
        Keep(pStream, name, PYXVariantBorrowInterface(spBuffer.Get()));
    }
}

void SetVideoDetails(PYXPropertyStorage* pStream, const MediaReader& video)
{
    SetColors(pStream, video.Parameters());
    if (const Orientation orientation = GetOrientation(video.Stream()); orientation != Orientation())
    {
        Keep(pStream, PYX_PROPERTY_VIDEO_ROTATION, PYXVariantFromInt64(orientation.rotation));
        Keep(pStream, PYX_PROPERTY_VIDEO_MIRRORED, PYXVariantFromBool(orientation.mirrored));
    }
    if (const AVRational aspect = video.PixelAspect(); aspect.num > 0 && aspect.den > 0)
    {
        Keep(pStream, PYX_PROPERTY_VIDEO_PIXEL_ASPECT,
             PYXVariantFromRate(static_cast<pyx_uint32>(aspect.num), static_cast<pyx_uint32>(aspect.den)));
    }
    KeepSideData(pStream, PYX_PROPERTY_VIDEO_MASTERING_DISPLAY, video, AV_PKT_DATA_MASTERING_DISPLAY_METADATA);
    KeepSideData(pStream, PYX_PROPERTY_VIDEO_CONTENT_LIGHT, video, AV_PKT_DATA_CONTENT_LIGHT_LEVEL);
    SetCommon(pStream, video);
}

} // namespace

PYXVideoStream DescribeVideo(const MediaReader& video)
{
    const AVCodecParameters& parameters = video.Parameters();
    const bool main10 = parameters.codec_id == AV_CODEC_ID_HEVC && parameters.profile == FF_PROFILE_HEVC_MAIN_10;
    PYXVideoStream stream;
    stream.codec = main10 ? PYX_VIDEO_CODEC_HEVC_MAIN10 : video.Codec().componentId;
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
    const AVDictionaryEntry* pEntry = av_dict_get(video.File().metadata, "creation_time", nullptr, 0);
    pyx_int64 microseconds = 0;
    if (pEntry && av_parse_time(&microseconds, pEntry->value, 0) >= 0)
    {
        Keep(spClip.Get(), PYX_PROPERTY_CREATION_TIME, PYXVariantFromInt64(microseconds * 10));
    }
    if (const AVDictionaryEntry* pTitle = av_dict_get(video.File().metadata, "title", nullptr, 0))
    {
        Keep(spClip.Get(), PYX_PROPERTY_TITLE, PYXVariantBorrowWString(PYXToWide(pTitle->value).c_str()));
    }
    if (fastStart)
    {
        Keep(spClip.Get(), PYX_PROPERTY_FAST_START, PYXVariantFromBool(true));
    }
    return spClip;
}

std::string WhatIsNotKept(const MediaReader& video, const std::wstring& output)
{
    const AVOutputFormat* pFormat = av_guess_format(nullptr, PYXToUtf8(output).c_str(), nullptr);
    const Orientation orientation = GetOrientation(video.Stream());
    const bool isKept = orientation == Orientation() || !pFormat || KeepsOrientation(pFormat->name);
    return isKept ? "" : "an .mkv file does not keep that the pictures are turned or mirrored; .mp4 and .mov do";
}
