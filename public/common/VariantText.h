#pragma once

#include "common/Variant.h"

#include <array>
#include <cstddef>
#include <memory>
#include <string>

struct PYXTaskMemoryCloser
{
    void operator()(void* p) const noexcept;
};

/// Text from task memory, the allocator pair that all modules of the process share. Null when there is none.
template <class Char> using PYXTaskText = std::unique_ptr<Char, PYXTaskMemoryCloser>;
using PYXTaskString = PYXTaskText<char>;
using PYXTaskWString = PYXTaskText<wchar_t>;

/// So many bytes of task memory; null when there are none.
void* PYXAllocateTaskMemory(size_t size);

/// Parsing. `*pError` becomes PYX_OK, or PYX_INVALID_ARG when the text is null, empty
/// or begins with no number. A partial match succeeds and leaves the other fields 0; so
/// does a text of blanks alone, but for a bool.

/// Accepts exactly true, True, TRUE, 1, false, False, FALSE and 0.
bool PYXParseBool(const char* text, PYX_RESULT* pError);

/// Decimal, or hexadecimal after a lower-case 0x.
pyx_int64 PYXParseInt64(const char* text, PYX_RESULT* pError);

/// Whatever locale a host sets, the decimal point is a point. "inf", "-inf" and
/// "nan" are values too; what is too large or too small becomes infinity or zero.
double PYXParseDouble(const char* text, PYX_RESULT* pError);
float PYXParseFloat(const char* text, PYX_RESULT* pError);
PYXRect PYXParseRect(const char* text, PYX_RESULT* pError);

/// "w,h" or "wxh".
PYXSize PYXParseSize(const char* text, PYX_RESULT* pError);
PYXPoint PYXParsePoint(const char* text, PYX_RESULT* pError);
PYXRate PYXParseRate(const char* text, PYX_RESULT* pError);

/// "r,g,b,a", each number cut to its low 8 bits; opaque black on failure.
PYXColor PYXParseColor(const char* text, PYX_RESULT* pError);

/// The longest text of one number and its terminator: the largest double has 309
/// digits before its point.
using PYXNumberText = std::array<char, 400>;

/// Formatting of one number into `*pText`, whose terminated text is the result.
/// A real one has six decimals and a point whatever the locale, or is "inf",
/// "-inf" or "nan".
const char* PYXFormatInt64(pyx_int64 value, PYXNumberText* pText);
const char* PYXFormatReal(double value, PYXNumberText* pText);

/// Formatting: numbers with commas between them.
std::string PYXFormatRect(const PYXRect& rect);
std::string PYXFormatPair(pyx_int32 first, pyx_int32 second);
std::string PYXFormatRate(const PYXRate& rate);
std::string PYXFormatColor(const PYXColor& color);

/// UTF-8 to UTF-16 and back, whatever the process's code page. A null or empty
/// text, or one that cannot be converted, gives null. Asks the C library for its
/// per-thread locale mode, where it has one (mingw-w64's has none).
PYXTaskWString PYXStringToWString(const char* text);
PYXTaskString PYXWStringToString(const wchar_t* text);
