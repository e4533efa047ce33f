#pragma once

#include "media/FFmpeg.h"

/// What the sample host can be given: one table of codecs, one of containers.

/// A codec that the replay buffer takes.
struct CodecRow
{
    AVCodecID id;
    const char* name;
    pyx_int64 componentId;        ///< "CodecID" of the video input; 0: the audio input takes FFmpeg's number
    const wchar_t* frameTypeName; ///< packet property that tells a video packet's kind, null for audio
    pyx_int64 regularFrameType;   ///< its value for packets that start no group; 0 starts one
    bool inMov;                   ///< whether a .mov file can hold it
    const char* filter;           ///< FFmpeg's filter from a container's form to an encoder's
};

/// Null for a codec that is not taken.
const CodecRow* FindCodec(AVCodecID id);

/// "H.264, HEVC or AV1", or "AAC or Opus".
std::string SupportedCodecs(AVMediaType kind);

/// The kinds of input, by their usual endings: "mp4, mov, mkv, ...".
std::string SupportedContainers();
