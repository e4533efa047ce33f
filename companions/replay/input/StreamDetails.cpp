#include "replay/input/StreamDetails.h"

#include "media/ClipProperties.h"
#include "media/DisplayMatrix.h"
#include "media/Utf8.h"
#include "replay/HostHelpers.h"

extern "C"
{
#include <libavutil/parseutils.h>
}

#include <string_view>

namespace
{

/// The ring buffer answers PYX_NOT_FOUND when it has passed on a property that
/// it does not have itself; so does a muxer that does not have it either. A value
/// that the muxer has no form for is no reason to save no clip.
Outcome Offer(PYXPropertyStorage* pStorage, const wchar_t* name, const PYXVariant& value)
{
    const PYX_RESULT result = pStorage->SetProperty(name, value);
    const bool canGoOn =
        result == PYX_OK || result == PYX_NOT_FOUND || result == PYX_OUT_OF_RANGE || result == PYX_INVALID_ARG;
    return canGoOn ? Outcome()
                   : Outcome(ExitCode::Failed, "property " + ToUtf8(name) + " was refused: " + ReasonOf(result));
}

struct NumberRow
{
    const wchar_t* name;
    int value;
    int unknown;
};

Outcome OfferColors(PYXInput* pInput, const AVCodecParameters& parameters)
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
            RETURN_ON_FAILURE(Offer(pInput, row.name, PYXVariantFromInt64(row.value)));
        }
    }
    return {};
}

bool TellsDefaultStream(const AVFormatContext& file)
{
    const std::string_view name = file.iformat->name;
    return name.starts_with("mov") || name.starts_with("matroska");
}

Outcome OfferCommon(PYXInput* pInput, const MediaReader& reader)
{
    const AVStream& stream = reader.Stream();
    if (const AVDictionaryEntry* pEntry = av_dict_get(stream.metadata, "language", nullptr, 0))
    {
        const std::wstring language = ToWide(pEntry->value);
        RETURN_ON_FAILURE(Offer(pInput, PYX_PROPERTY_LANGUAGE, PYXVariantBorrowWString(language.c_str())));
    }
    const bool isDefault = (stream.disposition & AV_DISPOSITION_DEFAULT) != 0;
    return TellsDefaultStream(reader.File()) ? Offer(pInput, PYX_PROPERTY_DEFAULT_STREAM, PYXVariantFromBool(isDefault))
                                             : Outcome();
}

} // namespace

std::string WhatIsNotKept(const MediaReader& video, const std::wstring& output)
{
    const AVOutputFormat* pFormat = av_guess_format(nullptr, ToUtf8(output).c_str(), nullptr);
    const Orientation orientation = GetOrientation(video.Stream());
    const bool isKept = orientation == Orientation() || !pFormat || KeepsOrientation(pFormat->name);
    return isKept ? "" : "an .mkv file does not keep that the pictures are turned or mirrored; .mp4 and .mov do";
}

Outcome SetVideoDetails(PYXInput* pInput, const MediaReader& video)
{
    RETURN_ON_FAILURE(OfferColors(pInput, video.Parameters()));
    if (const Orientation orientation = GetOrientation(video.Stream()); orientation != Orientation())
    {
        RETURN_ON_FAILURE(Offer(pInput, PYX_PROPERTY_VIDEO_ROTATION, PYXVariantFromInt64(orientation.rotation)));
        RETURN_ON_FAILURE(Offer(pInput, PYX_PROPERTY_VIDEO_MIRRORED, PYXVariantFromBool(orientation.mirrored)));
    }
    if (const AVRational aspect = video.PixelAspect(); aspect.num > 0 && aspect.den > 0)
    {
        const PYXVariant value =
            PYXVariantFromRate(static_cast<pyx_uint32>(aspect.num), static_cast<pyx_uint32>(aspect.den));
        RETURN_ON_FAILURE(Offer(pInput, PYX_PROPERTY_VIDEO_PIXEL_ASPECT, value));
    }
    return OfferCommon(pInput, video);
}

Outcome SetAudioDetails(PYXInput* pInput, const MediaReader& audio)
{
    return OfferCommon(pInput, audio);
}

Outcome SetClipDetails(PYXComponent* pComponent, const MediaReader& video, bool fastStart)
{
    const AVDictionaryEntry* pEntry = av_dict_get(video.File().metadata, "creation_time", nullptr, 0);
    pyx_int64 microseconds = 0;
    if (pEntry && av_parse_time(&microseconds, pEntry->value, 0) >= 0)
    {
        RETURN_ON_FAILURE(Offer(pComponent, PYX_PROPERTY_CREATION_TIME, PYXVariantFromInt64(microseconds * 10)));
    }
    return fastStart ? Offer(pComponent, PYX_PROPERTY_FAST_START, PYXVariantFromBool(true)) : Outcome();
}
