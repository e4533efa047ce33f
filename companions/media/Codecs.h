#pragma once

#include "common/Component.h"
#include "media/FFmpeg.h"

#include <algorithm>
#include <iterator>

/// A codec that the companions know. The muxer's traces have FFmpeg's short name for it, everything else `name`.
struct CodecRow
{
    bool IsVideo() const
    {
        return frameSize == 0;
    }

    AVCodecID id;
    const char* name;
    pyx_int64 number;   ///< "CodecID" of an input; of audio it is FFmpeg's own
    bool inMov;         ///< whether a .mov file can hold it
    const char* filter; ///< FFmpeg's filter from a container's form to an encoder's; null: they are the same
    int frameSize;      ///< usual samples per packet of audio; all of these need ExtraData
};

/// Of several rows of one codec the first is the usual one.
inline constexpr CodecRow c_codecs[] = {
    {AV_CODEC_ID_H264, "H.264", PYX_VIDEO_CODEC_H264, true, "h264_mp4toannexb", 0},
    {AV_CODEC_ID_HEVC, "HEVC", PYX_VIDEO_CODEC_HEVC, true, "hevc_mp4toannexb", 0},
    {AV_CODEC_ID_HEVC, "HEVC", PYX_VIDEO_CODEC_HEVC_MAIN10, true, "hevc_mp4toannexb", 0},
    {AV_CODEC_ID_AV1, "AV1", PYX_VIDEO_CODEC_AV1, false, nullptr, 0},
    {AV_CODEC_ID_AV1, "AV1", PYX_VIDEO_CODEC_AV1_12BIT, false, nullptr, 0},
    {AV_CODEC_ID_AAC, "AAC", AV_CODEC_ID_AAC, true, "aac_adtstoasc", 1024},
    {AV_CODEC_ID_OPUS, "Opus", AV_CODEC_ID_OPUS, false, nullptr, 960},
};

/// By one of its members; null: none of these.
template <class Value> const CodecRow* FindCodec(Value CodecRow::* member, Value value)
{
    const CodecRow* pRow = std::ranges::find(c_codecs, value, member);
    return pRow == std::end(c_codecs) ? nullptr : pRow;
}

inline constexpr const char* c_videoCodecNames = "H.264, HEVC or AV1";
inline constexpr const char* c_audioCodecNames = "AAC or Opus";
