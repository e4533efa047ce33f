#include "muxer/StreamDescription.h"

#include "common/Component.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "common/PropertyNames.h"
#include "common/PropertyReader.h"
#include "common/Trace.h"
#include "host/Utf8.h"
#include "media/NalStream.h"
#include "muxer/ClipDetails.h"
#include "muxer/FFmpegLog.h"

#include <algorithm>
#include <climits>
#include <iterator>
#include <span>
#include <string_view>

namespace
{

constexpr PYXTraceSource c_traceSource{L"companions/muxer/StreamDescription", L"StreamDescription"};

struct VideoCodecRow
{
    pyx_int64 number;
    AVCodecID codec;
};

constexpr VideoCodecRow c_videoCodecs[] = {
    {PYX_VIDEO_CODEC_H264, AV_CODEC_ID_H264},        {PYX_VIDEO_CODEC_HEVC, AV_CODEC_ID_HEVC},
    {PYX_VIDEO_CODEC_HEVC_MAIN10, AV_CODEC_ID_HEVC}, {PYX_VIDEO_CODEC_AV1, AV_CODEC_ID_AV1},
    {PYX_VIDEO_CODEC_AV1_12BIT, AV_CODEC_ID_AV1},
};

/// Audio whose decoders cannot start without extra data, and the usual samples
/// per packet of those that have one.
struct AudioCodecRow
{
    AVCodecID codec;
    int frameSize;
};

constexpr AudioCodecRow c_audioCodecsWithExtraData[] = {
    {AV_CODEC_ID_AAC, 1024}, {AV_CODEC_ID_OPUS, 960},  {AV_CODEC_ID_VORBIS, 0},
    {AV_CODEC_ID_FLAC, 0},   {AV_CODEC_ID_ALAC, 4096},
};

std::wstring GetName(AVCodecID codec)
{
    return PYXToWide(avcodec_get_name(codec));
}

/// FFmpeg has tags for these in every film, and refuses them only later, when
/// the header is written.
bool IsRefusedByMov(AVCodecID codec, const AVOutputFormat& format)
{
    return std::string_view(format.name) == "mov" && (codec == AV_CODEC_ID_AV1 || codec == AV_CODEC_ID_OPUS);
}

PYX_RESULT CheckContainer(AVCodecID codec, const AVOutputFormat& format)
{
    const bool canHold = avformat_query_codec(&format, codec, FF_COMPLIANCE_NORMAL) != 0;
    FAIL_IF_NOT(canHold && !IsRefusedByMov(codec, format), PYX_INVALID_ARG, L"a file of the kind %s cannot hold %s",
                PYXToWide(format.name).c_str(), GetName(codec).c_str());
    return PYX_OK;
}

struct NumberField
{
    const wchar_t* name;
    int* pValue;
};

PYX_RESULT ReadNumbers(PYXPropertyStorage* pInput, std::span<const NumberField> fields)
{
    for (const NumberField& field : fields)
    {
        pyx_int64 value = 0;
        PASS_ON_FAILURE(PYXReadProperty(pInput, field.name, &value), L"the stream's %s cannot be read", field.name);
        FAIL_IF_NOT(value >= INT_MIN && value <= INT_MAX, PYX_INVALID_ARG, L"the stream's %s is out of range: %lld",
                    field.name, value);
        *field.pValue = static_cast<int>(value);
    }
    return PYX_OK;
}

PYX_RESULT SetExtraData(AVCodecParameters* pParameters, Bytes bytes)
{
    FAIL_IF_NOT(bytes.size() <= INT_MAX - AV_INPUT_BUFFER_PADDING_SIZE, PYX_INVALID_ARG, L"ExtraData is too large");
    auto* pCopy = static_cast<pyx_uint8*>(av_mallocz(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    FAIL_IF_NOT(pCopy, PYX_OUT_OF_MEMORY, L"no memory for ExtraData");
    std::copy(bytes.begin(), bytes.end(), pCopy);
    av_freep(&pParameters->extradata);
    pParameters->extradata = pCopy;
    pParameters->extradata_size = static_cast<int>(bytes.size());
    return PYX_OK;
}

/// Copies the bytes of "ExtraData"; leaves them empty when it was not given.
PYX_RESULT ReadExtraData(PYXPropertyStorage* pInput, AVCodecParameters* pParameters)
{
    PYXVariantOwner value;
    PASS_ON_FAILURE(pInput->GetProperty(PYX_PROPERTY_EXTRA_DATA, value.Out()),
                    L"the stream's ExtraData cannot be read");
    if (value.Get().type != PYX_VARIANT_INTERFACE || !value.Get().interfaceValue)
    {
        return PYX_OK;
    }
    const auto spBuffer = PYXQuery<PYXBuffer>(value.Get().interfaceValue);
    FAIL_IF_NOT(spBuffer, PYX_INVALID_ARG, L"the stream's ExtraData is not a buffer");
    const auto* pNative = static_cast<const pyx_uint8*>(spBuffer->GetNative());
    const std::size_t size = pNative ? spBuffer->GetSize() : 0;
    return size > 0 ? SetExtraData(pParameters, {pNative, size}) : PYX_OK;
}

PYX_RESULT OpenFilter(const char* name, const AVCodecParameters& parameters, FilterPtr* pspFilter)
{
    AVBSFContext* pFilter = nullptr;
    int error = av_bsf_alloc(av_bsf_get_by_name(name), &pFilter);
    pspFilter->reset(pFilter);
    if (error >= 0)
    {
        error = avcodec_parameters_copy(pFilter->par_in, &parameters);
    }
    if (error >= 0)
    {
        error = av_bsf_init(pFilter);
    }
    PASS_ON_FAILURE(ToResult(error), L"the extra data of %s cannot be read: %s", GetName(parameters.codec_id).c_str(),
                    PYXToWide(FFmpegErrorText(error)).c_str());
    return PYX_OK;
}

/// Replaces a configuration record by the same parameter sets behind start codes.
PYX_RESULT ConvertRecordToAnnexB(AVCodecParameters* pParameters)
{
    FilterPtr spFilter;
    const bool isHevc = pParameters->codec_id == AV_CODEC_ID_HEVC;
    PASS_ON_FAILURE_SILENTLY(OpenFilter(isHevc ? "hevc_mp4toannexb" : "h264_mp4toannexb", *pParameters, &spFilter));
    const AVCodecParameters& converted = *spFilter->par_out;
    return SetExtraData(pParameters, {converted.extradata, static_cast<std::size_t>(converted.extradata_size)});
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

/// Makes packets and extra data agree: a container takes either both behind
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
        return ConvertRecordToAnnexB(pParameters);
    }
    if (extraData.empty())
    {
        return TakeExtraDataFrom(first, pParameters);
    }
    FAIL_IF_NOT(IsAnnexB(extraData), PYX_INVALID_ARG,
                L"the video stream's ExtraData is neither a configuration record nor parameter sets with start codes");
    return PYX_OK;
}

PYX_RESULT SetVideoExtraData(PYXPropertyStorage* pInput, const AVPacket& first, AVCodecParameters* pParameters)
{
    PASS_ON_FAILURE_SILENTLY(ReadExtraData(pInput, pParameters));
    if (pParameters->codec_id != AV_CODEC_ID_AV1)
    {
        return SetNalExtraData(first, pParameters);
    }
    return pParameters->extradata_size > 0 ? PYX_OK : TakeExtraDataFrom(first, pParameters);
}

/// A clock on which the pictures of a steady stream fall exactly, at least as
/// fine as the usual one of video.
AVRational ChooseClock(AVRational rate)
{
    constexpr int usual = 90000;
    if (rate.num <= 0 || rate.num > c_ticks.den)
    {
        return {1, usual};
    }
    return {1, (usual + rate.num - 1) / rate.num * rate.num};
}

void SetFrameRate(const PYXRate& rate, AVStream* pStream)
{
    const AVRational frameRate = ToRational(rate);
    pStream->avg_frame_rate = frameRate;
    pStream->r_frame_rate = frameRate;
    pStream->time_base = ChooseClock(frameRate);
}

/// Players of one vendor take HEVC only under the tag of parameter sets that
/// lie in the description, which is where they are.
void SetTag(const AVOutputFormat& format, AVCodecParameters* pParameters)
{
    if (pParameters->codec_id == AV_CODEC_ID_HEVC && std::string_view(format.name) != "matroska")
    {
        pParameters->codec_tag = MKTAG('h', 'v', 'c', '1');
    }
}

void SetChannels(int channels, int layout, AVCodecParameters* pParameters)
{
    if (av_channel_layout_from_mask(&pParameters->ch_layout, static_cast<pyx_uint64>(layout)) < 0 ||
        pParameters->ch_layout.nb_channels != channels)
    {
        av_channel_layout_default(&pParameters->ch_layout, channels);
    }
}

PYX_RESULT SetAudioExtraData(PYXPropertyStorage* pInput, AVCodecParameters* pParameters)
{
    const auto* pRow = std::ranges::find(c_audioCodecsWithExtraData, pParameters->codec_id, &AudioCodecRow::codec);
    const bool needsExtraData = pRow != std::end(c_audioCodecsWithExtraData);
    if (needsExtraData && pParameters->frame_size == 0)
    {
        pParameters->frame_size = pRow->frameSize;
    }
    PASS_ON_FAILURE_SILENTLY(ReadExtraData(pInput, pParameters));
    FAIL_IF_NOT(!needsExtraData || pParameters->extradata_size > 0, PYX_NOT_INITIALIZED,
                L"the audio stream has no description: %s needs ExtraData", GetName(pParameters->codec_id).c_str());
    return PYX_OK;
}

} // namespace

PYX_RESULT DescribeVideo(PYXPropertyStorage* pInput, const AVPacket& first, const AVOutputFormat& format,
                         AVStream* pStream)
{
    AVCodecParameters* pParameters = pStream->codecpar;
    int number = 0;
    int bitRate = 0;
    PYXVariantOwner size;
    PYXVariantOwner rate;
    const NumberField numbers[] = {{PYX_PROPERTY_CODEC_ID, &number}, {PYX_PROPERTY_BIT_RATE, &bitRate}};
    PASS_ON_FAILURE_SILENTLY(ReadNumbers(pInput, numbers));
    PASS_ON_FAILURE(PYXReadPropertyAs(pInput, PYX_PROPERTY_VIDEO_FRAME_SIZE, PYX_VARIANT_SIZE, &size),
                    L"the video's size cannot be read");
    PASS_ON_FAILURE(PYXReadPropertyAs(pInput, PYX_PROPERTY_VIDEO_FRAME_RATE, PYX_VARIANT_RATE, &rate),
                    L"the video's rate cannot be read");

    pParameters->codec_type = AVMEDIA_TYPE_VIDEO;
    const auto* pRow = std::ranges::find(c_videoCodecs, number, &VideoCodecRow::number);
    FAIL_IF_NOT(pRow != std::end(c_videoCodecs), PYX_INVALID_ARG,
                L"video with CodecID %d cannot be written: only H.264, HEVC and AV1", number);
    pParameters->codec_id = pRow->codec;
    PASS_ON_FAILURE_SILENTLY(CheckContainer(pParameters->codec_id, format));
    pParameters->bit_rate = bitRate;
    pParameters->width = size.Get().sizeValue.width;
    pParameters->height = size.Get().sizeValue.height;
    SetFrameRate(rate.Get().rateValue, pStream);
    SetTag(format, pParameters);
    PASS_ON_FAILURE_SILENTLY(SetVideoDetails(pInput, pStream));
    return SetVideoExtraData(pInput, first, pParameters);
}

PYX_RESULT DescribeAudio(PYXPropertyStorage* pInput, const AVOutputFormat& format, AVStream* pStream)
{
    AVCodecParameters* pParameters = pStream->codecpar;
    int number = 0;
    int bitRate = 0;
    int channels = 0;
    int layout = 0;
    const NumberField numbers[] = {
        {PYX_PROPERTY_CODEC_ID, &number},
        {PYX_PROPERTY_BIT_RATE, &bitRate},
        {PYX_PROPERTY_AUDIO_SAMPLE_RATE, &pParameters->sample_rate},
        {PYX_PROPERTY_AUDIO_CHANNELS, &channels},
        {PYX_PROPERTY_AUDIO_CHANNEL_LAYOUT, &layout},
        {PYX_PROPERTY_AUDIO_FORMAT, &pParameters->format},
        {PYX_PROPERTY_AUDIO_BLOCK_ALIGN, &pParameters->block_align},
        {PYX_PROPERTY_AUDIO_FRAME_SIZE, &pParameters->frame_size},
    };
    PASS_ON_FAILURE_SILENTLY(ReadNumbers(pInput, numbers));

    pParameters->codec_type = AVMEDIA_TYPE_AUDIO;
    const bool isAudio = number >= AV_CODEC_ID_FIRST_AUDIO && number < AV_CODEC_ID_FIRST_SUBTITLE;
    FAIL_IF_NOT(isAudio, PYX_INVALID_ARG, L"CodecID %d is no audio codec", number);
    pParameters->codec_id = static_cast<AVCodecID>(number);
    FAIL_IF_NOT(pParameters->sample_rate > 0, PYX_NOT_INITIALIZED,
                L"the audio stream has no description: no sample rate");
    PASS_ON_FAILURE_SILENTLY(CheckContainer(pParameters->codec_id, format));
    pParameters->bit_rate = bitRate;
    SetChannels(channels, layout, pParameters);
    pStream->time_base = {1, pParameters->sample_rate};
    PASS_ON_FAILURE_SILENTLY(SetAudioDetails(pInput, pStream));
    return SetAudioExtraData(pInput, pParameters);
}
