#include "muxer/FFmpegLog.h"

#include "common/HostContract.h"
#include "common/Trace.h"
#include "host/Utf8.h"
#include "media/FFmpeg.h"

#include <string_view>

namespace
{

constexpr PYXTraceSource c_traceSource{L"companions/muxer/FFmpeg", L"FFmpeg"};

/// Called by FFmpeg on whatever thread it runs.
void OnLogLine(void* pObject, int level, const char* format, va_list args)
{
    if (level > AV_LOG_WARNING)
    {
        return;
    }
    char line[1024];
    int isStart = 1; // name the object that speaks
    av_log_format_line2(pObject, level, format, args, line, sizeof(line), &isStart);
    std::string_view text(line);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
    {
        text.remove_suffix(1);
    }
    line[text.size()] = '\0';
    const pyx_int32 traceLevel = level <= AV_LOG_ERROR ? PYX_TRACE_ERROR : PYX_TRACE_WARNING;
    Trace(c_traceSource.source, __LINE__, traceLevel, c_traceSource.scope, 1, L"%s", PYXToWide(line).c_str());
}

} // namespace

PYX_RESULT ToResult(int error)
{
    if (error >= 0)
    {
        return PYX_OK;
    }
    switch (error)
    {
    case AVERROR(ENOMEM):
        return PYX_OUT_OF_MEMORY;
    case AVERROR(EINVAL):
    case AVERROR_INVALIDDATA:
        return PYX_INVALID_ARG;
    default:
        return PYX_FAIL;
    }
}

void TraceFFmpegLog()
{
    av_log_set_callback(OnLogLine);
}
