#include "muxer/MediaFile.h"

#include "common/Trace.h"
#include "media/Utf8.h"
#include "muxer/FFmpegLog.h"

extern "C"
{
#include <libavutil/opt.h>
}

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
/// stream: finer than the usual milliseconds, so that sound starts where it was.
constexpr pyx_int64 c_movieTimescale = 90000;

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

PYX_RESULT MediaFile::Start()
{
    FAIL_IF_NOT(m_file.Create(m_path), PYX_FILE_NOT_OPEN, L"the file cannot be written: %s: %s", m_path.c_str(),
                m_file.GetErrorText().c_str());
    FAIL_IF_NOT(OpenIo(), PYX_OUT_OF_MEMORY, L"no memory to write %s", m_path.c_str());

    // Only some containers have this clock.
    av_opt_set_int(m_pContext->priv_data, "movie_timescale", c_movieTimescale, 0);
    const int error = avformat_write_header(m_pContext, nullptr);
    PASS_ON_FAILURE(ToResult(error), L"the header cannot be written: %s: %s", m_path.c_str(), GetReason(error).c_str());
    return PYX_OK;
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
