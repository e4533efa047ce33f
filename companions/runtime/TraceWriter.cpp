#include "runtime/TraceWriter.h"

#include <windows.h>

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

std::string ToUtf8(const std::wstring& text)
{
    const int length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(), size, nullptr, nullptr);
    return result;
}

} // namespace

void TraceWriter::SetLevel(pyx_int32 level)
{
    m_level = level;
}

void TraceWriter::TraceW(const wchar_t* path, pyx_int32 line, pyx_int32 level, const wchar_t* scope,
                         const wchar_t* format, va_list* pArgs)
{
    if (level > m_level || !format)
    {
        return;
    }
    const std::wstring record = std::wstring(LevelLabel(level)) + L' ' + OrEmpty(scope) + L' ' + OrEmpty(path) + L':' +
                                std::to_wstring(line) + L' ' + Format(format, pArgs) + L'\n';
    const std::string bytes = ToUtf8(record);
    // A host without a console has no standard error; the record then goes nowhere.
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

const wchar_t* TraceWriter::GetResultText(PYX_RESULT code)
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
