#include "common/Trace.h"

#include "common/RuntimeLoader.h"

#include <cstdio>

namespace
{

std::wstring FormatTextList(const wchar_t* format, va_list args)
{
    va_list measured;
    va_copy(measured, args);
    const int length = _vscwprintf(format, measured);
    va_end(measured);
    if (length <= 0)
    {
        return {};
    }
    std::wstring text(static_cast<size_t>(length), L'\0');
    _vsnwprintf(text.data(), text.size() + 1, format, args);
    return text;
}

/// The trace object, together with a reference to the library that it lies in. Null
/// without a library.
class TraceObject
{
public:
    PYXTrace* operator->() const
    {
        return m_pTrace;
    }

    explicit operator bool() const
    {
        return m_pTrace != nullptr;
    }

private:
    PYXRuntimeReference m_runtime;
    PYXTrace* const m_pTrace = m_runtime.IsHeld() ? GetTraceObject() : nullptr;
};

} // namespace

void Trace(const wchar_t* path, pyx_int32 line, pyx_int32 level, const wchar_t* scope, int argCount,
           const wchar_t* format, ...)
{
    const TraceObject pTrace;
    if (!pTrace)
    {
        return;
    }
    va_list args;
    va_start(args, format);
    pTrace->TraceW(path, line, level, scope, format, argCount > 0 ? &args : nullptr);
    va_end(args);
}

std::wstring FormatText(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    std::wstring text = FormatTextList(format, args);
    va_end(args);
    return text;
}

std::wstring MakeAssertText(int argCount, [[maybe_unused]] const wchar_t* expression, const wchar_t* message, ...)
{
    if (argCount == 0)
    {
        return message;
    }
    va_list args;
    va_start(args, message);
    std::wstring text = FormatTextList(message, args);
    va_end(args);
    return text;
}

void TraceFailedCondition(const PYXTraceSource& source, pyx_int32 line, const std::wstring& message)
{
    Trace(source.source, line, PYX_TRACE_ERROR, source.scope, 0, (L"Assertion failed:" + message).c_str());
}

void TraceFailedCall(const PYXTraceSource& source, pyx_int32 line, PYX_RESULT result, const std::wstring& message)
{
    if (const TraceObject pTrace; pTrace)
    {
        const std::wstring text = FormatText(L"PYX_ERROR %d : %s: ", result, pTrace->GetResultText(result)) + message;
        Trace(source.source, line, PYX_TRACE_ERROR, source.scope, 0, text.c_str());
    }
}
