#include "replay/input/StreamReader.h"

namespace
{

/// Damages in a row after which a file is given up: some demuxers answer every
/// read behind a cut with the same failure.
constexpr int c_mostDamages = 200;

bool IsDamaged(const AVPacket& packet)
{
    return (packet.flags & AV_PKT_FLAG_CORRUPT) != 0;
}

} // namespace

StreamReader::~StreamReader()
{
    if (m_pDemuxer)
    {
        m_pDemuxer->Leave(m_index);
    }
}

Outcome StreamReader::Open(const std::wstring& path)
{
    m_pDemuxer = std::make_shared<Demuxer>();
    return m_pDemuxer->Open(path);
}

void StreamReader::Share(const StreamReader& other)
{
    m_pDemuxer = other.m_pDemuxer;
}

void StreamReader::Choose(AVStream* pStream)
{
    m_index = pStream->index;
    m_pDemuxer->Choose(*pStream);
}

void StreamReader::PassOverOthers()
{
    m_pDemuxer->PassOverOthers();
}

ReadResult StreamReader::Read(AVPacket* pPacket)
{
    av_packet_unref(pPacket);
    if (m_ready.empty())
    {
        if (const ReadResult result = Fill(); result != ReadResult::Packet)
        {
            return result;
        }
    }
    av_packet_move_ref(pPacket, m_ready.front().get());
    m_ready.pop_front();
    return ReadResult::Packet;
}

/// Reads up to the next packet that is whole.
ReadResult StreamReader::Fill()
{
    for (int damages = 0;;)
    {
        PacketPtr pPacket(av_packet_alloc());
        const int error = pPacket ? m_pDemuxer->Read(m_index, pPacket.get()) : AVERROR(ENOMEM);
        if (error == Demuxer::c_notYet)
        {
            return ReadResult::NotYet;
        }
        const bool isCut = error >= 0 && IsDamaged(*pPacket);
        if (error >= 0)
        {
            m_ready.push_back(std::move(pPacket));
        }
        if (error >= 0 && !isCut)
        {
            m_damages += m_trouble.empty() ? 0 : 1;
            m_trouble.clear();
            return ReadResult::Packet;
        }
        if (error == AVERROR_EOF && m_trouble.empty())
        {
            return ReadResult::End;
        }
        const bool canGoOn = (isCut || error == AVERROR_INVALIDDATA) && ++damages < c_mostDamages;
        if (m_trouble.empty())
        {
            m_trouble = isCut ? "a packet is cut off" : FFmpegErrorText(error);
        }
        if (!canGoOn)
        {
            m_brokenText = m_trouble;
            m_ready.clear();
            return ReadResult::Broken;
        }
    }
}
