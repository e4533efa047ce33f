#include "common/Trace.h"

#include "common/RuntimeLoader.h"

#include <cstdio>

void Trace(const wchar_t* path, pyx_int32 line, pyx_int32 level, const wchar_t* scope, int argCount,
           const wchar_t* format, ...)
{
    const PYXRuntimeReference runtime(PYXRuntimeUse::Record);
    if (PYXTrace* const pTrace = runtime.GetTrace())
    {
        va_list args;
        va_start(args, format);
        pTrace->TraceW(path, line, level, scope, format, argCount > 0 ? &args : nullptr);
        va_end(args);
    }
}

std::wstring FormatText(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    const int length = _vscwprintf(format, args);
    va_end(args);
    if (length <= 0)
    {
        return {};
    }
    std::wstring text(static_cast<size_t>(length), L'\0');
    va_start(args, format);
    _vsnwprintf(text.data(), text.size() + 1, format, args);
    va_end(args);
    return text;
}

void TraceFailedCondition(const PYXTraceSource& source, pyx_int32 line, const std::wstring& message)
{
    Trace(source.source, line, PYX_TRACE_ERROR, source.scope, 0, (L"Assertion failed:" + message).c_str());
}

void TraceFailedCall(const PYXTraceSource& source, pyx_int32 line, PYX_RESULT result, const std::wstring& message)
{
    const PYXRuntimeReference runtime(PYXRuntimeUse::Record);
    if (PYXTrace* const pTrace = runtime.GetTrace())
    {
        const std::wstring text = FormatText(L"PYX_ERROR %d : %s: ", result, pTrace->GetResultText(result)) + message;
        Trace(source.source, line, PYX_TRACE_ERROR, source.scope, 0, text.c_str());
    }
}
