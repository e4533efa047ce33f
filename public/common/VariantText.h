#pragma once

#include "common/Variant.h"

#include <array>
#include <cstddef>
#include <string>

/// Text from task memory, the allocator pair that all modules of the process
/// share. Owned; null when there is none.
template <class Char> class PYXTaskText
{
public:
    PYXTaskText() = default;
    PYXTaskText(const PYXTaskText&) = delete;
    PYXTaskText& operator=(const PYXTaskText&) = delete;
    PYXTaskText(PYXTaskText&& other) noexcept;
    PYXTaskText& operator=(PYXTaskText&& other) noexcept;
    ~PYXTaskText();

    /// An uninitialised buffer of `count` characters; null when memory ran out.
    static PYXTaskText Allocate(size_t count);

    /// A copy of `length` characters and a terminator; null when `text` is null
    /// or memory ran out.
    static PYXTaskText Copy(const Char* text, size_t length);

    Char* Get() const
    {
        return m_text;
    }

    /// Gives the text to the caller, who frees it with CoTaskMemFree.
    Char* Detach();

private:
    Char* m_text = nullptr;
};

using PYXTaskString = PYXTaskText<char>;
using PYXTaskWString = PYXTaskText<wchar_t>;

/// Parsing. `*pError` becomes 0, or PYX_INVALID_ARG when the text is null, empty
/// or not matched at all. A partial match succeeds and leaves the other fields 0.

/// Accepts exactly true, True, TRUE, 1, false, False, FALSE and 0.
bool PYXParseBool(const char* text, PYX_RESULT* pError);

/// Decimal, or hexadecimal behind a lower-case 0x.
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
/// text, or one that cannot be converted, gives null. The calling thread is left
/// in per-thread locale mode.
PYXTaskWString PYXStringToWString(const char* text);
PYXTaskString PYXWStringToString(const wchar_t* text);
