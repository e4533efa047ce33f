#include "replay/input/LiveOrder.h"

#include <utility>

bool LiveOrder::Next(MediaPacket* pPacket)
{
    while (!m_hasEnded && !IsNextKnown())
    {
        Fill();
    }
    // A tie goes to the video, so that audio finds the group it belongs to.
    const bool isAudio = !m_audio.waiting.empty() &&
                         (m_video.waiting.empty() || m_audio.waiting.front().arrival < m_video.waiting.front().arrival);
    Lane& lane = isAudio ? m_audio : m_video;
    const bool isPastVideo =
        isAudio && m_hasEnded && m_video.waiting.empty() && lane.waiting.front().arrival >= m_video.end;
    if (lane.waiting.empty() || isPastVideo)
    {
        return false;
    }
    *pPacket = std::move(lane.waiting.front().packet);
    m_arrival = lane.waiting.front().arrival;
    lane.waiting.pop_front();
    if (!m_started && !pPacket->hidden)
    {
        m_started = true;
        m_firstArrival = m_arrival;
    }
    return true;
}

bool LiveOrder::IsNextKnown() const
{
    const std::size_t most = m_pSource->MostWaiting();
    return (!m_video.waiting.empty() && (!m_audio.waiting.empty() || !m_hasAudio)) || m_video.waiting.size() >= most ||
           m_audio.waiting.size() >= most;
}

void LiveOrder::Fill()
{
    MediaPacket packet;
    if (!m_pSource->Next(&packet))
    {
        m_hasEnded = true;
        return;
    }
    Lane& lane = packet.video ? m_video : m_audio;
    if (!packet.video && packet.hidden && packet.pts < lane.arrival)
    {
        return; // at a cut a file has audio for a decoder to start with, which is not heard
    }
    lane.arrival = std::max(lane.arrival, packet.pts);
    lane.end = std::max(lane.end, packet.pts + packet.duration);
    lane.waiting.push_back({std::move(packet), lane.arrival});
}
