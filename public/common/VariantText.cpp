#include "common/VariantText.h"

#include <windows.h>
#include <locale.h>
#include <objbase.h>

#include <algorithm>
#include <bit>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>

namespace
{

enum class Scanned
{
    Number,
    Nothing, // the text goes on with something else
    End,     // only blanks are left
};

/// The magnitude with its sign. Saturates; '-' on an unsigned value negates modulo 2^n, as scanf does.
template <class Number> Number Signed(pyx_uint64 magnitude, bool isNegative)
{
    constexpr auto largest = static_cast<pyx_uint64>(std::numeric_limits<Number>::max());
    magnitude = std::min(magnitude, largest + (std::is_signed_v<Number> && isNegative ? 1 : 0));
    return static_cast<Number>(isNegative ? 0 - magnitude : magnitude);
}

/// Takes blanks off the text.
void TakeBlanks(std::string_view* pText)
{
    pText->remove_prefix(std::min(pText->find_first_not_of(" \t\n\v\f\r"), pText->size()));
}

/// Takes a sign off the text, if there is one; true for '-'.
bool TakeSign(std::string_view* pText)
{
    const bool isNegative = pText->starts_with('-');
    pText->remove_prefix(isNegative || pText->starts_with('+') ? 1 : 0);
    return isNegative;
}

/// scanf's %x accepts another 0x here.
bool HasHexPrefix(std::string_view text)
{
    return text.size() > 2 && (text.starts_with("0x") || text.starts_with("0X")) &&
           std::isxdigit(static_cast<unsigned char>(text[2]));
}

/// Takes a whole number off the text as the C library's scanner does: blanks and a sign, then as many digits
/// as there are. That scanner itself crashes in some C libraries when there is no memory.
template <class Number> Scanned ScanNumber(std::string_view* pText, int base, Number* pNumber)
{
    std::string_view text = *pText;
    TakeBlanks(&text);
    if (text.empty())
    {
        return Scanned::End;
    }
    const bool isNegative = TakeSign(&text);
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

/// Scans numbers with a separator between them until one is missing. Only a text that begins with no number fails:
/// hosts rely on partial texts, and on blanks, to convert.
template <class Number> PYX_RESULT ScanList(const char* text, char separator, std::span<Number> numbers)
{
    if (!text || !*text)
    {
        return PYX_INVALID_ARG;
    }
    std::string_view rest(text);
    const Scanned first = ScanNumber(&rest, 10, &numbers[0]);
    bool goesOn = first == Scanned::Number;
    for (size_t i = 1; goesOn && i < numbers.size() && rest.starts_with(separator); ++i)
    {
        rest.remove_prefix(1);
        goesOn = ScanNumber(&rest, 10, &numbers[i]) == Scanned::Number;
    }
    return first == Scanned::Nothing ? PYX_INVALID_ARG : PYX_OK;
}

/// A structure of `Count` numbers of one kind.
template <class Structure, class Number, size_t Count = sizeof(Structure) / sizeof(Number)>
Structure ScanStructure(const char* text, char separator, PYX_RESULT* pError)
{
    std::array<Number, Count> numbers{};
    *pError = ScanList(text, separator, std::span<Number>(numbers));
    return std::bit_cast<Structure>(numbers);
}

/// Position of the first non-zero digit before the decimal point; 0 or less after it. `digits` has no exponent.
pyx_int64 LeadingPlaces(std::string_view digits)
{
    const size_t point = std::min(digits.find('.'), digits.size());
    const size_t first = std::min(digits.find_first_not_of("0."), digits.size());
    return static_cast<pyx_int64>(point) - static_cast<pyx_int64>(first) + (first > point ? 1 : 0);
}

/// Result for an out-of-range number, its digits and exponent given: infinity or zero.
template <class Real> Real OutOfRange(std::string_view number, bool isHexadecimal)
{
    const size_t mark = std::min(number.find_first_of(isHexadecimal ? "pP" : "eE"), number.size());
    std::string_view exponentText = number.substr(std::min(mark + 1, number.size()));
    const bool isNegative = TakeSign(&exponentText);
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

/// Reads a real number as the scanner of the C locale does: blanks and a sign first, hexadecimal after 0x; what follows
/// the number is not read.
template <class Real> Real ScanReal(const char* text, PYX_RESULT* pError)
{
    std::string_view number(text ? text : "");
    TakeBlanks(&number);
    if (number.empty())
    {
        *pError = text && *text ? PYX_OK : PYX_INVALID_ARG; // blanks alone are the end of the input, see ScanList()
        return Real{};
    }
    const bool isNegative = TakeSign(&number);
    const bool isHexadecimal = number.starts_with("0x") || number.starts_with("0X");
    number.remove_prefix(isHexadecimal ? 2 : 0);
    number = number.substr(0, number.find("+-")); // no exponent has two signs, although some C++ libraries read them
    Real value{};
    const auto format = isHexadecimal ? std::chars_format::hex : std::chars_format::general;
    const auto [pEnd, error] = std::from_chars(number.data(), number.data() + number.size(), value, format);
    const std::string_view rest(pEnd, number.data() + number.size());
    const bool hasDigits =
        !number.empty() && (std::isxdigit(static_cast<unsigned char>(number[0])) || number[0] == '.');
    const bool isCutInfinity = std::isinf(value) && number.size() - rest.size() == 3 &&
                               (rest.starts_with('i') || rest.starts_with('I')); // "infin" is no short form
    if (number.starts_with('-') || error == std::errc::invalid_argument || (isHexadecimal && !hasDigits) ||
        isCutInfinity)
    {
        *pError = PYX_INVALID_ARG;
        return Real{};
    }
    if (error == std::errc::result_out_of_range)
    {
        value = OutOfRange<Real>({number.data(), pEnd}, isHexadecimal);
    }
    *pError = PYX_OK;
    return isNegative ? -value : value;
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
    if (!text || !*text)
    {
        return {};
    }
    _configthreadlocale(_ENABLE_PER_THREAD_LOCALE);
    const int length = Convert(text, static_cast<To*>(nullptr), 0); // with the terminator
    PYXTaskText<To> converted(static_cast<To*>(PYXAllocateTaskMemory(static_cast<size_t>(length) * sizeof(To))));
    return converted && Convert(text, converted.get(), length) > 1 ? std::move(converted) : nullptr;
}

} // namespace

void PYXTaskMemoryCloser::operator()(void* p) const noexcept
{
    CoTaskMemFree(p);
}

void* PYXAllocateTaskMemory(size_t size)
{
    return CoTaskMemAlloc(size);
}

bool PYXParseBool(const char* text, PYX_RESULT* pError)
{
    const std::string_view given(text ? text : "");
    const auto isOneOf = [given](auto... texts) { return ((given == texts) || ...); };
    const bool isTrue = isOneOf("true", "True", "TRUE", "1");
    *pError = isTrue || isOneOf("false", "False", "FALSE", "0") ? PYX_OK : PYX_INVALID_ARG;
    return isTrue;
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
    return ScanStructure<pyx_int64, pyx_int64>(text, ',', pError);
}

double PYXParseDouble(const char* text, PYX_RESULT* pError)
{
    return ScanReal<double>(text, pError);
}

float PYXParseFloat(const char* text, PYX_RESULT* pError)
{
    return ScanReal<float>(text, pError);
}

PYXRect PYXParseRect(const char* text, PYX_RESULT* pError)
{
    return ScanStructure<PYXRect, pyx_int32>(text, ',', pError);
}

PYXSize PYXParseSize(const char* text, PYX_RESULT* pError)
{
    *pError = PYX_INVALID_ARG;
    const char separator = text && strchr(text, ',') ? ',' : 'x';
    return text && strchr(text, separator) ? ScanStructure<PYXSize, pyx_int32>(text, separator, pError) : PYXSize{};
}

PYXPoint PYXParsePoint(const char* text, PYX_RESULT* pError)
{
    return ScanStructure<PYXPoint, pyx_int32>(text, ',', pError);
}

PYXRate PYXParseRate(const char* text, PYX_RESULT* pError)
{
    return ScanStructure<PYXRate, pyx_uint32>(text, ',', pError);
}

PYXColor PYXParseColor(const char* text, PYX_RESULT* pError)
{
    std::array<pyx_uint32, 4> numbers{};
    *pError = ScanList(text, ',', std::span<pyx_uint32>(numbers));
    if (*pError != PYX_OK)
    {
        return {0, 0, 0, 255};
    }
    const auto low = [&](size_t index) { return static_cast<pyx_uint8>(numbers[index] & 0xFF); };
    return {low(0), low(1), low(2), low(3)};
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
