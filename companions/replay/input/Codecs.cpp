#include "replay/input/Codecs.h"

#include "common/Component.h"
#include "common/PropertyNames.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace
{

constexpr CodecRow c_codecs[] = {
    {AV_CODEC_ID_H264, "H.264", PYX_VIDEO_CODEC_H264, PYX_PROPERTY_OUTPUT_DATA_TYPE, 2, true, "h264_mp4toannexb"},
    {AV_CODEC_ID_HEVC, "HEVC", PYX_VIDEO_CODEC_HEVC, PYX_PROPERTY_HEVC_OUTPUT_DATA_TYPE, 2, true, "hevc_mp4toannexb"},
    {AV_CODEC_ID_AV1, "AV1", PYX_VIDEO_CODEC_AV1, PYX_PROPERTY_AV1_OUTPUT_FRAME_TYPE, 1, false, nullptr},
    {AV_CODEC_ID_AAC, "AAC", 0, nullptr, 0, true, "aac_adtstoasc"},
    {AV_CODEC_ID_OPUS, "Opus", 0, nullptr, 0, false, nullptr},
};

/// What the demuxers that script/lib/ffmpeg.sh builds read, if there is video in it.
constexpr const char* c_endings[] = {"mp4", "mov", "mkv", "webm", "ts", "avi", "flv", "ivf", "obu", "h264", "hevc"};

/// "a, b, c" with `last` between the last two.
std::string Join(const std::vector<std::string>& words, const char* last)
{
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i)
    {
        text += (i == 0 ? "" : i + 1 == words.size() ? last : ", ") + words[i];
    }
    return text;
}

} // namespace

const CodecRow* FindCodec(AVCodecID id)
{
    const auto row =
        std::find_if(std::begin(c_codecs), std::end(c_codecs), [id](const CodecRow& codec) { return codec.id == id; });
    return row == std::end(c_codecs) ? nullptr : row;
}

std::string SupportedCodecs(AVMediaType kind)
{
    std::vector<std::string> names;
    for (const CodecRow& codec : c_codecs)
    {
        if (avcodec_get_type(codec.id) == kind)
        {
            names.emplace_back(codec.name);
        }
    }
    return Join(names, " or ");
}

std::string SupportedContainers()
{
    return Join({std::begin(c_endings), std::end(c_endings)}, ", ");
}
