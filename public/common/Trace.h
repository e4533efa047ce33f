#pragma once

#include "common/HostContract.h"

#include <string>

/// Diagnostics: one record per call to the runtime library's trace object. Without a runtime library tracing does
/// nothing and nothing else changes. Each Trace() keeps the DLL loaded for the call, and loads it where no other
/// reference is held: what traces often holds a PYXRuntimeReference.
/// [any-thread]

/// Where a record comes from. `source` names the source of a class, which may be spread over several files; `scope` is
/// the class's tag. Both are static.
struct PYXTraceSource
{
    const wchar_t* source;
    const wchar_t* scope;
};

/// Sends one record. The arguments after `format` reach the trace object as they are; with `argCount` 0 the format is
/// the text itself.
void Trace(const wchar_t* path, pyx_int32 line, pyx_int32 level, const wchar_t* scope, int argCount,
           const wchar_t* format, ...);

/// Formats by the platform's wide rules ("%s" is a wide string), at any length.
std::wstring FormatText(const wchar_t* format, ...);

/// The message of a check, formatted only when there are arguments.
std::wstring MakeAssertText(int argCount, const wchar_t* message, va_list args);

/// The record of a check, at the error level: of a call that failed with `result`, or else of a condition. Makes the
/// text, so that a check that holds costs its function neither registers nor a place in the cache.
void TraceFailedText(const PYXTraceSource& source, pyx_int32 line, PYX_RESULT result, int argCount,
                     const wchar_t* message, ...);

template <class... Args>
void TraceFailedCheck(const PYXTraceSource& source, pyx_int32 line, PYX_RESULT result, Args... messageAndArgs)
{
    TraceFailedText(source, line, result, sizeof...(Args) - 1, messageAndArgs...);
}

#define PYX_WIDEN_TEXT(text) L##text
#define PYX_WIDEN(text) PYX_WIDEN_TEXT(text)

// Every file that checks defines c_traceSource, a PYXTraceSource.

/// Checks whether the caller or the state is wrong: unless `condition` holds,
/// traces "Assertion failed:" and the message, and returns `code`. The message
/// may be a format followed by its arguments.
#define FAIL_IF_NOT(condition, code, ...) FAIL_IF_NOT_AT(__LINE__, condition, code, __VA_ARGS__)

/// Checks whether the callee failed: unless `call` returns PYX_OK, traces
/// "PYX_ERROR", the code, its text and the message, and returns the code.
#define PASS_ON_FAILURE(call, ...) PASS_ON_FAILURE_AT(__LINE__, call, __VA_ARGS__)

/// One record without a check: a format and its one argument, which reach the
/// trace object unformatted.
#define TRACE_WARNING(format, value) TRACE_DIRECTLY(PYX_TRACE_WARNING, format, value)
#define TRACE_INFO(format, value) TRACE_DIRECTLY(PYX_TRACE_INFO, format, value)
#define TRACE_DIRECTLY(level, format, value)                                                                           \
    Trace(c_traceSource.source, __LINE__, level, c_traceSource.scope, 1, format, value)

/// The checks with a fixed line, for records that tools find by their line.
#define FAIL_IF_NOT_AT(line, condition, code, ...)                                                                     \
    do                                                                                                                 \
    {                                                                                                                  \
        if (!(condition))                                                                                              \
        {                                                                                                              \
            TraceFailedCheck(c_traceSource, line, PYX_OK, __VA_ARGS__);                                                \
            return code;                                                                                               \
        }                                                                                                              \
    } while (false)

#define PASS_ON_FAILURE_AT(line, call, ...)                                                                            \
    do                                                                                                                 \
    {                                                                                                                  \
        const PYX_RESULT pyxResult = (call);                                                                           \
        if (pyxResult != PYX_OK)                                                                                       \
        {                                                                                                              \
            TraceFailedCheck(c_traceSource, line, pyxResult, __VA_ARGS__);                                             \
            return pyxResult;                                                                                          \
        }                                                                                                              \
    } while (false)

/// Checks a required pointer argument.
#define FAIL_IF_NULL_AT(line, pointer)                                                                                 \
    FAIL_IF_NOT_AT(line, (pointer) != nullptr, PYX_INVALID_POINTER, L"invalid pointer : " PYX_WIDEN(#pointer))
