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

#include <atomic>
#include <cstdio>
#include <cwchar>
#include <string>

namespace
{

struct LevelRow
{
    pyx_int32 level;
    const wchar_t* setting;
    const wchar_t* label;
};

constexpr LevelRow c_levels[] = {
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

/// A level beyond the known ones reads as the least important.
const wchar_t* LevelLabel(pyx_int32 level)
{
    for (const LevelRow& row : c_levels)
    {
        if (level <= row.level)
        {
            return row.label;
        }
    }
    return L"INFO";
}

const wchar_t* OrEmpty(const wchar_t* text)
{
    return text ? text : L"";
}

std::wstring Format(const wchar_t* format, va_list* pArgs)
{
    if (!pArgs)
    {
        return format;
    }
    va_list measured;
    va_copy(measured, *pArgs);
    const int length = _vscwprintf(format, measured);
    va_end(measured);
    if (length <= 0)
    {
        return {};
    }
    std::wstring text(static_cast<size_t>(length), L'\0');
    va_list args;
    va_copy(args, *pArgs);
    _vsnwprintf(text.data(), text.size() + 1, format, args);
    va_end(args);
    return text;
}

/// The level that the environment variable PYX_TRACE names: none, error, warning
/// or info. Warning when it is missing or names nothing known.
pyx_int32 ReadTraceLevel()
{
    wchar_t setting[16] = {};
    const DWORD length = GetEnvironmentVariableW(L"PYX_TRACE", setting, 16);
    for (const LevelRow& row : c_levels)
    {
        if (length < 16 && wcscmp(setting, row.setting) == 0)
        {
            return row.level;
        }
    }
    return PYX_TRACE_WARNING;
}

/// The trace object: writes each record that is shown as one line of UTF-8 to
/// standard error, `LEVEL scope source:line text`.
///
/// Threads: any. A line is one write, so lines of several threads do not mix.
/// Lifetime: static, ends with the library.
class TraceWriter final : public PYXTrace
{
public:
    /// Chooses the least important level that is shown.
    void SetLevel(pyx_int32 level)
    {
        m_level = level;
    }

    /// A record below the chosen level costs nothing: its text is not formatted.
    void TraceW(const wchar_t* path, pyx_int32 line, pyx_int32 level, const wchar_t* scope, const wchar_t* format,
                va_list* pArgs) override
    {
        if (level > m_level || !format)
        {
            return;
        }
        const std::wstring record = std::wstring(LevelLabel(level)) + L' ' + OrEmpty(scope) + L' ' + OrEmpty(path) +
                                    L':' + std::to_wstring(line) + L' ' + Format(format, pArgs) + L'\n';
        const std::string bytes = PYXToUtf8(record);
        // A host without a console has no standard error; the record then goes nowhere.
        DWORD written = 0;
        WriteFile(GetStdHandle(STD_ERROR_HANDLE), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    }

    /// The code's own name, such as "PYX_NOT_FOUND"; "unknown result" for others.
    const wchar_t* GetResultText(PYX_RESULT code) override
    {
        for (const ResultRow& row : c_results)
        {
            if (row.code == code)
            {
                return row.text;
            }
        }
        return L"unknown result";
    }

private:
    std::atomic<pyx_int32> m_level{PYX_TRACE_WARNING};
};

constexpr pyx_uint64 c_version = 0x0001000400240000; // 1.4.36.0

constexpr pyx_uint64 Major(pyx_uint64 version)
{
    return version >> 48;
}

TraceWriter s_trace;

/// Components keep the debug object's address and call nothing on it.
struct DebugObject
{
} s_debug;

template <class Object, class Out> PYX_RESULT HandOut(Object* pObject, Out** ppOut)
{
    if (!ppOut)
    {
        return PYX_INVALID_POINTER;
    }
    *ppOut = pObject;
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
    s_trace.SetLevel(ReadTraceLevel());
    *ppFactory = &s_factory;
    return PYX_OK;
}

/// PYX_INVALID_POINTER: null output.
PYX_EXPORT PYX_RESULT PYXQueryVersion(pyx_uint64* pVersion)
{
    if (!pVersion)
    {
        return PYX_INVALID_POINTER;
    }
    *pVersion = c_version;
    return PYX_OK;
}
