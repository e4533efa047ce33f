#include "replay/LiveOrder.h"

#include <utility>

namespace
{

constexpr pyx_int64 c_longestSoundPacket = PYX_TICKS_PER_SECOND / 8; // Opus: 120 ms

} // namespace

LiveOrder::LiveOrder(MediaReader* pVideo, MediaReader* pAudio)
{
    m_video.pReader = pVideo;
    m_audio.pReader = pAudio;
}

ReadResult LiveOrder::Next(MediaPacket* pPacket)
{
    if (m_finished)
    {
        return ReadResult::End;
    }
    Fill(&m_video);
    Fill(&m_audio);
    Lane* pLane = Choose();
    if (!pLane->waiting || IsPastEnd(*pLane))
    {
        return EndAll(pLane);
    }
    Note(*pLane);
    *pPacket = std::move(pLane->packet);
    pLane->waiting = false;
    return ReadResult::Packet;
}

bool LiveOrder::CanStop() const
{
    return !m_silentGroup || !m_audio.waiting || m_audio.arrival >= m_arrival + c_longestSoundPacket;
}

bool LiveOrder::IsPastEnd(const Lane& lane) const
{
    if (&lane == &m_video)
    {
        return m_audio.ended && (lane.packet.key || lane.arrival >= m_audio.end);
    }
    const pyx_int64 end = m_silentGroup ? m_video.end + c_longestSoundPacket : m_video.end;
    return m_video.ended && lane.arrival >= end;
}

void LiveOrder::Note(const Lane& lane)
{
    m_arrival = lane.arrival;
    if (!std::exchange(m_started, true))
    {
        m_firstArrival = m_arrival;
    }
    if (lane.packet.video && lane.packet.key)
    {
        m_silentGroup = true;
        m_groupStart = lane.packet.pts;
    }
    else if (!lane.packet.video && lane.packet.pts >= m_groupStart)
    {
        m_silentGroup = false;
    }
}

void LiveOrder::Fill(Lane* pLane)
{
    if (!pLane->pReader || pLane->waiting || pLane->ended)
    {
        return;
    }
    const ReadResult result = pLane->pReader->Next(&pLane->packet);
    if (result == ReadResult::Packet)
    {
        pLane->waiting = true;
        pLane->arrival = std::max(pLane->arrival, pLane->packet.pts);
        pLane->end = std::max(pLane->end, pLane->packet.pts + pLane->packet.duration);
        return;
    }
    pLane->ended = true;
    if (result == ReadResult::Broken && m_brokenText.empty())
    {
        m_brokenText = pLane->pReader->BrokenText();
    }
}

// A tie goes to the video, so that sound finds the group it belongs to.
LiveOrder::Lane* LiveOrder::Choose()
{
    if (!m_video.waiting)
    {
        return &m_audio;
    }
    return m_audio.waiting && m_audio.arrival < m_video.arrival ? &m_audio : &m_video;
}

ReadResult LiveOrder::EndAll(Lane* pLonger)
{
    m_finished = true;
    if (!pLonger->waiting || !m_brokenText.empty())
    {
        return ReadResult::End;
    }
    while (pLonger->waiting) // how long it would have been is known only at its end
    {
        pLonger->waiting = false;
        Fill(pLonger);
    }
    m_droppedVideo = pLonger == &m_video;
    m_dropped = pLonger->end - (m_droppedVideo ? m_audio : m_video).end;
    return ReadResult::End;
}
