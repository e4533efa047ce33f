#include "replay/input/LiveOrder.h"

#include <utility>

void LiveOrder::Add(MediaPacket packet)
{
    Lane& lane = packet.video ? m_video : m_audio;
    if (!packet.video && packet.hidden && packet.pts < lane.arrival)
    {
        return; // pre-roll audio that a decoder needs after a cut and does not play
    }
    lane.arrival = std::max(lane.arrival, packet.pts);
    lane.end = std::max(lane.end, packet.pts + packet.duration);
    lane.waiting.push_back({std::move(packet), lane.arrival});
}

bool LiveOrder::Take(MediaPacket* pPacket)
{
    const std::deque<Arrived>& video = m_video.waiting;
    const std::deque<Arrived>& audio = m_audio.waiting;
    const bool hasBoth = !video.empty() && (!audio.empty() || !m_hasAudio);
    if (!hasBoth && !m_hasEnded && std::max(video.size(), audio.size()) < m_mostWaiting)
    {
        return false;
    }
    // A tie goes to the video, so that audio finds the group it belongs to.
    const bool isAudio = !audio.empty() && (video.empty() || audio.front().arrival < video.front().arrival);
    Lane& lane = isAudio ? m_audio : m_video;
    const bool isPastVideo = isAudio && m_hasEnded && video.empty() && audio.front().arrival >= m_video.end;
    if (lane.waiting.empty() || isPastVideo)
    {
        return false;
    }
    *pPacket = std::move(lane.waiting.front().packet);
    m_arrival = lane.waiting.front().arrival;
    lane.waiting.pop_front();
    if (!m_first && pPacket->video && !pPacket->hidden)
    {
        m_first = m_arrival;
    }
    return true;
}
