/// The runtime library's entries and its factory.
///
///     PYXInit -> factory -> GetTrace -> the trace object, which components write to
///
/// This build of the library serves development: it shows traces and offers
/// nothing else.

#include "common/HostContract.h"
#include "common/Platform.h"
#include "host/Utf8.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <iterator>
#include <string>
#include <string_view>

namespace
{

struct LevelRow
{
    pyx_int32 level;
    std::wstring_view setting;
    const wchar_t* label;
};

constexpr LevelRow c_levels[] = {
    // in rising order
    {PYX_TRACE_ERROR - 1, L"none", L""}, // no record is as important
    {PYX_TRACE_ERROR, L"error", L"ERROR"},
    {PYX_TRACE_WARNING, L"warning", L"WARNING"},
    {PYX_TRACE_INFO, L"info", L"INFO"},
};

struct ResultRow
{
    PYX_RESULT code;
    const wchar_t* text;
};

constexpr ResultRow c_results[] = {
    {PYX_OK, L"PYX_OK"},
    {PYX_FAIL, L"PYX_FAIL"},
    {PYX_UNEXPECTED, L"PYX_UNEXPECTED"},
    {PYX_ACCESS_DENIED, L"PYX_ACCESS_DENIED"},
    {PYX_INVALID_ARG, L"PYX_INVALID_ARG"},
    {PYX_OUT_OF_RANGE, L"PYX_OUT_OF_RANGE"},
    {PYX_OUT_OF_MEMORY, L"PYX_OUT_OF_MEMORY"},
    {PYX_INVALID_POINTER, L"PYX_INVALID_POINTER"},
    {PYX_NO_INTERFACE, L"PYX_NO_INTERFACE"},
    {PYX_NOT_IMPLEMENTED, L"PYX_NOT_IMPLEMENTED"},
    {PYX_NOT_FOUND, L"PYX_NOT_FOUND"},
    {PYX_NOT_INITIALIZED, L"PYX_NOT_INITIALIZED"},
    {PYX_FILE_NOT_OPEN, L"PYX_FILE_NOT_OPEN"},
    {PYX_EOF, L"PYX_EOF"},
};

std::wstring Format(const wchar_t* format, va_list* pArgs)
{
    if (!pArgs)
    {
        return format;
    }
    va_list measured;
    va_copy(measured, *pArgs);
    std::wstring text(static_cast<size_t>(std::max(_vscwprintf(format, measured), 0)), L'\0');
    va_end(measured);
    _vsnwprintf(text.data(), text.size(), format, *pArgs); // the text has its own terminator
    return text;
}

/// The level that the environment variable PYX_TRACE names: none, error, warning
/// or info. Warning when it is missing or names nothing known.
pyx_int32 ReadTraceLevel()
{
    wchar_t setting[16] = {};
    const DWORD length = GetEnvironmentVariableW(L"PYX_TRACE", setting, 16);
    const auto* pRow =
        std::ranges::find(c_levels, std::wstring_view(setting, length < 16 ? length : 0), &LevelRow::setting);
    return pRow == std::end(c_levels) ? PYX_TRACE_WARNING : pRow->level;
}

/// The least important level that is shown.
std::atomic<pyx_int32> s_level{PYX_TRACE_WARNING};

/// The trace object: writes each record that is shown as one line of UTF-8 to
/// standard error, `LEVEL scope source:line text`.
///
/// Threads: any. A line is one write, so lines of several threads do not mix.
/// Lifetime: static, ends with the library.
class TraceWriter final : public PYXTrace
{
public:
    /// A record below the level that is shown costs nothing: its text is not formatted. A level beyond the known ones
    /// reads as the least important.
    void TraceW(const wchar_t* path, pyx_int32 line, pyx_int32 level, const wchar_t* scope, const wchar_t* format,
                va_list* pArgs) override
    {
        if (level > s_level || !format)
        {
            return;
        }
        const LevelRow& row =
            *std::ranges::lower_bound(c_levels, std::min(level, PYX_TRACE_INFO), {}, &LevelRow::level);
        const std::wstring record = std::wstring(row.label) + L' ' + (scope ? scope : L"") + L' ' +
                                    (path ? path : L"") + L':' + std::to_wstring(line) + L' ' + Format(format, pArgs) +
                                    L'\n';
        const std::string bytes = PYXToUtf8(record);
        // A host without a console has no standard error; the record is lost then.
        DWORD written = 0;
        WriteFile(GetStdHandle(STD_ERROR_HANDLE), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    }

    /// The code's own name, such as "PYX_NOT_FOUND"; "unknown result" for others.
    const wchar_t* GetResultText(PYX_RESULT code) override
    {
        const auto* pRow = std::ranges::find(c_results, code, &ResultRow::code);
        return pRow == std::end(c_results) ? L"unknown result" : pRow->text;
    }
};

constexpr pyx_uint64 c_version = 0x0001000400240000; // 1.4.36.0

constexpr pyx_uint64 Major(pyx_uint64 version)
{
    return version >> 48;
}

TraceWriter s_trace;

/// Components keep the debug object's address and call nothing on it.
char s_debug;

template <class Value, class Out> PYX_RESULT HandOut(Value value, Out* pOut)
{
    if (!pOut)
    {
        return PYX_INVALID_POINTER;
    }
    *pOut = value;
    return PYX_OK;
}

class Factory final : public PYXFactory
{
public:
    PYX_RESULT GetDebug(void** ppOut) override
    {
        return HandOut(&s_debug, ppOut);
    }

    PYX_RESULT GetTrace(PYXTrace** ppOut) override
    {
        return HandOut(&s_trace, ppOut);
    }
};

Factory s_factory;

} // namespace

/// Hands out the factory to a caller built for `version`.
/// PYX_INVALID_POINTER: null factory. PYX_INVALID_ARG: another major version,
/// whose tables differ; `*ppFactory` is untouched.
PYX_EXPORT PYX_RESULT PYXInit(pyx_uint64 version, PYXFactory** ppFactory)
{
    if (!ppFactory)
    {
        return PYX_INVALID_POINTER;
    }
    if (Major(version) != Major(c_version))
    {
        return PYX_INVALID_ARG;
    }
    s_level = ReadTraceLevel();
    *ppFactory = &s_factory;
    return PYX_OK;
}

/// PYX_INVALID_POINTER: null output.
PYX_EXPORT PYX_RESULT PYXQueryVersion(pyx_uint64* pVersion)
{
    return HandOut(c_version, pVersion);
}
