#include "muxer/StreamDescription.h"

#include "common/Component.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "common/PropertyNames.h"
#include "common/PropertyReader.h"
#include "common/Trace.h"
#include "host/Utf8.h"
#include "media/Codecs.h"
#include "media/NalStream.h"

#include <algorithm>
#include <climits>
#include <iterator>
#include <span>
#include <string_view>
#include <type_traits>

namespace
{

constexpr PYXTraceSource c_traceSource{L"companions/muxer/StreamDescription", L"StreamDescription"};

constexpr PYXVariant Number(pyx_int64 value)
{
    return PYXVariantFromInt64(value);
}

constexpr PYXVariant c_none{};
constexpr pyx_uint32 c_access = PYX_PROPERTY_ACCESS_READ_WRITE;

// clang-format off
const PYXPropertyDeclaration c_videoDetails[] = { // the first two are those of audio too
    //                                     display name          kind                   default                       minimum    maximum                    access
    {PYX_PROPERTY_LANGUAGE,                L"Language",          PYX_VARIANT_WSTRING,   PYXVariantBorrowWString(L""), c_none,    c_none,                    c_access},
    {PYX_PROPERTY_DEFAULT_STREAM,          L"Default stream",    PYX_VARIANT_BOOL,      PYXVariantFromBool(true),     c_none,    c_none,                    c_access},
    {PYX_PROPERTY_VIDEO_PIXEL_ASPECT,      L"Pixel aspect",      PYX_VARIANT_RATE,      PYXVariantFromRate(1, 1),     c_none,    c_none,                    c_access},
    {PYX_PROPERTY_VIDEO_DISPLAY_MATRIX,    L"Display matrix",    PYX_VARIANT_INTERFACE, c_none,                       c_none,    c_none,                    c_access},
    {PYX_PROPERTY_VIDEO_MASTERING_DISPLAY, L"Mastering display", PYX_VARIANT_INTERFACE, c_none,                       c_none,    c_none,                    c_access},
    {PYX_PROPERTY_VIDEO_CONTENT_LIGHT,     L"Content light",     PYX_VARIANT_INTERFACE, c_none,                       c_none,    c_none,                    c_access},
    {PYX_PROPERTY_VIDEO_COLOR_RANGE,       L"Color range",       PYX_VARIANT_INT64,     Number(0),                    Number(0), Number(AVCOL_RANGE_JPEG),  c_access},
    {PYX_PROPERTY_VIDEO_COLOR_PRIMARIES,   L"Color primaries",   PYX_VARIANT_INT64,     Number(2),                    Number(0), Number(AVCOL_PRI_NB - 1),  c_access},
    {PYX_PROPERTY_VIDEO_COLOR_TRANSFER,    L"Color transfer",    PYX_VARIANT_INT64,     Number(2),                    Number(0), Number(AVCOL_TRC_NB - 1),  c_access},
    {PYX_PROPERTY_VIDEO_COLOR_MATRIX,      L"Color matrix",      PYX_VARIANT_INT64,     Number(2),                    Number(0), Number(AVCOL_SPC_NB - 1),  c_access},
};
// clang-format on

std::wstring GetName(AVCodecID codec)
{
    return PYXToWide(avcodec_get_name(codec));
}

PYX_RESULT CheckContainer(AVCodecID codec, const AVOutputFormat& format)
{
    const CodecRow* pRow = FindCodec(&CodecRow::id, codec);
    // FFmpeg has tags for AV1 and Opus in every film, and refuses them only later, when the header is written.
    const bool isRefused = pRow && !pRow->inMov && std::string_view(format.name) == "mov";
    const bool canHold = avformat_query_codec(&format, codec, FF_COMPLIANCE_NORMAL) != 0;
    FAIL_IF_NOT(canHold && !isRefused, PYX_INVALID_ARG, L"a file of the kind %s cannot hold %s",
                PYXToWide(format.name).c_str(), GetName(codec).c_str());
    return PYX_OK;
}

/// Empty when it cannot be read.
PYXVariantOwner ReadAs(PYXPropertyStorage* pInput, const wchar_t* name, PYXVariantType type)
{
    PYXVariantOwner value;
    static_cast<void>(PYXReadPropertyAs(pInput, name, type, &value));
    return value;
}

/// A number that the input declares within the range of an int, or that is cut to it.
int ReadNumber(PYXPropertyStorage* pInput, const wchar_t* name)
{
    return static_cast<int>(std::clamp<pyx_int64>(PYXReadPropertyOr<pyx_int64>(pInput, name, 0), INT_MIN, INT_MAX));
}

PYX_RESULT SetExtraData(AVCodecParameters* pParameters, Bytes bytes)
{
    FAIL_IF_NOT(bytes.size() <= INT_MAX - AV_INPUT_BUFFER_PADDING_SIZE, PYX_INVALID_ARG, L"ExtraData is too large");
    FAIL_IF_NOT(CopyExtraData(pParameters, bytes), PYX_OUT_OF_MEMORY, L"no memory for ExtraData");
    return PYX_OK;
}

/// The bytes of a property's buffer, none when it has no buffer; `*pspBuffer` keeps them.
PYX_RESULT ReadBytes(PYXPropertyStorage* pInput, const wchar_t* name, PYXInterfacePtr<PYXBuffer>* pspBuffer,
                     Bytes* pBytes)
{
    PYXVariantOwner value;
    PASS_ON_FAILURE(pInput->GetProperty(name, value.Out()), L"the stream's %s cannot be read", name);
    if (value.Get().type == PYX_VARIANT_INTERFACE && value.Get().interfaceValue)
    {
        *pspBuffer = PYXQuery<PYXBuffer>(value.Get().interfaceValue);
        FAIL_IF_NOT(*pspBuffer, PYX_INVALID_ARG, L"the stream's %s is not a buffer", name);
        const auto* pNative = static_cast<const pyx_uint8*>((*pspBuffer)->GetNative());
        *pBytes = Bytes(pNative, pNative ? (*pspBuffer)->GetSize() : 0);
    }
    return PYX_OK;
}

/// What streams of either kind have.
PYX_RESULT SetUpStream(PYXPropertyStorage* pInput, AVMediaType type, AVCodecID codec, const AVOutputFormat& format,
                       AVStream* pStream)
{
    PASS_ON_FAILURE_SILENTLY(CheckContainer(codec, format));
    pStream->codecpar->codec_type = type;
    pStream->codecpar->codec_id = codec;
    pStream->codecpar->bit_rate = ReadNumber(pInput, PYX_PROPERTY_BIT_RATE);
    const PYXVariantOwner language = ReadAs(pInput, PYX_PROPERTY_LANGUAGE, PYX_VARIANT_STRING); // in UTF-8
    FAIL_IF_NOT(av_dict_set(&pStream->metadata, "language", language.Get().stringValue, 0) >= 0, PYX_OUT_OF_MEMORY,
                L"no memory for a stream's language");
    pStream->disposition = PYXReadPropertyOr(pInput, PYX_PROPERTY_DEFAULT_STREAM, false) ? AV_DISPOSITION_DEFAULT : 0;
    PYXInterfacePtr<PYXBuffer> spBuffer;
    Bytes extraData;
    PASS_ON_FAILURE_SILENTLY(ReadBytes(pInput, PYX_PROPERTY_EXTRA_DATA, &spBuffer, &extraData));
    return extraData.empty() ? PYX_OK : SetExtraData(pStream->codecpar, extraData);
}

/// What players show of the pictures.
PYX_RESULT SetVideoDetails(PYXPropertyStorage* pInput, AVStream* pStream)
{
    AVCodecParameters& parameters = *pStream->codecpar;
    const auto read = [pInput](const wchar_t* name, auto* pValue) {
        *pValue = static_cast<std::remove_pointer_t<decltype(pValue)>>(ReadNumber(pInput, name));
    };
    read(PYX_PROPERTY_VIDEO_COLOR_RANGE, &parameters.color_range);
    read(PYX_PROPERTY_VIDEO_COLOR_PRIMARIES, &parameters.color_primaries);
    read(PYX_PROPERTY_VIDEO_COLOR_TRANSFER, &parameters.color_trc);
    read(PYX_PROPERTY_VIDEO_COLOR_MATRIX, &parameters.color_space);
    parameters.sample_aspect_ratio =
        ToRational(ReadAs(pInput, PYX_PROPERTY_VIDEO_PIXEL_ASPECT, PYX_VARIANT_RATE).Get().rateValue);
    pStream->sample_aspect_ratio = parameters.sample_aspect_ratio;
    for (const SideDataRow& row : c_sideData)
    {
        PYXInterfacePtr<PYXBuffer> spBuffer;
        Bytes bytes;
        PASS_ON_FAILURE_SILENTLY(ReadBytes(pInput, row.property, &spBuffer, &bytes));
        const bool isTaken = bytes.size() != row.size || AddSideData(pStream, row.type, bytes);
        FAIL_IF_NOT(isTaken, PYX_OUT_OF_MEMORY, L"no memory for the stream's %s", row.property);
    }
    return PYX_OK;
}

PYX_RESULT OpenFilter(const char* name, const AVCodecParameters& parameters, FilterPtr* pspFilter)
{
    const int error = OpenFilter(name, parameters, c_ticks, pspFilter);
    PASS_ON_FAILURE(ToResult(error), L"the extra data of %s cannot be read: %s", GetName(parameters.codec_id).c_str(),
                    PYXToWide(FFmpegErrorText(error)).c_str());
    return PYX_OK;
}

/// Takes the parameter sets, or the sequence header of AV1, from the first packet.
PYX_RESULT TakeExtraDataFrom(const AVPacket& first, AVCodecParameters* pParameters)
{
    FilterPtr spFilter;
    PASS_ON_FAILURE_SILENTLY(OpenFilter("extract_extradata", *pParameters, &spFilter));
    const PacketPtr spPacket(av_packet_clone(&first));
    FAIL_IF_NOT(spPacket, PYX_OUT_OF_MEMORY, L"no memory for the first packet");
    size_t size = 0;
    const pyx_uint8* pFound = nullptr;
    if (av_bsf_send_packet(spFilter.get(), spPacket.get()) >= 0 &&
        av_bsf_receive_packet(spFilter.get(), spPacket.get()) >= 0)
    {
        pFound = av_packet_get_side_data(spPacket.get(), AV_PKT_DATA_NEW_EXTRADATA, &size);
    }
    FAIL_IF_NOT(pFound, PYX_NOT_INITIALIZED,
                L"the video stream has no description: no ExtraData, and no parameter sets in its first packet");
    return SetExtraData(pParameters, {pFound, size});
}

/// Makes packets and extra data agree: a container takes either both after
/// start codes or both with lengths and a configuration record.
PYX_RESULT SetNalExtraData(const AVPacket& first, AVCodecParameters* pParameters)
{
    const Bytes packet(first.data, static_cast<std::size_t>(first.size));
    const Bytes extraData(pParameters->extradata, static_cast<std::size_t>(pParameters->extradata_size));
    const bool isRecord = IsConfigurationRecord(extraData);
    if (isRecord && IsLengthPrefixed(packet, GetLengthSize(extraData, pParameters->codec_id == AV_CODEC_ID_HEVC)))
    {
        return PYX_OK;
    }
    FAIL_IF_NOT(IsAnnexB(packet), PYX_INVALID_ARG,
                L"the first video packet has neither start codes nor the lengths that ExtraData announces");
    if (isRecord)
    {
        FilterPtr spFilter; // whose output has the record's parameter sets after start codes
        const CodecRow* pRow = FindCodec(&CodecRow::id, pParameters->codec_id);
        PASS_ON_FAILURE_SILENTLY(OpenFilter(pRow->filter, *pParameters, &spFilter));
        const AVCodecParameters& converted = *spFilter->par_out;
        return SetExtraData(pParameters, {converted.extradata, static_cast<std::size_t>(converted.extradata_size)});
    }
    if (extraData.empty())
    {
        return TakeExtraDataFrom(first, pParameters);
    }
    FAIL_IF_NOT(IsAnnexB(extraData), PYX_INVALID_ARG,
                L"the video stream's ExtraData is neither a configuration record nor parameter sets with start codes");
    return PYX_OK;
}

/// The stream's clock is one on which the pictures of a steady stream fall exactly, at least as fine as the usual one.
void SetFrameRate(AVRational rate, AVStream* pStream)
{
    constexpr int usual = 90000;
    const bool isUsable = rate.num > 0 && rate.num <= c_ticks.den;
    pStream->avg_frame_rate = rate;
    pStream->r_frame_rate = rate;
    pStream->time_base = {1, isUsable ? (usual + rate.num - 1) / rate.num * rate.num : usual};
}

void SetChannels(int channels, int layout, AVCodecParameters* pParameters)
{
    if (av_channel_layout_from_mask(&pParameters->ch_layout, static_cast<pyx_uint64>(layout)) < 0 ||
        pParameters->ch_layout.nb_channels != channels)
    {
        av_channel_layout_default(&pParameters->ch_layout, channels);
    }
}

} // namespace

