#pragma once

#include "replay/KeptGroups.h"

#include <chrono>
#include <cstddef>

/// A packet that a component took. Times in ticks.
struct SubmittedPacket
{
    bool video;
    bool key; ///< of video: it starts a group
    pyx_int64 pts;
    pyx_int64 duration;
    std::size_t bytes;
    std::chrono::nanoseconds taken; ///< how long SubmitInput took, as the host felt it
    // What is kept after it; of a key picture.
    pyx_int64 heldFrom;   ///< start of the oldest group
    pyx_uint64 heldBytes; ///< of all groups
};

/// What a clip was made of.
struct SavedStretch
{
    std::vector<KeptGroup> groups; ///< oldest first; none: nothing was kept, there is no clip
    pyx_int64 from = 0;            ///< start of the first group
    pyx_int64 to = 0;              ///< end of the clip's last picture; pictures from here on were cut
    pyx_int64 newest = 0;          ///< end of the newest picture submitted
    bool exact = false;            ///< cut at the asked duration
    bool hasAudio = false;
};

/// Watches a session: each packet, and what became of each group of pictures.
///
/// A group begins with a key packet, and is dropped, or written into a clip, or
/// neither when nothing was saved. Threads: all calls come from the one that
/// feeds the session; they are made between packets and should be short.
class SessionObserver
{
public:
    virtual void OnSubmitted(const SubmittedPacket& packet) = 0;

    virtual void OnSaved(const SavedStretch& stretch) = 0;

protected:
    ~SessionObserver() = default;
};
