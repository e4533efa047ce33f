#include "replay/input/Demuxer.h"

#include "replay/input/Codecs.h"
#include "replay/Interrupt.h"
#include "replay/Options.h"
#include "replay/Text.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <span>

namespace
{

constexpr int c_pipeBufferSize = 1 << 16;

/// After so many packets of one stream the other is not waited for: of a pipe, about a second of pictures or audio; of
/// a file, more than any sound interleaving.
constexpr std::size_t c_mostWaiting = 1024;
constexpr std::size_t c_mostWaitingOfPipe = 64;

/// A time further back than this in its stream, or further ahead of both streams, is that of another recording.
constexpr pyx_int64 c_mostBack = PYX_TICKS_PER_SECOND;
constexpr pyx_int64 c_mostAhead = 10 * PYX_TICKS_PER_SECOND;

/// Waits until the pipe has something, so that an interruption is noticed while
/// it has nothing. Ends also when it is a file, which always has something.
void WaitForBytes(HANDLE hPipe)
{
    constexpr DWORD interval = 5; // milliseconds
    DWORD available = 0;
    while (!IsInterrupted() && PeekNamedPipe(hPipe, nullptr, 0, nullptr, &available, nullptr) && available == 0)
    {
        Sleep(interval);
    }
}

int ReadStandardInput(void*, uint8_t* pData, int size)
{
    const HANDLE hPipe = GetStdHandle(STD_INPUT_HANDLE);
    WaitForBytes(hPipe);
    DWORD read = 0;
    const bool ended = IsInterrupted() || !ReadFile(hPipe, pData, static_cast<DWORD>(size), &read, nullptr);
    return ended || read == 0 ? AVERROR_EOF : static_cast<int>(read);
}

} // namespace

Outcome Demuxer::Open(const std::wstring& path)
{
    const bool isPipe = path == c_standardInput;
    const std::string forUser = "cannot read " + (isPipe ? "standard input" : PathForUser(path)) + ": ";
    std::error_code ignored;
    if (!isPipe && std::filesystem::is_directory(path, ignored))
    {
        return {ExitCode::BadInput, forUser + "it is a directory"};
    }
    if (!isPipe && std::filesystem::is_regular_file(path, ignored) && std::filesystem::file_size(path, ignored) == 0)
    {
        return {ExitCode::BadInput, forUser + "it is empty"};
    }
    if (isPipe && !OpenPipe())
    {
        return {ExitCode::Failed, forUser + FFmpegErrorText(AVERROR(ENOMEM))};
    }
    const int error = OpenMediaFile(PYXToUtf8(path), m_pPipe.get(), &m_pFile);
    if (isPipe && m_pPipe->bytes_read == 0)
    {
        return {ExitCode::BadInput, forUser + "it is empty"};
    }
    if (error == AVERROR_INVALIDDATA || (isPipe && error == AVERROR_EOF))
    {
        return {ExitCode::BadInput, forUser + "it is damaged, or of none of the kinds that are read: " +
                                        (isPipe ? "Matroska, MPEG-TS" : c_containerNames)};
    }
    if (error < 0)
    {
        return {ExitCode::BadInput, forUser + FFmpegErrorText(error)};
    }
    for (AVStream* pStream : std::span(m_pFile->streams, m_pFile->nb_streams))
    {
        pStream->discard = AVDISCARD_ALL;
    }
    return {};
}

/// False: no memory.
bool Demuxer::OpenPipe()
{
    auto* pBuffer = static_cast<unsigned char*>(av_malloc(c_pipeBufferSize));
    m_pPipe.reset(pBuffer
                      ? avio_alloc_context(pBuffer, c_pipeBufferSize, 0, nullptr, ReadStandardInput, nullptr, nullptr)
                      : nullptr);
    return IsPipe();
}

void Demuxer::Choose(const AVStream& stream)
{
    m_pFile->streams[stream.index]->discard = AVDISCARD_DEFAULT;
    m_video = m_streams.empty() ? stream.index : m_video;
    m_streams[stream.index];
}