const std::span<const PYXPropertyDeclaration> VIDEO_DETAIL_PROPERTIES{c_videoDetails};
const std::span<const PYXPropertyDeclaration> AUDIO_DETAIL_PROPERTIES{VIDEO_DETAIL_PROPERTIES.first(2)};

PYX_RESULT SetUpVideo(PYXPropertyStorage* pInput, const AVPacket& first, const AVOutputFormat& format,
                      AVStream* pStream)
{
    AVCodecParameters* pParameters = pStream->codecpar;
    const pyx_int64 number = ReadNumber(pInput, PYX_PROPERTY_CODEC_ID);
    const CodecRow* pRow = FindCodec(&CodecRow::number, number);
    FAIL_IF_NOT(pRow && pRow->IsVideo(), PYX_INVALID_ARG,
                L"video with CodecID %lld cannot be written: only H.264, HEVC and AV1", number);
    PASS_ON_FAILURE_SILENTLY(SetUpStream(pInput, AVMEDIA_TYPE_VIDEO, pRow->id, format, pStream));
    const PYXVariantOwner size = ReadAs(pInput, PYX_PROPERTY_VIDEO_FRAME_SIZE, PYX_VARIANT_SIZE);
    pParameters->width = size.Get().sizeValue.width;
    pParameters->height = size.Get().sizeValue.height;
    SetFrameRate(ToRational(ReadAs(pInput, PYX_PROPERTY_VIDEO_FRAME_RATE, PYX_VARIANT_RATE).Get().rateValue), pStream);
    if (pRow->id == AV_CODEC_ID_HEVC && std::string_view(format.name) != "matroska")
    {
        // Some players take HEVC only under the tag of parameter sets that are in the description, which is where they
        // are.
        pParameters->codec_tag = MKTAG('h', 'v', 'c', '1');
    }
    PASS_ON_FAILURE_SILENTLY(SetVideoDetails(pInput, pStream));
    if (pRow->id != AV_CODEC_ID_AV1)
    {
        return SetNalExtraData(first, pParameters);
    }
    return pParameters->extradata_size > 0 ? PYX_OK : TakeExtraDataFrom(first, pParameters);
}

