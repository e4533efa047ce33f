#include "replay/input/StreamDetails.h"

#include "host/HostBuffer.h"
#include "media/ClipProperties.h"
#include "media/DisplayMatrix.h"
#include "media/Utf8.h"

extern "C"
{
#include <libavutil/parseutils.h>
}

#include <algorithm>
#include <string_view>

namespace
{

struct NumberRow
{
    const wchar_t* name;
    int value;
    int unknown;
};

void SetColors(PYXPropertyStorage* pStream, const AVCodecParameters& parameters)
{
    const NumberRow rows[] = {
        {PYX_PROPERTY_VIDEO_COLOR_RANGE, parameters.color_range, AVCOL_RANGE_UNSPECIFIED},
        {PYX_PROPERTY_VIDEO_COLOR_PRIMARIES, parameters.color_primaries, AVCOL_PRI_UNSPECIFIED},
        {PYX_PROPERTY_VIDEO_COLOR_TRANSFER, parameters.color_trc, AVCOL_TRC_UNSPECIFIED},
        {PYX_PROPERTY_VIDEO_COLOR_MATRIX, parameters.color_space, AVCOL_SPC_UNSPECIFIED},
    };
    for (const NumberRow& row : rows)
    {
        if (row.value != row.unknown)
        {
            Keep(pStream, row.name, PYXVariantFromInt64(row.value));
        }
    }
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
        const std::wstring language = ToWide(pEntry->value);
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
    const PYXInterfacePtr<HostBuffer> spBuffer =
        bytes.empty() ? PYXInterfacePtr<HostBuffer>() : HostBuffer::Create(bytes.size());
    if (spBuffer)
    {
        std::ranges::copy(bytes, static_cast<pyx_uint8*>(spBuffer->GetNative()));
        Keep(pStream, name, PYXVariantBorrowInterface(spBuffer.Get()));
    }
}

} // namespace

std::string WhatIsNotKept(const MediaReader& video, const std::wstring& output)
{
    const AVOutputFormat* pFormat = av_guess_format(nullptr, ToUtf8(output).c_str(), nullptr);
    const Orientation orientation = GetOrientation(video.Stream());
    const bool isKept = orientation == Orientation() || !pFormat || KeepsOrientation(pFormat->name);
    return isKept ? "" : "an .mkv file does not keep that the pictures are turned or mirrored; .mp4 and .mov do";
}

void Keep(PYXPropertyStorage* pProperties, const wchar_t* name, const PYXVariant& value)
{
    static_cast<void>(pProperties->SetProperty(name, value)); // one for which there is no memory is left out
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

void SetAudioDetails(PYXPropertyStorage* pStream, const MediaReader& audio)
{
    SetCommon(pStream, audio);
}

void SetClipDetails(PYXPropertyStorage* pClip, const MediaReader& video, bool fastStart)
{
    const AVDictionaryEntry* pEntry = av_dict_get(video.File().metadata, "creation_time", nullptr, 0);
    pyx_int64 microseconds = 0;
    if (pEntry && av_parse_time(&microseconds, pEntry->value, 0) >= 0)
    {
        Keep(pClip, PYX_PROPERTY_CREATION_TIME, PYXVariantFromInt64(microseconds * 10));
    }
    if (const AVDictionaryEntry* pTitle = av_dict_get(video.File().metadata, "title", nullptr, 0))
    {
        Keep(pClip, PYX_PROPERTY_TITLE, PYXVariantBorrowWString(ToWide(pTitle->value).c_str()));
    }
    if (fastStart)
    {
        Keep(pClip, PYX_PROPERTY_FAST_START, PYXVariantFromBool(true));
    }
}
