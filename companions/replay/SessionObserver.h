#pragma once

#include "common/Types.h"

#include <chrono>
#include <cstddef>

/// What went into the recorder.
struct Intake
{
    pyx_uint64 videoPackets = 0;
    pyx_uint64 audioPackets = 0;
    pyx_uint64 bytes = 0;
};

/// A packet that the recorder took. Times in ticks.
struct SubmittedPacket
{
    bool video;
    bool key; ///< of video: it starts a group
    pyx_int64 pts;
    pyx_int64 duration;
    std::size_t bytes;
    std::chrono::nanoseconds taken; ///< how long the recorder took, as the host felt it
    // What is kept after it; of a key picture.
    pyx_int64 heldFrom;   ///< start of the oldest group
    pyx_uint64 heldBytes; ///< of all groups
};

/// What a clip was made of.
struct SavedStretch
{
    pyx_int64 from = 0;   ///< start of the first group
    pyx_int64 to = 0;     ///< end of the clip's last picture; pictures from here on were cut
    pyx_int64 newest = 0; ///< end of the newest picture submitted
};

/// Watches a run: each packet, and what became of it.
///
/// Threads: one at a time; calls are made between packets and should be short.
class SessionObserver
{
public:
    virtual void OnSubmitted(const SubmittedPacket& packet) = 0;

    virtual void OnSaved(const SavedStretch& stretch) = 0;

protected:
    ~SessionObserver() = default;
};
