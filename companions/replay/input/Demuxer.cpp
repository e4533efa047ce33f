#include "replay/input/Demuxer.h"

#include "replay/Control.h"
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

/// Endings of the containers with video that script/lib/ffmpeg.sh's demuxers read.
constexpr const char* c_containerNames = "mp4, mov, mkv, webm, ts, avi, flv, ivf, obu, h264, hevc";

/// A jump back by more than this within a stream, or ahead of both streams, begins another recording.
constexpr pyx_int64 c_mostBack = PYX_TICKS_PER_SECOND;
constexpr pyx_int64 c_mostAhead = 10 * PYX_TICKS_PER_SECOND;

/// Waits until the pipe has bytes, or until the reading is to end. A file always has some.
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
    if (isPipe)
    {
        auto* pBuffer = static_cast<unsigned char*>(av_malloc(c_pipeBufferSize));
        m_pPipe.reset(avio_alloc_context(pBuffer, c_pipeBufferSize, 0, nullptr, ReadStandardInput, nullptr, nullptr));
        if (!pBuffer || !m_pPipe)
        {
            return {ExitCode::Failed, FFmpegErrorText(AVERROR(ENOMEM))};
        }
    }
    const int error = OpenMediaFile(PYXToUtf8(path), m_pPipe.get(), &m_pFile);
    std::error_code unknown;
    const bool isEmpty = isPipe ? m_pPipe->bytes_read == 0 : std::filesystem::file_size(path, unknown) == 0;
    if (error < 0 || isEmpty) // a bare stream can be opened without a byte
    {
        const bool isOther = error == AVERROR_INVALIDDATA || (isPipe && error == AVERROR_EOF);
        const std::string kinds = isPipe ? "Matroska, MPEG-TS" : c_containerNames;
        const bool isFolder = !isPipe && std::filesystem::is_directory(path, unknown);
        return {ExitCode::BadInput, isEmpty    ? "it is empty"
                                    : isFolder ? "it is a directory"
                                    : isOther  ? "it is damaged, or of none of the kinds that are read: " + kinds
                                               : FFmpegErrorText(error)};
    }
    for (AVStream* pStream : std::span(m_pFile->streams, m_pFile->nb_streams))
    {
        pStream->discard = AVDISCARD_ALL;
    }
    return {};
}

AVStream* Demuxer::Choose(AVStream* pStream)
{
    pStream->discard = AVDISCARD_DEFAULT;
    m_streams[pStream->index];
    return pStream;
}

int Demuxer::Read(AVPacket* pPacket)
{
    for (;; av_packet_unref(pPacket))
    {
        if (const int error = av_read_frame(m_pFile.get(), pPacket); error < 0)
        {
            // A file that ends before its index says so is no clean end either.
            const bool isCut = error == AVERROR_EOF && m_pFile->pb && m_pFile->pb->error < 0 && !IsPipe();
            return isCut ? m_pFile->pb->error : error;
        }
        if (const auto stream = m_streams.find(pPacket->stream_index); stream != m_streams.end())
        {
            MoveTimes(&stream->second, pPacket);
            return 0;
        }
    }
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
