#pragma once

#include "replay/input/MediaReader.h"

#include <algorithm>

/// Merges a file's two streams into the order in which a live capture would
/// hand their packets over.
///
/// An encoder cannot hand out a packet before the latest picture that the
/// packets so far show was captured, so a packet's arrival is the greatest time
/// stamp of its stream up to it: with B-frames the packets that are shown
/// earlier arrive together with the one they were waiting for.
///
///     video pts      0 3 1 2 6 4 5      audio pts   0 1 2 3 4 5 6
///     arrival        0 3 3 3 6 6 6      arrival     0 1 2 3 4 5 6
///     merged         v0 a0 a1 a2 v3 v1 v2 a3 a4 a5 v6 v4 v5 a6
///
/// A stream can have a pause; then the other continues without it.
///
/// The video is handed out whole. Audio ends with it: with the first packet that
/// begins when the last picture has ended.
class LiveOrder
{
public:
    /// Both readers are borrowed; without audio `pAudio` is null.
    LiveOrder(PacketSource* pVideo, PacketSource* pAudio);

    /// End also when the input broke; then BrokenText() is not empty.
    ReadResult Next(MediaPacket* pPacket);

    /// Arrival of the packet handed out last, counted from the first one that is
    /// shown; 0 before it.
    pyx_int64 Elapsed() const
    {
        return m_started ? m_arrival - m_firstArrival : 0;
    }

    const std::string& BrokenText() const
    {
        return m_brokenText;
    }

    /// After the end: when the last packet of either stream ends.
    pyx_int64 End() const
    {
        return std::max(m_video.end, m_audio.end);
    }

    /// After the end: how much of the audio was left out, in ticks.
    pyx_int64 DroppedAudio() const
    {
        return m_droppedAudio;
    }

private:
    struct Lane
    {
        PacketSource* pReader = nullptr;
        MediaPacket packet;
        bool waiting = false; // `packet` is read and not handed out
        bool ended = false;
        pyx_int64 arrival = INT64_MIN; // of `packet`
        pyx_int64 end = INT64_MIN;     // of all packets so far
    };

    void Fill(Lane* pLane);
    Lane* Choose();
    ReadResult End(Lane* pLast);

    Lane m_video;
    Lane m_audio;
    bool m_started = false;
    bool m_finished = false;
    pyx_int64 m_firstArrival = 0;
    pyx_int64 m_arrival = 0;
    std::string m_brokenText;
    pyx_int64 m_droppedAudio = 0;
};
