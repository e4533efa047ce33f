#include "replay/input/LiveOrder.h"

LiveOrder::LiveOrder(PacketSource* pVideo, PacketSource* pAudio)
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
    const bool pastVideo = pLane == &m_audio && m_video.ended && pLane->arrival >= m_video.end;
    if (!pLane->waiting || pastVideo)
    {
        return End(pLane);
    }
    m_arrival = pLane->arrival;
    if (!m_started && !pLane->packet.hidden)
    {
        m_started = true;
        m_firstArrival = m_arrival;
    }
    *pPacket = std::move(pLane->packet);
    pLane->waiting = false;
    return ReadResult::Packet;
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
    if (result == ReadResult::NotYet)
    {
        return;
    }
    pLane->ended = true;
    if (result == ReadResult::Broken && m_brokenText.empty())
    {
        m_brokenText = pLane->pReader->BrokenText();
    }
}

// A tie goes to the video, so that audio finds the group it belongs to.
LiveOrder::Lane* LiveOrder::Choose()
{
    if (!m_video.waiting)
    {
        return &m_audio;
    }
    return m_audio.waiting && m_audio.arrival < m_video.arrival ? &m_audio : &m_video;
}

ReadResult LiveOrder::End(Lane* pLast)
{
    m_finished = true;
    if (!pLast->waiting || !m_brokenText.empty())
    {
        return ReadResult::End;
    }
    while (pLast->waiting) // how long it would have been is known only at its end
    {
        pLast->waiting = false;
        Fill(pLast);
    }
    m_droppedAudio = pLast->end - m_video.end;
    return ReadResult::End;
}
