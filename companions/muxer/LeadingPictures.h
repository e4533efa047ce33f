#pragma once

#include "media/FFmpeg.h"

/// Finds the pictures at a clip's start that no player can show: they are shown
/// before the key picture that the clip begins with, and refer to pictures that
/// came before it and are not in the clip.
///
///     decode order    ... P  | I  b  b  P  b  b  P ...
///     shown                  | 3  1  2  6  4  5  9         1 and 2 need the P before the clip
///
/// A container without negative times would hold an empty stretch for them.
/// Threads: one at a time.
class LeadingPictures
{
public:
    /// Asked for each picture in decode order, from the clip's first on.
    /// `stream` describes the form of the packets.
    bool IsLost(const AVCodecParameters& stream, const AVPacket& packet);

private:
    bool m_started = false;
    bool m_mayBeLost = false; // until the second key picture, after which none can be
    pyx_int64 m_firstPts = 0;
};
