#pragma once

#include "media/FFmpeg.h"

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

/// Null for a codec that is not taken.
const CodecRow* FindCodec(AVCodecID id);

inline constexpr const char* c_videoCodecNames = "H.264, HEVC or AV1";
inline constexpr const char* c_audioCodecNames = "AAC or Opus";

/// What the demuxers that script/lib/ffmpeg.sh builds read, by its usual endings, if there is video in it.
inline constexpr const char* c_containerNames = "mp4, mov, mkv, webm, ts, avi, flv, ivf, obu, h264, hevc";
