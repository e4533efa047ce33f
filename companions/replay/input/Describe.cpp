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

void KeepNumber(PYXPropertyStorage* pProperties, const wchar_t* name, pyx_int64 value, pyx_int64 unknown = INT64_MIN)
{
    if (value != unknown)
    {
        Keep(pProperties, name, PYXVariantFromInt64(value));
    }
}

void KeepCommon(PYXPropertyStorage* pStream, const MediaReader& reader)
{
    const AVStream& stream = *reader.Stream();
    KeepText(pStream, PYX_PROPERTY_LANGUAGE, stream.metadata, "language");
    const std::string_view container = reader.File()->iformat->name;
    if (container.starts_with("mov") || container.starts_with("matroska")) // others do not tell
    {
        const bool isDefault = (stream.disposition & AV_DISPOSITION_DEFAULT) != 0;
        Keep(pStream, PYX_PROPERTY_DEFAULT_STREAM, PYXVariantFromBool(isDefault));
    }
}

void KeepVideoDetails(PYXPropertyStorage* pStream, const MediaReader& video)
{
    const AVCodecParameters& parameters = video.Parameters();
    KeepNumber(pStream, PYX_PROPERTY_VIDEO_COLOR_RANGE, parameters.color_range, AVCOL_RANGE_UNSPECIFIED);
    KeepNumber(pStream, PYX_PROPERTY_VIDEO_COLOR_PRIMARIES, parameters.color_primaries, AVCOL_PRI_UNSPECIFIED);
    KeepNumber(pStream, PYX_PROPERTY_VIDEO_COLOR_TRANSFER, parameters.color_trc, AVCOL_TRC_UNSPECIFIED);
    KeepNumber(pStream, PYX_PROPERTY_VIDEO_COLOR_MATRIX, parameters.color_space, AVCOL_SPC_UNSPECIFIED);
    const AVRational aspect = av_guess_sample_aspect_ratio(video.File(), video.Stream(), nullptr);
    if (aspect.num > 0 && aspect.den > 0)
    {
        Keep(pStream, PYX_PROPERTY_VIDEO_PIXEL_ASPECT,
             PYXVariantFromRate(static_cast<pyx_uint32>(aspect.num), static_cast<pyx_uint32>(aspect.den)));
    }
    for (const SideDataRow& row : c_sideData)
    {
        const std::span<const pyx_uint8> bytes = FindSideData(*video.Stream(), row.type);
        const auto spBuffer = HostBuffer::Create(bytes);
        if (spBuffer && !bytes.empty())
        {
            Keep(pStream, row.property, PYXVariantBorrowInterface(spBuffer.Get()));
        }
    }
    KeepCommon(pStream, video);
}

} // namespace

PYXVideoStream DescribeVideo(const MediaReader& video)
{
    const AVCodecParameters& parameters = video.Parameters();
    const bool main10 = parameters.codec_id == AV_CODEC_ID_HEVC && parameters.profile == FF_PROFILE_HEVC_MAIN_10;
    PYXVideoStream stream;
    stream.codec = main10 ? PYX_VIDEO_CODEC_HEVC_MAIN10 : video.Codec().number;
    stream.size = {parameters.width, parameters.height};
    const AVRational rate = av_guess_frame_rate(video.File(), video.Stream(), nullptr);
    stream.rate = {static_cast<pyx_uint32>(rate.num), static_cast<pyx_uint32>(rate.den)};
    stream.bitRate = parameters.bit_rate;
    stream.setUp = SetUpOf(parameters);
    stream.spMore = MakeProperties();
    KeepVideoDetails(stream.spMore.Get(), video);
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
    PYXPropertyStorage* pMore = stream.spMore.Get();
    const bool isNative = parameters.ch_layout.order == AV_CHANNEL_ORDER_NATIVE;
    const auto layout = static_cast<pyx_int64>(isNative ? parameters.ch_layout.u.mask : 0);
    KeepNumber(pMore, PYX_PROPERTY_AUDIO_CHANNEL_LAYOUT, layout, 0);
    KeepNumber(pMore, PYX_PROPERTY_AUDIO_FORMAT, parameters.format); // both sides use the same numbers
    KeepNumber(pMore, PYX_PROPERTY_AUDIO_BLOCK_ALIGN, parameters.block_align);
    KeepNumber(pMore, PYX_PROPERTY_AUDIO_FRAME_SIZE, parameters.frame_size);
    KeepCommon(pMore, audio);
    return stream;
}

PYXInterfacePtr<PYXPropertyStorage> DescribeClip(const MediaReader& video, bool fastStart)
{
    PYXInterfacePtr<PYXPropertyStorage> spClip = MakeProperties();
    KeepText(spClip.Get(), PYX_PROPERTY_CREATION_TIME, video.File()->metadata, "creation_time");
    KeepText(spClip.Get(), PYX_PROPERTY_TITLE, video.File()->metadata, "title");
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
    const bool isKept = keeps || FindSideData(*video.Stream(), AV_PKT_DATA_DISPLAYMATRIX).empty();
    return isKept ? "" : "an .mkv file does not keep that the pictures are turned or mirrored; .mp4 and .mov do";
}
