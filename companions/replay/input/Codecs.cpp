#include "replay/input/Codecs.h"

#include "common/Component.h"

#include <algorithm>
#include <iterator>

namespace
{

constexpr CodecRow c_codecs[] = {
    {AV_CODEC_ID_H264, "H.264", PYX_VIDEO_CODEC_H264, true, "h264_mp4toannexb"},
    {AV_CODEC_ID_HEVC, "HEVC", PYX_VIDEO_CODEC_HEVC, true, "hevc_mp4toannexb"},
    {AV_CODEC_ID_AV1, "AV1", PYX_VIDEO_CODEC_AV1, false, nullptr},
    {AV_CODEC_ID_AAC, "AAC", 0, true, "aac_adtstoasc"},
    {AV_CODEC_ID_OPUS, "Opus", 0, false, nullptr},
};

} // namespace

const CodecRow* FindCodec(AVCodecID id)
{
    const CodecRow* pRow = std::ranges::find(c_codecs, id, &CodecRow::id);
    return pRow == std::end(c_codecs) ? nullptr : pRow;
}
