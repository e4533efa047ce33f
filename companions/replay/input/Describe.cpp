#include "replay/input/Describe.h"

#include "common/PropertyNames.h"
#include "host/HostBuffer.h"
#include "replay/input/StreamDetails.h"

#include <new>

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
    SetAudioDetails(stream.spMore.Get(), audio);
    return stream;
}

PYXInterfacePtr<PYXPropertyStorage> DescribeClip(const MediaReader& video, bool fastStart)
{
    PYXInterfacePtr<PYXPropertyStorage> spClip = MakeProperties();
    SetClipDetails(spClip.Get(), video, fastStart);
    return spClip;
}
