#pragma once

#include "media/FFmpeg.h"
#include "replay/input/PictureTimes.h"

/// Reads from the bytes of pictures what the container may not have: their size, and of H.264 and HEVC their place in
/// the order shown and which are key pictures. Threads: one at a time.
class PictureParser
{
public:
    struct Picture
    {
        PicturePlace place;
        bool key;
        PYXSize size; ///< zeros: not known
    };

    /// False: no parser for this codec.
    bool Open(const AVCodecParameters& parameters);

    /// The next picture in decode order, whole.
    Picture Parse(const AVPacket& packet);

private:
    FFmpegPtr<AVCodecContext> m_pCodec;
    FFmpegPtr<AVCodecParserContext> m_pParser;
    bool m_isHevc = false;
    pyx_int64 m_sequence = 0; // counts the pictures with which the numbering begins again
};
