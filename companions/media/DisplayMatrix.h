#pragma once

#include "media/FFmpeg.h"

#include <string_view>

/// How the pictures of a stream are turned before they are shown.
struct Orientation
{
    int rotation = 0;      ///< clockwise, in degrees, 0 to 359
    bool mirrored = false; ///< left to right, after the rotation

    bool operator==(const Orientation&) const = default;
};

/// What the stream says; upright when it says nothing.
Orientation GetOrientation(const AVStream& stream);

/// Whether a file of this kind (FFmpeg's name) keeps an orientation. Matroska does
/// from FFmpeg 7 on.
bool KeepsOrientation(std::string_view formatName);

/// False: no memory. A stream that is upright says nothing.
bool SetOrientation(AVStream* pStream, Orientation orientation);
