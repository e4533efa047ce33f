#include "replay/StreamReader.h"

#include "replay/Codecs.h"
#include "replay/Text.h"

#include <filesystem>
#include <span>

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

Outcome StreamReader::Open(const std::wstring& path)
{
    const std::string forUser = "cannot read " + PathForUser(path) + ": ";
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored))
    {
        return {ExitCode::BadInput, forUser + "it is a directory"};
    }
    const int error = OpenMediaFile(ToUtf8(path), &m_pFile);
    if (error == AVERROR_INVALIDDATA)
    {
        return {ExitCode::BadInput,
                forUser + "it is damaged, or of none of the kinds that are read: " + SupportedContainers()};
    }
    return error < 0 ? Outcome(ExitCode::BadInput, forUser + FFmpegErrorText(error)) : Outcome();
}

void StreamReader::Choose(AVStream* pChosen)
{
    m_index = pChosen->index;
    for (AVStream* pStream : std::span(m_pFile->streams, m_pFile->nb_streams))
    {
        pStream->discard = pStream == pChosen ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
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
        const int error = pPacket ? ReadFromFile(pPacket.get()) : AVERROR(ENOMEM);
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

int StreamReader::ReadFromFile(AVPacket* pPacket)
{
    for (;;)
    {
        av_packet_unref(pPacket);
        const int error = av_read_frame(m_pFile.get(), pPacket);
        if (error < 0 || pPacket->stream_index == m_index)
        {
            // A file that ends before its index says so is no clean end either.
            return error == AVERROR_EOF && m_pFile->pb && m_pFile->pb->error < 0 ? m_pFile->pb->error : error;
        }
    }
}
