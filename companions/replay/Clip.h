#pragma once

#include "common/Types.h"
#include "replay/Outcome.h"

#include <string>

struct PacketCounts
{
    pyx_uint64 All() const
    {
        return video + audio;
    }

    pyx_uint64 video = 0;
    pyx_uint64 audio = 0;
    pyx_uint64 bytes = 0; ///< of both
};

/// What a written clip holds, read back from the file.
struct ClipContents
{
    PacketCounts packets;
    pyx_uint64 groups = 0; ///< key pictures
    double seconds = 0;    ///< from the first picture's start to the last one's end
    pyx_int64 hidden = 0;  ///< ticks of pictures before that, which are decoded and not shown
};

/// Fails early, with CannotWrite, if the file cannot be written.
Outcome CheckWritable(const std::wstring& path);

/// The same for a clip. BadUsage: it would replace the input.
Outcome CheckClip(const std::wstring& path, const std::wstring& input);

/// Reads a clip from start to end. A failure: it is not playable.
Outcome ReadClip(const std::wstring& path, ClipContents* pContents);
