#include "common/Trace.h"

#include "common/RuntimeLoader.h"

#include <algorithm>
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
    std::wstring text = MakeAssertText(1, format, args);
    va_end(args);
    return text;
}

std::wstring MakeAssertText(int argCount, const wchar_t* message, va_list args)
{
    if (argCount == 0)
    {
        return message;
    }
    va_list sameArgs;
    va_copy(sameArgs, args);
    const int length = _vscwprintf(message, args);
    std::wstring text(static_cast<size_t>(std::max(length, 0)), L'\0');
    _vsnwprintf(text.data(), text.size(), message, sameArgs); // the text has its own terminator
    va_end(sameArgs);
    return text;
}

void TraceFailedText(const PYXTraceSource& source, pyx_int32 line, PYX_RESULT result, int argCount,
                     const wchar_t* message, ...)
{
    const PYXRuntimeReference runtime(PYXRuntimeUse::Record);
    if (PYXTrace* const pTrace = runtime.GetTrace())
    {
        va_list args;
        va_start(args, message);
        const std::wstring text =
            (result == PYX_OK ? L"Assertion failed:"
                              : FormatText(L"PYX_ERROR %d : %s: ", result, pTrace->GetResultText(result))) +
            MakeAssertText(argCount, message, args);
        va_end(args);
        Trace(source.source, line, PYX_TRACE_ERROR, source.scope, 0, text.c_str());
    }
}