PYX_RESULT SetUpAudio(PYXPropertyStorage* pInput, const AVOutputFormat& format, AVStream* pStream)
{
    AVCodecParameters* pParameters = pStream->codecpar;
    const int number = ReadNumber(pInput, PYX_PROPERTY_CODEC_ID);
    const bool isAudio = number >= AV_CODEC_ID_FIRST_AUDIO && number < AV_CODEC_ID_FIRST_SUBTITLE;
    FAIL_IF_NOT(isAudio, PYX_INVALID_ARG, L"CodecID %d is no audio codec", number);
    PASS_ON_FAILURE_SILENTLY(SetUpStream(pInput, AVMEDIA_TYPE_AUDIO, static_cast<AVCodecID>(number), format, pStream));
    pParameters->sample_rate = ReadNumber(pInput, PYX_PROPERTY_AUDIO_SAMPLE_RATE);
    pParameters->format = ReadNumber(pInput, PYX_PROPERTY_AUDIO_FORMAT);
    pParameters->block_align = ReadNumber(pInput, PYX_PROPERTY_AUDIO_BLOCK_ALIGN);
    pParameters->frame_size = ReadNumber(pInput, PYX_PROPERTY_AUDIO_FRAME_SIZE);
    FAIL_IF_NOT(pParameters->sample_rate > 0, PYX_NOT_INITIALIZED,
                L"the audio stream has no description: no sample rate");
    pStream->time_base = {1, pParameters->sample_rate};
    SetChannels(ReadNumber(pInput, PYX_PROPERTY_AUDIO_CHANNELS), ReadNumber(pInput, PYX_PROPERTY_AUDIO_CHANNEL_LAYOUT),
                pParameters);

    const CodecRow* pRow = FindCodec(&CodecRow::id, pParameters->codec_id);
    constexpr AVCodecID others[] = {AV_CODEC_ID_VORBIS, AV_CODEC_ID_FLAC, AV_CODEC_ID_ALAC};
    const bool needsExtraData = pRow || std::ranges::find(others, pParameters->codec_id) != std::end(others);
    FAIL_IF_NOT(!needsExtraData || pParameters->extradata_size > 0, PYX_NOT_INITIALIZED,
                L"the audio stream has no description: %s needs ExtraData", GetName(pParameters->codec_id).c_str());
    if (pRow && pParameters->frame_size == 0)
    {
        pParameters->frame_size = pRow->frameSize;
    }
    return PYX_OK;
}