int Demuxer::Read(int index, AVPacket* pPacket)
{
    Stream& asked = m_streams.at(index);
    while (asked.waiting.empty())
    {
        if (m_end != 0)
        {
            return m_end;
        }
        if (HasPause(asked))
        {
            return c_notYet;
        }
        PacketPtr pNext(av_packet_alloc());
        const int error = pNext ? ReadNext(pNext.get()) : AVERROR(ENOMEM);
        if (error == AVERROR_INVALIDDATA)
        {
            return error;
        }
        m_end = std::min(error, 0);
        const auto stream = error >= 0 ? m_streams.find(pNext->stream_index) : m_streams.end();
        if (stream != m_streams.end())
        {
            MoveTimes(&stream->second, pNext.get());
            stream->second.waiting.push_back(std::move(pNext));
        }
    }
    asked.hasBegun = true;
    av_packet_unref(pPacket);
    av_packet_move_ref(pPacket, asked.waiting.front().get());
    asked.waiting.pop_front();
    return 0;
}

bool Demuxer::HasPause(const Stream& asked) const
{
    // The set-up of video may be in its first packet only, so that one is waited for.
    const bool isNeeded = !asked.hasBegun && &asked == &m_streams.at(m_video);
    const std::size_t most = IsPipe() ? c_mostWaitingOfPipe : c_mostWaiting;
    return !isNeeded &&
           std::ranges::any_of(m_streams, [most](const auto& stream) { return stream.second.waiting.size() >= most; });
}

void Demuxer::MoveTimes(Stream* pStream, AVPacket* pPacket)
{
    const AVRational unit = m_pFile->streams[pPacket->stream_index]->time_base;
    const pyx_int64 decoded = ToTicks(pPacket->dts != AV_NOPTS_VALUE ? pPacket->dts : pPacket->pts, unit);
    if (!(m_pFile->iformat->flags & AVFMT_TS_DISCONT) || decoded == AV_NOPTS_VALUE)
    {
        return;
    }
    const bool isBack = pStream->next != INT64_MIN && decoded < pStream->next - c_mostBack;
    const pyx_int64 end = m_parts[pStream->part].end;
    const bool isAhead = end != INT64_MIN && decoded > end + c_mostAhead;
    if (isBack || isAhead)
    {
        if (pStream->part + 1 == m_parts.size()) // else the other stream was there first
        {
            m_parts.push_back({FindShift(decoded, unit)});
        }
        pStream->part = m_parts.size() - 1;
    }
    Part& part = m_parts[pStream->part];
    const pyx_int64 own = decoded + ToTicks(pPacket->duration, unit);
    pStream->next = isBack || isAhead ? own : std::max(pStream->next, own);
    part.end = std::max(part.end, own);
    const pyx_int64 shift = av_rescale_q(part.shift, c_ticks, unit);
    pPacket->pts += pPacket->pts != AV_NOPTS_VALUE ? shift : 0;
    pPacket->dts += pPacket->dts != AV_NOPTS_VALUE ? shift : 0;
}

/// Of a part that begins at `time`.
pyx_int64 Demuxer::FindShift(pyx_int64 time, AVRational unit) const
{
    const Part& last = m_parts.back();
    const pyx_int64 shift = last.end + last.shift - time;
    // The clock of a transport stream starts over after 26.5 hours: then nothing was joined, and the step is exact.
    const pyx_int64 wrap = ToTicks(pyx_int64{1} << 33, unit) + last.shift;
    return std::abs(shift - wrap) < c_mostBack ? wrap : shift;
}

/// A file that ends before its index says so is no clean end either.
int Demuxer::ReadNext(AVPacket* pPacket)
{
    const int error = av_read_frame(m_pFile.get(), pPacket);
    return error == AVERROR_EOF && m_pFile->pb && m_pFile->pb->error < 0 && !IsPipe() ? m_pFile->pb->error : error;
}
