#include "replay/input/Describe.h"

#include "common/PropertyNames.h"
#include "replay/HostHelpers.h"
#include "replay/input/StreamDetails.h"

namespace
{

/// Values of which a file may know nothing: then the property's default stays.
Outcome SetIfKnown(PYXInput* pInput, const wchar_t* name, pyx_int64 value)
{
    return value > 0 ? SetAll(pInput, {{name, PYXVariantFromInt64(value)}}) : Outcome();
}

/// A codec's set-up data as the encoder gives it.
std::span<const pyx_uint8> ExtraData(const AVCodecParameters& parameters)
{
    const std::span<const pyx_uint8> data(parameters.extradata, static_cast<std::size_t>(parameters.extradata_size));
    // Containers put four bytes of their own before AV1's sequence header; the first of them has the top bit set.
    const bool av1Box = parameters.codec_id == AV_CODEC_ID_AV1 && data.size() > 4 && (data[0] & 0x80) != 0;
    return av1Box ? data.subspan(4) : data;
}

Outcome SetExtraData(PYXInput* pInput, const AVCodecParameters& parameters)
{
    const std::span<const pyx_uint8> data = ExtraData(parameters);
    if (data.empty())
    {
        return {};
    }
    const PYXInterfacePtr<HostBuffer> spData = MakeBuffer(data);
    return spData ? SetAll(pInput, {{PYX_PROPERTY_EXTRA_DATA, PYXVariantBorrowInterface(spData.Get())}})
                  : OutOfMemory();
}

pyx_int64 VideoCodecId(const CodecRow& codec, const AVCodecParameters& parameters)
{
    const bool main10 = codec.id == AV_CODEC_ID_HEVC && parameters.profile == FF_PROFILE_HEVC_MAIN_10;
    return main10 ? PYX_VIDEO_CODEC_HEVC_MAIN10 : codec.componentId;
}

} // namespace

Outcome DescribeVideo(PYXInput* pInput, const MediaReader& video)
{
    const AVCodecParameters& parameters = video.Parameters();
    RETURN_ON_FAILURE(
        SetAll(pInput, {
                           {PYX_PROPERTY_CODEC_ID, PYXVariantFromInt64(VideoCodecId(video.Codec(), parameters))},
                           {PYX_PROPERTY_VIDEO_FRAME_SIZE, PYXVariantFromSize(parameters.width, parameters.height)},
                       }));
    if (const AVRational rate = video.FrameRate(); rate.num > 0 && rate.den > 0)
    {
        const PYXVariant value =
            PYXVariantFromRate(static_cast<pyx_uint32>(rate.num), static_cast<pyx_uint32>(rate.den));
        RETURN_ON_FAILURE(SetAll(pInput, {{PYX_PROPERTY_VIDEO_FRAME_RATE, value}}));
    }
    RETURN_ON_FAILURE(SetIfKnown(pInput, PYX_PROPERTY_BIT_RATE, parameters.bit_rate));
    RETURN_ON_FAILURE(SetVideoDetails(pInput, video));
    return SetExtraData(pInput, parameters);
}

Outcome DescribeAudio(PYXInput* pInput, const MediaReader& audio)
{
    const AVCodecParameters& parameters = audio.Parameters();
    const pyx_int64 layout =
        parameters.ch_layout.order == AV_CHANNEL_ORDER_NATIVE ? static_cast<pyx_int64>(parameters.ch_layout.u.mask) : 0;
    const NamedValue values[] = {
        {PYX_PROPERTY_CODEC_ID, PYXVariantFromInt64(parameters.codec_id)},
        {PYX_PROPERTY_AUDIO_SAMPLE_RATE, PYXVariantFromInt64(parameters.sample_rate)},
        {PYX_PROPERTY_AUDIO_CHANNELS, PYXVariantFromInt64(parameters.ch_layout.nb_channels)},
        {PYX_PROPERTY_AUDIO_FORMAT, PYXVariantFromInt64(parameters.format)}, // numbered alike on both sides
        {PYX_PROPERTY_AUDIO_CHANNEL_LAYOUT, PYXVariantFromInt64(layout)},
        {PYX_PROPERTY_AUDIO_BLOCK_ALIGN, PYXVariantFromInt64(parameters.block_align)},
        {PYX_PROPERTY_AUDIO_FRAME_SIZE, PYXVariantFromInt64(parameters.frame_size)},
    };
    for (const NamedValue& named : values)
    {
        RETURN_ON_FAILURE(SetAll(pInput, {named}));
    }
    RETURN_ON_FAILURE(SetIfKnown(pInput, PYX_PROPERTY_BIT_RATE, parameters.bit_rate));
    RETURN_ON_FAILURE(SetAudioDetails(pInput, audio));
    return SetExtraData(pInput, parameters);
}
