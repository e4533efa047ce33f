/// The module's one export.

#include "common/Platform.h"
#include "common/Trace.h"
#include "host/Utf8.h"
#include "media/FFmpeg.h"
#include "muxer/MuxerImpl.h"

#include <cwchar>
#include <mutex>

namespace
{

constexpr const wchar_t* c_componentId = L"MuxerFFMPEG";

/// Passes FFmpeg's own warnings and errors on to the trace object. FFmpeg calls it on any thread.
void OnLogLine(void* pObject, int level, const char* format, va_list args)
{
    if (level > AV_LOG_WARNING)
    {
        return;
    }
    char line[1024];
    int isStart = 1; // prefix the object's name
    av_log_format_line2(pObject, level, format, args, line, sizeof(line), &isStart);
    std::wstring text = PYXToWide(line);
    text.erase(text.find_last_not_of(L"\r\n") + 1);
    Trace(L"companions/muxer/FFmpeg", __LINE__, level <= AV_LOG_ERROR ? PYX_TRACE_ERROR : PYX_TRACE_WARNING, L"FFmpeg",
          1, L"%s", text.c_str());
}

} // namespace

/// Creates the component "MuxerFFMPEG", handed out acquired once.
/// PYX_INVALID_POINTER: null output. PYX_INVALID_ARG: null context or id.
/// PYX_NOT_FOUND: another id. `*ppOut` is untouched on failure.
PYX_EXPORT PYX_RESULT PYXCreateComponentInt(PYXContext* pContext, const wchar_t* id, PYXComponent** ppOut)
{
    if (!ppOut || !pContext || !id)
    {
        return ppOut ? PYX_INVALID_ARG : PYX_INVALID_POINTER;
    }
    if (wcscmp(id, c_componentId) != 0)
    {
        return PYX_NOT_FOUND;
    }
    static std::once_flag s_logging;
    std::call_once(s_logging, av_log_set_callback, OnLogLine);
    *ppOut = PYXInterfacePtr<PYXComponent>(new PYXMuxerImpl(pContext)).Detach();
    return PYX_OK;
}
