#pragma once

#include "replay/input/MediaReader.h"

#include <algorithm>
#include <deque>
#include <optional>

/// Merges a file's two streams into the order in which a live capture would hand their packets over. An encoder hands
/// out a B-frame after the later picture that it refers to, so a packet's arrival is the greatest time stamp of its
/// stream so far:
///
///     video pts      0 3 1 2 6 4 5      audio pts   0 1 2 3 4 5 6
///     arrival        0 3 3 3 6 6 6      arrival     0 1 2 3 4 5 6
///     merged         v0 a0 a1 a2 v3 v1 v2 a3 a4 a5 v6 v4 v5 a6
///
/// All video is handed out. Audio ends where the last picture ends. Threads: one.
class LiveOrder
{
public:
    /// When `mostWaiting` packets of one stream wait, the other has a pause and is not waited for.
    LiveOrder(bool hasAudio, std::size_t mostWaiting) : m_hasAudio(hasAudio), m_mostWaiting(mostWaiting)
    {
    }

    /// The next packet of its stream in decode order.
    void Add(MediaPacket packet);

    /// No more are added.
    void End()
    {
        m_hasEnded = true;
    }

    /// False: others must be added first; after End(): that was all.
    bool Take(MediaPacket* pPacket);

    /// Arrival of the packet handed out last, counted from the first picture that is shown; 0 before it.
    pyx_int64 Elapsed() const
    {
        return std::max<pyx_int64>(0, m_arrival - m_first.value_or(m_arrival));
    }

    /// After the end: when the last packet of either stream ends.
    pyx_int64 LastEnd() const
    {
        return std::max(m_video.end, m_audio.end);
    }

    /// After the end: how much of the audio was left out, in ticks.
    pyx_int64 DroppedAudio() const
    {
        return m_audio.waiting.empty() ? 0 : m_audio.end - m_video.end;
    }

private:
    struct Arrived
    {
        MediaPacket packet;
        pyx_int64 arrival;
    };

    struct Lane
    {
        std::deque<Arrived> waiting;
        pyx_int64 arrival = INT64_MIN; // of the last packet that was added
        pyx_int64 end = INT64_MIN;     // of all packets so far
    };

    const bool m_hasAudio;
    const std::size_t m_mostWaiting;
    Lane m_video;
    Lane m_audio;
    bool m_hasEnded = false;
    std::optional<pyx_int64> m_first; // arrival of the first picture shown
    pyx_int64 m_arrival = 0;
};
