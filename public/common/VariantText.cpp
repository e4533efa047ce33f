#include "common/VariantText.h"

#include <windows.h>
#include <locale.h>
#include <objbase.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>
#include <type_traits>
#include <utility>

template <class Char>
PYXTaskText<Char>::PYXTaskText(PYXTaskText&& other) noexcept : m_text(std::exchange(other.m_text, nullptr))
{
}

template <class Char> PYXTaskText<Char>& PYXTaskText<Char>::operator=(PYXTaskText&& other) noexcept
{
    std::swap(m_text, other.m_text);
    return *this;
}

template <class Char> PYXTaskText<Char>::~PYXTaskText()
{
    CoTaskMemFree(m_text);
}

template <class Char> PYXTaskText<Char> PYXTaskText<Char>::Allocate(size_t count)
{
    PYXTaskText result;
    result.m_text = static_cast<Char*>(CoTaskMemAlloc(count * sizeof(Char)));
    return result;
}

template <class Char> PYXTaskText<Char> PYXTaskText<Char>::Copy(const Char* text, size_t length)
{
    PYXTaskText result;
    if (text)
    {
        result = Allocate(length + 1);
    }
    if (result.m_text)
    {
        memcpy(result.m_text, text, length * sizeof(Char));
        result.m_text[length] = 0;
    }
    return result;
}

template <class Char> Char* PYXTaskText<Char>::Detach()
{
    return std::exchange(m_text, nullptr);
}

template class PYXTaskText<char>;
template class PYXTaskText<wchar_t>;

