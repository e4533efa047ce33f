#include "muxer/MediaFile.h"

#include "common/Trace.h"
#include "host/Utf8.h"

extern "C"
{
#include <libavutil/opt.h>
}

#include <algorithm>
#include <utility>

namespace
{

constexpr PYXTraceSource c_traceSource{L"companions/muxer/MediaFile", L"MediaFile"};

/// Ticks per second of the film's own clock, which delays the start of a
/// stream: finer than the usual milliseconds, so that audio starts where it was.
constexpr pyx_int64 c_movieTimescale = 90000;

} // namespace

MediaFile::~MediaFile()
{
    if (m_pContext)
    {
        avio_closep(&m_pContext->pb); // before the part file, which is deleted then
        avformat_free_context(m_pContext);
    }
}

const AVOutputFormat* MediaFile::FindFormat(const std::wstring& path)
{
    return av_guess_format(nullptr, PYXToUtf8(path).c_str(), nullptr);
}

PYX_RESULT MediaFile::SetFormat(const std::wstring& path)
{
    m_path = path;
    // Named as a file, so that nothing in a name is taken for a protocol.
    m_pPart = std::make_unique<PartFile>(path);
    const std::string url = "file:" + PYXToUtf8(m_pPart->WorkingPath());
    return Check(avformat_alloc_output_context2(&m_pContext, FindFormat(path), nullptr, url.c_str()),
                 L"has no container");
}

AVStream* MediaFile::AddStream()
{
    return avformat_new_stream(m_pContext, nullptr);
}

PYX_RESULT MediaFile::Start(const FileDetails& details)
{
    const int error = avio_open(&m_pContext->pb, m_pContext->url, AVIO_FLAG_WRITE);
    FAIL_IF_NOT(error >= 0, PYX_FILE_NOT_OPEN, L"the file cannot be created: %s: %s", m_path.c_str(),
                PYXToWide(FFmpegErrorText(error)).c_str());
    SetDetails(details);
    return Check(avformat_write_header(m_pContext, nullptr), L"cannot begin");
}

/// Of the options that are set here each is known to some containers only.
void MediaFile::SetDetails(const FileDetails& details)
{
    m_pContext->max_interleave_delta = 60LL * AV_TIME_BASE; // audio waits for the first picture that is shown
    void* pOptions = m_pContext->priv_data;
    av_opt_set_int(pOptions, "movie_timescale", c_movieTimescale, 0);
    av_opt_set(pOptions, "default_mode", "passthrough", 0); // as the inputs say, whatever the others are
    if (details.fastStart)
    {
        av_opt_set(pOptions, "movflags", "+faststart", 0);
    }
    for (const auto& [name, text] : {std::pair("title", &details.title), {"creation_time", &details.creationTime}})
    {
        av_dict_set(&m_pContext->metadata, name, text->empty() ? nullptr : PYXToUtf8(*text).c_str(), 0);
    }
}

void MediaFile::SetStart(pyx_int64 earliest, pyx_int64 start, AVRational timeBase)
{
    const bool hasNegative = (m_pContext->oformat->flags & AVFMT_TS_NEGATIVE) != 0;
    m_pContext->output_ts_offset =
        -av_rescale_q(hasNegative ? start : std::min<pyx_int64>(earliest, 0), timeBase, av_get_time_base_q());
}

PYX_RESULT MediaFile::Write(PacketPtr spPacket)
{
    return Check(av_interleaved_write_frame(m_pContext, spPacket.get()), L"cannot take a packet");
}

PYX_RESULT MediaFile::Finish()
{
    int error = av_write_trailer(m_pContext);
    avio_flush(m_pContext->pb);
    error = error < 0 ? error : m_pContext->pb->error;
    const int closed = avio_closep(&m_pContext->pb);
    PASS_ON_FAILURE_SILENTLY(Check(error < 0 ? error : closed, L"cannot be completed"));
    const unsigned long reason = m_pPart->Commit();
    FAIL_IF_NOT(reason == 0, PYX_FILE_NOT_OPEN, L"the file cannot take its name: %s: %s", m_path.c_str(),
                PYXToWide(PYXSystemText(reason)).c_str());
    return PYX_OK;
}

PYX_RESULT MediaFile::Check(int error, const wchar_t* failure) const
{
    PASS_ON_FAILURE(ToResult(error), L"the file %s: %s: %s", failure, m_path.c_str(),
                    PYXToWide(FFmpegErrorText(error)).c_str());
    return PYX_OK;
}
