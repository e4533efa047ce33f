#include "muxer/MediaFile.h"

#include "common/Trace.h"
#include "media/Utf8.h"
#include "muxer/FFmpegLog.h"

extern "C"
{
#include <libavutil/opt.h>
}

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cwchar>

namespace
{

constexpr PYXTraceSource c_traceSource{L"companions/muxer/MediaFile", L"MediaFile"};

struct FormatRow
{
    const wchar_t* ending;
    const char* name;
};

constexpr FormatRow c_formats[] = {
    {L".mp4", "mp4"},
    {L".mov", "mov"},
    {L".mkv", "matroska"},
};

/// Bytes gathered before they go to the system in one call.
constexpr int c_ioBufferSize = 256 * 1024;

/// Ticks per second of the film's own clock, which delays the start of a
/// stream: finer than the usual milliseconds, so that audio starts where it was.
constexpr pyx_int64 c_movieTimescale = 90000;

/// Ticks since 1970 as "2026-05-04T12:34:56.500000Z".
std::string FormatTime(pyx_int64 ticks)
{
    using namespace std::chrono;
    const auto second = static_cast<sys_seconds>(seconds(ticks / PYX_TICKS_PER_SECOND));
    const year_month_day day(floor<days>(second));
    const hh_mm_ss time(second - floor<days>(second));
    char text[64];
    std::snprintf(text, sizeof(text), "%04d-%02u-%02uT%02lld:%02lld:%02lld.%06lldZ", static_cast<int>(day.year()),
                  static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()),
                  static_cast<long long>(time.hours().count()), static_cast<long long>(time.minutes().count()),
                  static_cast<long long>(time.seconds().count()), ticks % PYX_TICKS_PER_SECOND / 10);
    return text;
}

} // namespace

MediaFile::~MediaFile()
{
    CloseIo();
    avformat_free_context(m_pContext);
}

const char* MediaFile::FindFormat(const std::wstring& path)
{
    const std::size_t dot = path.find_last_of(L"./\\");
    for (const FormatRow& row : c_formats)
    {
        if (dot != std::wstring::npos && _wcsicmp(path.c_str() + dot, row.ending) == 0)
        {
            return row.name;
        }
    }
    return nullptr;
}

PYX_RESULT MediaFile::SetFormat(const std::wstring& path)
{
    m_path = path;
    const char* format = FindFormat(path);
    FAIL_IF_NOT(format, PYX_INVALID_ARG, L"the file name ends neither in .mp4 nor .mov nor .mkv: %s", path.c_str());
    const int error = avformat_alloc_output_context2(&m_pContext, nullptr, format, nullptr);
    PASS_ON_FAILURE(ToResult(error), L"no container of the kind of %s: %s", path.c_str(),
                    ToWide(FFmpegErrorText(error)).c_str());
    return PYX_OK;
}

AVStream* MediaFile::AddStream()
{
    return avformat_new_stream(m_pContext, nullptr);
}

PYX_RESULT MediaFile::Start(const FileDetails& details)
{
    FAIL_IF_NOT(m_file.Create(m_path), PYX_FILE_NOT_OPEN, L"the file cannot be written: %s: %s", m_path.c_str(),
                m_file.GetErrorText().c_str());
    FAIL_IF_NOT(OpenIo(), PYX_OUT_OF_MEMORY, L"no memory to write %s", m_path.c_str());

    SetDetails(details);
    const int error = avformat_write_header(m_pContext, nullptr);
    PASS_ON_FAILURE(ToResult(error), L"the header cannot be written: %s: %s", m_path.c_str(), GetReason(error).c_str());
    return PYX_OK;
}

/// Of the options that are set here each is known to some containers only.
void MediaFile::SetDetails(const FileDetails& details)
{
    void* pOptions = m_pContext->priv_data;
    av_opt_set_int(pOptions, "movie_timescale", c_movieTimescale, 0);
    av_opt_set(pOptions, "default_mode", "passthrough", 0); // as the inputs say, whatever the others are
    if (details.fastStart)
    {
        av_opt_set(pOptions, "movflags", "+faststart", 0);
    }
    if (details.creationTime > 0)
    {
        av_dict_set(&m_pContext->metadata, "creation_time", FormatTime(details.creationTime).c_str(), 0);
    }
    m_pContext->opaque = this;
    m_pContext->io_open = OnReopen;
    m_pContext->io_close2 = OnCloseReopened;
}

void MediaFile::AvoidNegativeTimes(pyx_int64 earliest, AVRational timeBase)
{
    if (earliest < 0 && !(m_pContext->oformat->flags & AVFMT_TS_NEGATIVE))
    {
        m_pContext->output_ts_offset = av_rescale_q_rnd(-earliest, timeBase, av_get_time_base_q(), AV_ROUND_UP);
    }
}