namespace
{

constexpr std::string_view c_blanks = " \t\n\v\f\r";

enum class Scanned
{
    Number,
    Nothing, // what stands there is no number
    End,     // nothing but blanks is left
};

/// The magnitude with its sign. One that does not fit is the largest that does; a sign turns an unsigned one around.
template <class Number> Number Signed(pyx_uint64 magnitude, bool isNegative)
{
    constexpr auto largest = static_cast<pyx_uint64>(std::numeric_limits<Number>::max());
    magnitude = std::min(magnitude, largest + (std::is_signed_v<Number> && isNegative ? 1 : 0));
    return static_cast<Number>(isNegative ? 0 - magnitude : magnitude);
}

/// Whether a second 0x is in front of the digits, which the scanner skips.
bool HasHexPrefix(std::string_view text)
{
    return text.size() > 2 && (text.starts_with("0x") || text.starts_with("0X")) &&
           std::isxdigit(static_cast<unsigned char>(text[2]));
}

/// Takes a whole number off the text as the C library's scanner does: blanks and a sign in front, then as many digits
/// as there are. That scanner itself crashes in some C libraries when there is no memory.
template <class Number> Scanned ScanNumber(std::string_view* pText, int base, Number* pNumber)
{
    std::string_view text = *pText;
    text.remove_prefix(std::min(text.find_first_not_of(c_blanks), text.size()));
    if (text.empty())
    {
        return Scanned::End;
    }
    const bool isNegative = text.starts_with('-');
    text.remove_prefix(isNegative || text.starts_with('+') ? 1 : 0);
    text.remove_prefix(base == 16 && HasHexPrefix(text) ? 2 : 0);
    pyx_uint64 magnitude = std::numeric_limits<pyx_uint64>::max(); // stays when there are too many digits
    const auto [pEnd, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
    if (error == std::errc::invalid_argument)
    {
        return Scanned::Nothing;
    }
    *pNumber = Signed<Number>(magnitude, isNegative);
    text.remove_prefix(static_cast<size_t>(pEnd - text.data()));
    *pText = text;
    return Scanned::Number;
}

/// Scans numbers with a separator between them, up to the first that is not there. Only a text that begins with no
/// number fails: hosts rely on partial texts, and on blanks, to convert.
template <class... Fields> PYX_RESULT ScanList(const char* text, char separator, Fields*... fields)
{
    if (!text || !*text)
    {
        return PYX_INVALID_ARG;
    }
    std::string_view rest(text);
    bool isFirst = true;
    PYX_RESULT result = PYX_OK;
    const auto scan = [&](auto* pField) {
        if (!std::exchange(isFirst, false))
        {
            const bool follows = rest.starts_with(separator);
            rest.remove_prefix(follows ? 1 : 0);
            return follows && ScanNumber(&rest, 10, pField) == Scanned::Number;
        }
        const Scanned scanned = ScanNumber(&rest, 10, pField);
        result = scanned == Scanned::Nothing ? PYX_INVALID_ARG : PYX_OK;
        return scanned == Scanned::Number;
    };
    static_cast<void>((scan(fields) && ...));
    return result;
}

/// How many places the first digit of a number that is not 0 stands before the
/// point; 0 or less behind it. `digits` has no exponent.
pyx_int64 LeadingPlaces(std::string_view digits)
{
    const size_t point = std::min(digits.find('.'), digits.size());
    const size_t first = std::min(digits.find_first_not_of("0."), digits.size());
    return static_cast<pyx_int64>(point) - static_cast<pyx_int64>(first) + (first > point ? 1 : 0);
}

/// What a scanner reads from a number beyond the range of its kind, `number` being
/// its digits and exponent: zero when it is too small, infinity when too large.
template <class Real> Real OutOfRange(std::string_view number, bool isHexadecimal)
{
    const size_t mark = std::min(number.find_first_of(isHexadecimal ? "pP" : "eE"), number.size());
    std::string_view exponentText = number.substr(std::min(mark + 1, number.size()));
    const bool isNegative = exponentText.starts_with('-');
    exponentText.remove_prefix(isNegative || exponentText.starts_with('+') ? 1 : 0);
    pyx_int64 exponent = 0;
    constexpr pyx_int64 highest = 1LL << 40; // of an exponent that fits no number either
    if (std::from_chars(exponentText.data(), exponentText.data() + exponentText.size(), exponent).ec ==
        std::errc::result_out_of_range)
    {
        exponent = highest;
    }
    exponent = std::min(exponent, highest) * (isNegative ? -1 : 1);
    const pyx_int64 places = LeadingPlaces(number.substr(0, mark)) * (isHexadecimal ? 4 : 1);
    return places + exponent > 0 ? std::numeric_limits<Real>::infinity() : Real{};
}

/// Reads a real number as the scanner of the C locale does: blanks and a sign in
/// front, hexadecimal behind 0x, whatever follows left alone.
template <class Real> PYX_RESULT ScanReal(const char* text, Real* pValue)
{
    if (!text || !*text)
    {
        return PYX_INVALID_ARG;
    }
    std::string_view number(text);
    number.remove_prefix(std::min(number.find_first_not_of(c_blanks), number.size()));
    if (number.empty())
    {
        return PYX_OK; // nothing but blanks is the end of the input, see ScanList()
    }
    const bool isNegative = number.starts_with('-');
    number.remove_prefix(isNegative || number.starts_with('+') ? 1 : 0);
    const bool isHexadecimal = number.starts_with("0x") || number.starts_with("0X");
    number.remove_prefix(isHexadecimal ? 2 : 0);
    Real value{};
    const auto format = isHexadecimal ? std::chars_format::hex : std::chars_format::general;
    const auto [pEnd, error] = std::from_chars(number.data(), number.data() + number.size(), value, format);
    if (number.starts_with('-') || error == std::errc::invalid_argument)
    {
        return PYX_INVALID_ARG;
    }
    if (error == std::errc::result_out_of_range)
    {
        value = OutOfRange<Real>({number.data(), pEnd}, isHexadecimal);
    }
    *pValue = isNegative ? -value : value;
    return PYX_OK;
}

template <class... Values> std::string Format(const char* format, Values... values)
{
    char text[64]; // four 32-bit numbers and three commas need 48
    const int length = _snprintf(text, sizeof(text), format, values...);
    return {text, static_cast<size_t>(length)};
}

int Convert(const char* source, wchar_t* dest, int capacity)
{
    return MultiByteToWideChar(CP_UTF8, 0, source, -1, dest, capacity);
}

int Convert(const wchar_t* source, char* dest, int capacity)
{
    return WideCharToMultiByte(CP_UTF8, 0, source, -1, dest, capacity, nullptr, nullptr);
}

template <class To, class From> PYXTaskText<To> ConvertText(const From* text)
{
    constexpr int slack = 8;
    if (!text || !*text)
    {
        return {};
    }
    _configthreadlocale(_ENABLE_PER_THREAD_LOCALE);
    const int needed = Convert(text, static_cast<To*>(nullptr), 0);
    if (needed == 0)
    {
        return {};
    }
    const auto buffer = PYXTaskText<To>::Allocate(static_cast<size_t>(needed) + slack + 1);
    const int converted = buffer.Get() ? Convert(text, buffer.Get(), needed + slack) : 0;
    if (converted <= 1)
    {
        return {};
    }
    return PYXTaskText<To>::Copy(buffer.Get(), static_cast<size_t>(converted) - 1);
}

} // namespace

bool PYXParseBool(const char* text, PYX_RESULT* pError)
{
    *pError = PYX_OK;
    for (const char* accepted : {"true", "True", "TRUE", "1"})
    {
        if (text && strcmp(text, accepted) == 0)
        {
            return true;
        }
    }
    for (const char* accepted : {"false", "False", "FALSE", "0"})
    {
        if (text && strcmp(text, accepted) == 0)
        {
            return false;
        }
    }
    *pError = PYX_INVALID_ARG;
    return false;
}

pyx_int64 PYXParseInt64(const char* text, PYX_RESULT* pError)
{
    if (text && strlen(text) >= 3 && text[0] == '0' && text[1] == 'x')
    {
        pyx_uint64 bits = 0;
        std::string_view digits(text + 2);
        const Scanned scanned = ScanNumber(&digits, 16, &bits);
        *pError = scanned == Scanned::Nothing ? PYX_INVALID_ARG : PYX_OK;
        return static_cast<pyx_int64>(bits);
    }
    pyx_int64 value = 0;
    *pError = ScanList(text, ',', &value);
    return value;
}

double PYXParseDouble(const char* text, PYX_RESULT* pError)
{
    double value = 0.0;
    *pError = ScanReal(text, &value);
    return value;
}

float PYXParseFloat(const char* text, PYX_RESULT* pError)
{
    float value = 0.0F;
    *pError = ScanReal(text, &value);
    return value;
}

PYXRect PYXParseRect(const char* text, PYX_RESULT* pError)
{
    PYXRect rect{};
    *pError = ScanList(text, ',', &rect.left, &rect.top, &rect.right, &rect.bottom);
    return rect;
}

PYXSize PYXParseSize(const char* text, PYX_RESULT* pError)
{
    PYXSize size{};
    *pError = PYX_INVALID_ARG;
    if (text && strchr(text, ','))
    {
        *pError = ScanList(text, ',', &size.width, &size.height);
    }
    else if (text && strchr(text, 'x'))
    {
        *pError = ScanList(text, 'x', &size.width, &size.height);
    }
    return size;
}

PYXPoint PYXParsePoint(const char* text, PYX_RESULT* pError)
{
    PYXPoint point{};
    *pError = ScanList(text, ',', &point.x, &point.y);
    return point;
}

PYXRate PYXParseRate(const char* text, PYX_RESULT* pError)
{
    PYXRate rate{};
    *pError = ScanList(text, ',', &rate.numerator, &rate.denominator);
    return rate;
}

PYXColor PYXParseColor(const char* text, PYX_RESULT* pError)
{
    pyx_uint32 r = 0;
    pyx_uint32 g = 0;
    pyx_uint32 b = 0;
    pyx_uint32 a = 0;
    *pError = ScanList(text, ',', &r, &g, &b, &a);
    if (*pError != PYX_OK)
    {
        return {0, 0, 0, 255};
    }
    const auto low = [](pyx_uint32 value) { return static_cast<pyx_uint8>(value & 0xFF); };
    return {low(r), low(g), low(b), low(a)};
}

const char* PYXFormatInt64(pyx_int64 value, PYXNumberText* pText)
{
    *std::to_chars(pText->data(), pText->data() + pText->size() - 1, value).ptr = '\0';
    return pText->data();
}

const char* PYXFormatReal(double value, PYXNumberText* pText)
{
    const double shown = std::isnan(value) ? std::abs(value) : value; // some carry a sign
    char* const pEnd = pText->data() + pText->size() - 1;
    *std::to_chars(pText->data(), pEnd, shown, std::chars_format::fixed, 6).ptr = '\0';
    return pText->data();
}

std::string PYXFormatRect(const PYXRect& rect)
{
    return Format("%d,%d,%d,%d", rect.left, rect.top, rect.right, rect.bottom);
}

std::string PYXFormatPair(pyx_int32 first, pyx_int32 second)
{
    return Format("%d,%d", first, second);
}

std::string PYXFormatRate(const PYXRate& rate)
{
    return Format("%u,%u", rate.numerator, rate.denominator);
}

std::string PYXFormatColor(const PYXColor& color)
{
    return Format("%u,%u,%u,%u", color.r, color.g, color.b, color.a);
}

PYXTaskWString PYXStringToWString(const char* text)
{
    return ConvertText<wchar_t>(text);
}

PYXTaskString PYXWStringToString(const wchar_t* text)
{
    return ConvertText<char>(text);
}
