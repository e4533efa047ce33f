#pragma once

#include "common/Variant.h"

#include <stdarg.h>

/// A program without a C++ library: what it takes from the C runtime and the
/// system, and the record of calls that every check compares.

extern "C"
{
    __declspec(dllimport) void* LoadLibraryW(const wchar_t* name);
    __declspec(dllimport) void (*GetProcAddress(void* module, const char* name))();
    __declspec(dllimport) void* SetUnhandledExceptionFilter(pyx_int32 (*filter)(void* exception));
    __declspec(dllimport) void CoTaskMemFree(void* p);
    int snprintf(char* text, pyx_size size, const char* format, ...) __asm__("_snprintf")
        __attribute__((format(printf, 3, 4)));
    int vsnprintf(char* text, pyx_size size, const char* format, va_list args) __asm__("_vsnprintf");
    int printf(const char* format, ...);
    int strcmp(const char* left, const char* right);
    int wcscmp(const wchar_t* left, const wchar_t* right);
    [[noreturn]] void exit(int code);
}

inline char g_calls[4096]; ///< what the objects of this program were asked since the last check
inline char* g_pCallsEnd = g_calls;
inline PYXVariant g_value;               ///< what a call gave out; a text is this program's to free
inline const char* g_step = "the start"; ///< the check in progress
inline int g_failures;

__attribute__((format(printf, 1, 2))) inline void Record(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    *g_pCallsEnd = ' ';
    g_pCallsEnd += g_pCallsEnd == g_calls ? 0 : 1;
    g_pCallsEnd += vsnprintf(g_pCallsEnd, static_cast<pyx_size>(g_calls + sizeof(g_calls) - g_pCallsEnd), format, args);
    va_end(args);
}

/// The kind, then the value.
struct ValueText
{
    char text[100];

    explicit ValueText(const PYXVariant& value)
    {
        snprintf(text, sizeof(text), "%u:%lld", static_cast<pyx_uint32>(value.type), value.int64Value);
        if (value.type == PYX_VARIANT_WSTRING)
        {
            snprintf(text, sizeof(text), "11:%ls", value.wstringValue);
        }
        if (value.type == PYX_VARIANT_SIZE || value.type == PYX_VARIANT_RATE)
        {
            snprintf(text, sizeof(text), "%u:%dx%d", static_cast<pyx_uint32>(value.type), value.sizeValue.width,
                     value.sizeValue.height);
        }
    }
};

/// EXPECT(expression, result[, calls that it causes on the objects of this program and the value that it gives out])
#define EXPECT(expression, ...)                                                                                        \
    do                                                                                                                 \
    {                                                                                                                  \
        g_step = #expression;                                                                                          \
        Check(static_cast<pyx_int64>(expression), __VA_ARGS__);                                                        \
    } while (false)

inline void Check(pyx_int64 result, pyx_int64 expected, const char* calls = "")
{
    if (g_value.type != PYX_VARIANT_EMPTY)
    {
        Record("%s", ValueText(g_value).text);
    }
    if (g_value.type == PYX_VARIANT_WSTRING)
    {
        CoTaskMemFree(g_value.wstringValue);
    }
    if (result != expected || strcmp(g_calls, calls) != 0)
    {
        ++g_failures;
        printf("FAILED %s\n  returned %lld, caused \"%s\"\n  expected %lld, \"%s\"\n", g_step, result, g_calls,
               expected, calls);
    }
    g_value = {};
    g_pCallsEnd = g_calls;
    *g_calls = 0;
}

/// A wrong slot is often given arguments that it cannot bear, so a crash names the call that it happened in.
inline pyx_int32 ReportCrash(void*)
{
    printf("FAILED %s\n  crashed, having caused \"%s\"\n", g_step, g_calls);
    exit(3);
}
