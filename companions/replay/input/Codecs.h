#pragma once

#include "common/Component.h"
#include "media/FFmpeg.h"

#include <algorithm>
#include <iterator>

/// What the sample host can be given.

/// A codec that the replay buffer takes.
struct CodecRow
{
    bool IsVideo() const
    {
        return componentId != 0;
    }

    AVCodecID id;
    const char* name;
    pyx_int64 componentId; ///< "CodecID" of the video input; 0: the audio input takes FFmpeg's number
    bool inMov;            ///< whether a .mov file can hold it
    const char* filter;    ///< FFmpeg's filter from a container's form to an encoder's
};

inline constexpr CodecRow c_codecs[] = {
    {AV_CODEC_ID_H264, "H.264", PYX_VIDEO_CODEC_H264, true, "h264_mp4toannexb"},
    {AV_CODEC_ID_HEVC, "HEVC", PYX_VIDEO_CODEC_HEVC, true, "hevc_mp4toannexb"},
    {AV_CODEC_ID_AV1, "AV1", PYX_VIDEO_CODEC_AV1, false, nullptr},
    {AV_CODEC_ID_AAC, "AAC", 0, true, "aac_adtstoasc"},
    {AV_CODEC_ID_OPUS, "Opus", 0, false, nullptr},
};

/// Null for a codec that is not taken.
inline const CodecRow* FindCodec(AVCodecID id)
{
    const CodecRow* pRow = std::ranges::find(c_codecs, id, &CodecRow::id);
    return pRow == std::end(c_codecs) ? nullptr : pRow;
}

inline constexpr const char* c_videoCodecNames = "H.264, HEVC or AV1";
inline constexpr const char* c_audioCodecNames = "AAC or Opus";

/// What the demuxers that script/lib/ffmpeg.sh builds read, by its usual endings, if there is video in it.
inline constexpr const char* c_containerNames = "mp4, mov, mkv, webm, ts, avi, flv, ivf, obu, h264, hevc";
