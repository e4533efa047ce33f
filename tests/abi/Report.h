#pragma once

#include "common/Variant.h"

/// The ground under a program without a C library: the system entries it needs,
/// and the record of calls that every check compares.

extern "C"
{
    __declspec(dllimport) void* LoadLibraryW(const wchar_t* name);
    __declspec(dllimport) void (*GetProcAddress(void* module, const char* name))();
    __declspec(dllimport) void* GetStdHandle(pyx_uint32 which);
    __declspec(dllimport) int WriteFile(void* file, const void* data, pyx_uint32 size, pyx_uint32* written,
                                        void* async);
    __declspec(dllimport, noreturn) void ExitProcess(pyx_uint32 code);
    __declspec(dllimport) void* SetUnhandledExceptionFilter(pyx_int32 (*filter)(void* exception));
    __declspec(dllimport) void CoTaskMemFree(void* p);
}

/// One line of text; what does not fit is cut.
struct Text
{
    char text[4096];
    pyx_size length;

    void Clear()
    {
        length = 0;
        text[0] = 0;
    }

    template <class... Parts> void Join(const Parts&... parts)
    {
        (Append(parts), ...);
    }

    template <class Unit> void Append(const Unit* part)
    {
        for (; *part && length + 1 < sizeof(text); text[length] = 0)
        {
            text[length++] = static_cast<char>(*part++);
        }
    }

    void Append(pyx_int64 number)
    {
        const pyx_int64 front = number / 10;
        const pyx_int64 digit = number % 10;
        if (number < 0)
        {
            Append("-");
        }
        if (front != 0)
        {
            Append(front < 0 ? -front : front);
        }
        const char unit[] = {static_cast<char>('0' + (digit < 0 ? -digit : digit)), 0};
        Append(unit);
    }

    /// The kind, then the value in the kind's own bytes.
    void Append(const PYXVariant& value)
    {
        Join(value.type, ":");
        switch (value.type)
        {
        case PYX_VARIANT_WSTRING:
            Append(value.wstringValue);
            break;
        case PYX_VARIANT_SIZE:
            Join(value.sizeValue.width, "x", value.sizeValue.height);
            break;
        case PYX_VARIANT_BOOL:
            Append(value.boolValue);
            break;
        default:
            Append(value.int64Value);
            break;
        }
    }
};

inline Text g_calls;                     ///< what the objects of this program were asked since the last check
inline PYXVariant g_value;               ///< what a call gave out; a text is this program's to free
inline const char* g_step = "the start"; ///< the check under way
inline pyx_int64 g_failures;

template <class... Parts> int Record(const Parts&... parts)
{
    g_calls.Join(g_calls.length ? " " : "", parts...);
    return sizeof...(parts);
}

template <class... Parts> void Print(const Parts&... parts)
{
    static Text s_line;
    s_line.Clear();
    s_line.Join(parts..., "\r\n");
    WriteFile(GetStdHandle(~10u), s_line.text, static_cast<pyx_uint32>(s_line.length), nullptr, nullptr);
}

template <class Unit, class Other> bool IsEqual(const Unit* left, const Other* right)
{
    // NOLINTNEXTLINE(bugprone-signed-char-misuse): the texts that are compared are plain ASCII
    return *left == *right && (!*left || IsEqual(left + 1, right + 1));
}

/// EXPECT(expression, answer[, calls that it causes on the objects of this program and the value that it gives out])
#define EXPECT(expression, ...)                                                                                        \
    do                                                                                                                 \
    {                                                                                                                  \
        g_step = #expression;                                                                                          \
        Check(static_cast<pyx_int64>(expression), __VA_ARGS__);                                                        \
    } while (false)

/// Puts the value that a call gave out at the end of the record, and frees its text.
inline void RecordValue()
{
    if (g_value.type != PYX_VARIANT_EMPTY)
    {
        Record(g_value);
    }
    if (g_value.type == PYX_VARIANT_WSTRING)
    {
        CoTaskMemFree(g_value.wstringValue);
    }
    g_value = {};
}

inline void Check(pyx_int64 answer, pyx_int64 expected, const char* calls = "")
{
    RecordValue();
    if (answer != expected || !IsEqual(g_calls.text, calls))
    {
        ++g_failures;
        Print("FAILED ", g_step, "\r\n  answered ", answer, ", caused \"", g_calls.text, "\"\r\n  expected ", expected,
              ", \"", calls, "\"");
    }
    g_calls.Clear();
}

/// A wrong slot is often given arguments that it cannot bear, so a crash names the call that it happened in.
inline pyx_int32 ReportCrash(void*)
{
    Print("FAILED ", g_step, "\r\n  crashed, having caused \"", g_calls.text, "\"");
    ExitProcess(3);
}
