/// The module's one export.

#include "common/Platform.h"
#include "muxer/FFmpegLog.h"
#include "muxer/MuxerImpl.h"

#include <cwchar>
#include <mutex>

namespace
{

constexpr const wchar_t* c_componentId = L"MuxerFFMPEG";

} // namespace

/// Creates the component "MuxerFFMPEG", handed out acquired once.
/// PYX_INVALID_POINTER: null output. PYX_INVALID_ARG: null context or id.
/// PYX_NOT_FOUND: another id. `*ppOut` is untouched on failure.
PYX_EXPORT PYX_RESULT PYXCreateComponentInt(PYXContext* pContext, const wchar_t* id, PYXComponent** ppOut)
{
    if (!ppOut)
    {
        return PYX_INVALID_POINTER;
    }
    if (!pContext || !id)
    {
        return PYX_INVALID_ARG;
    }
    if (wcscmp(id, c_componentId) != 0)
    {
        return PYX_NOT_FOUND;
    }
    static std::once_flag s_logging;
    std::call_once(s_logging, TraceFFmpegLog);
    *ppOut = PYXInterfacePtr<PYXComponent>(new PYXMuxerImpl(pContext)).Detach();
    return PYX_OK;
}