PYX_RESULT MediaFile::Write(PacketPtr spPacket)
{
    const int error = av_interleaved_write_frame(m_pContext, spPacket.get());
    PASS_ON_FAILURE(ToResult(error), L"a packet cannot be written: %s: %s", m_path.c_str(), GetReason(error).c_str());
    return PYX_OK;
}

PYX_RESULT MediaFile::Finish()
{
    int error = av_write_trailer(m_pContext);
    avio_flush(m_pContext->pb);
    if (error >= 0)
    {
        error = m_pContext->pb->error;
    }
    PASS_ON_FAILURE(ToResult(error), L"the file cannot be completed: %s: %s", m_path.c_str(), GetReason(error).c_str());
    CloseIo();
    FAIL_IF_NOT(m_file.Commit(), PYX_FILE_NOT_OPEN, L"the file cannot take its name: %s: %s", m_path.c_str(),
                m_file.GetErrorText().c_str());
    return PYX_OK;
}

int MediaFile::OnWrite(void* pFile, WrittenByte* pData, int size)
{
    return static_cast<OutputFile*>(pFile)->Write(pData, static_cast<pyx_uint32>(size)) ? size : AVERROR(EIO);
}

pyx_int64 MediaFile::OnSeek(void* pFile, pyx_int64 offset, int whence)
{
    auto* pOutput = static_cast<OutputFile*>(pFile);
    const pyx_int64 result = whence & AVSEEK_SIZE ? pOutput->GetSize() : pOutput->Seek(offset, whence & 3);
    return result < 0 ? AVERROR(EIO) : result;
}

int MediaFile::OnRead(void* pThis, pyx_uint8* pData, int size)
{
    auto* pFile = static_cast<MediaFile*>(pThis);
    const int count = pFile->m_file.ReadAt(pFile->m_readPosition, pData, size);
    pFile->m_readPosition += std::max(count, 0);
    return count > 0 ? count : count == 0 ? AVERROR_EOF : AVERROR(EIO);
}

pyx_int64 MediaFile::OnSeekToRead(void* pThis, pyx_int64 offset, int whence)
{
    auto* pFile = static_cast<MediaFile*>(pThis);
    if (whence != SEEK_SET)
    {
        return AVERROR(EINVAL);
    }
    pFile->m_readPosition = offset;
    return offset;
}

/// Called when the trailer is written, to move the packets behind the index: the
/// file is read through its own handle, as nobody can open it a second time
/// while it is written.
int MediaFile::OnReopen(AVFormatContext* pContext, AVIOContext** ppIo, [[maybe_unused]] const char* url, int flags,
                        [[maybe_unused]] AVDictionary** ppOptions)
{
    auto* pBuffer = (flags & AVIO_FLAG_WRITE) ? nullptr : static_cast<pyx_uint8*>(av_malloc(c_ioBufferSize));
    if (!pBuffer)
    {
        return AVERROR(ENOMEM);
    }
    *ppIo = avio_alloc_context(pBuffer, c_ioBufferSize, 0, pContext->opaque, OnRead, nullptr, OnSeekToRead);
    if (!*ppIo)
    {
        av_free(pBuffer);
        return AVERROR(ENOMEM);
    }
    static_cast<MediaFile*>(pContext->opaque)->m_readPosition = 0;
    return 0;
}

int MediaFile::OnCloseReopened([[maybe_unused]] AVFormatContext* pContext, AVIOContext* pIo)
{
    av_freep(&pIo->buffer);
    avio_context_free(&pIo);
    return 0;
}

/// The system's reason when the file failed, else FFmpeg's.
std::wstring MediaFile::GetReason(int error) const
{
    return m_file.HasFailed() ? m_file.GetErrorText() : ToWide(FFmpegErrorText(error));
}

bool MediaFile::OpenIo()
{
    auto* pBuffer = static_cast<pyx_uint8*>(av_malloc(c_ioBufferSize));
    if (!pBuffer)
    {
        return false;
    }
    m_pContext->pb = avio_alloc_context(pBuffer, c_ioBufferSize, 1, &m_file, nullptr, OnWrite, OnSeek);
    if (!m_pContext->pb)
    {
        av_free(pBuffer);
        return false;
    }
    return true;
}

void MediaFile::CloseIo()
{
    if (m_pContext && m_pContext->pb)
    {
        av_freep(&m_pContext->pb->buffer);
        avio_context_free(&m_pContext->pb);
    }
}
