#include "common/Variant.h"

#include "common/VariantText.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

namespace
{

bool IsKnown(PYXVariantType type)
{
    return type <= PYX_VARIANT_FLOAT_VECTOR4D;
}

template <class Char>
PYX_RESULT AssignText(PYXVariant* pVariant, PYXVariantType type, Char* PYXVariant::* member, const Char* text)
{
    if (!pVariant || !text)
    {
        return PYX_INVALID_POINTER;
    }
    const size_t size = (std::char_traits<Char>::length(text) + 1) * sizeof(Char);
    PYXTaskText<Char> copy(static_cast<Char*>(PYXAllocateTaskMemory(size)));
    if (copy)
    {
        memcpy(copy.get(), text, size);
    }
    pVariant->type = type;
    pVariant->*member = copy.release();
    return pVariant->*member ? PYX_OK : PYX_OUT_OF_MEMORY;
}

template <class Char> bool EqualTexts(const Char* first, const Char* second)
{
    if (!first || !second)
    {
        return first == second;
    }
    return std::basic_string_view<Char>(first) == std::basic_string_view<Char>(second);
}

/// Bytes of each kind's payload.
constexpr size_t c_payloadSizes[] = {0, 1, 8, 8, 16, 8, 8, 8, 8, 4, 8, 8, 8, 4, 8, 8, 12, 16};

/// Both of one known kind.
bool EqualPayloads(const PYXVariant& first, const PYXVariant& second)
{
    const size_t size = c_payloadSizes[first.type];
    switch (first.type)
    {
    case PYX_VARIANT_DOUBLE:
        return first.doubleValue == second.doubleValue;
    case PYX_VARIANT_STRING:
        return EqualTexts(first.stringValue, second.stringValue);
    case PYX_VARIANT_WSTRING:
        return EqualTexts(first.wstringValue, second.wstringValue);
    case PYX_VARIANT_FLOAT:
    case PYX_VARIANT_FLOAT_SIZE:
    case PYX_VARIANT_FLOAT_POINT2D:
    case PYX_VARIANT_FLOAT_POINT3D:
    case PYX_VARIANT_FLOAT_VECTOR4D:
        return std::equal(first.floatValues, first.floatValues + size / sizeof(float), second.floatValues);
    default:
        return memcmp(first.raw, second.raw, size) == 0;
    }
}

pyx_int64 ToInt64(pyx_int64 value)
{
    return value;
}

/// Truncates toward zero; what does not fit becomes the lowest number, as the
/// processor's own conversion has it.
pyx_int64 ToInt64(double value)
{
    constexpr double limit = 9223372036854775808.0;
    return value >= -limit && value < limit ? static_cast<pyx_int64>(value) : std::numeric_limits<pyx_int64>::min();
}

/// A converted text that came out null leaves the destination as it was and is
/// no failure: hosts rely on an empty text to convert to an empty variant.
PYX_RESULT SetWidened(PYXVariant* pDest, const char* text)
{
    const PYXTaskWString wide = PYXStringToWString(text);
    return wide.get() ? PYXVariantAssignWString(pDest, wide.get()) : PYX_OK;
}

PYX_RESULT SetNarrowed(PYXVariant* pDest, const wchar_t* text)
{
    const PYXTaskString narrow = PYXWStringToString(text);
    return narrow.get() ? PYXVariantAssignString(pDest, narrow.get()) : PYX_OK;
}

/// An ASCII text as one of the two text kinds. The wide form holds at most 255
/// characters.
PYX_RESULT SetText(PYXVariant* pDest, const char* text, PYXVariantType type)
{
    if (type == PYX_VARIANT_STRING)
    {
        return PYXVariantAssignString(pDest, text);
    }
    wchar_t wide[256] = {};
    std::copy_n(text, std::min(strlen(text), std::size(wide) - 1), wide);
    return PYXVariantAssignWString(pDest, wide);
}

/// A number, and its text, as a number of another kind or a text.
template <class Number> PYX_RESULT FromNumber(PYXVariant* pDest, Number value, const char* text, PYXVariantType type)
{
    switch (type)
    {
    case PYX_VARIANT_BOOL:
        pDest->boolValue = value != 0; // a NaN is true
        break;
    case PYX_VARIANT_INT64:
        pDest->int64Value = ToInt64(value);
        break;
    case PYX_VARIANT_DOUBLE:
        pDest->doubleValue = static_cast<double>(value);
        break;
    case PYX_VARIANT_FLOAT:
        pDest->floatValue = static_cast<float>(value);
        break;
    case PYX_VARIANT_STRING:
    case PYX_VARIANT_WSTRING:
        return SetText(pDest, text, type);
    default:
        return PYX_INVALID_ARG;
    }
    pDest->type = type;
    return PYX_OK;
}

/// A double or a single; one does not convert to the other.
PYX_RESULT FromReal(PYXVariant* pDest, double value, PYXVariantType type)
{
    PYXNumberText text;
    const bool isReal = type == PYX_VARIANT_DOUBLE || type == PYX_VARIANT_FLOAT;
    return isReal ? PYX_INVALID_ARG : FromNumber(pDest, value, PYXFormatReal(value, &text), type);
}

/// A failed parse still gives the new kind with the value that it left.
PYX_RESULT Parse(PYXVariant* pDest, const char* text, PYXVariantType type)
{
    PYX_RESULT error = PYX_OK;
    switch (type)
    {
    case PYX_VARIANT_BOOL:
        pDest->boolValue = PYXParseBool(text, &error);
        break;
    case PYX_VARIANT_INT64:
        pDest->int64Value = PYXParseInt64(text, &error);
        break;
    case PYX_VARIANT_DOUBLE:
        pDest->doubleValue = PYXParseDouble(text, &error);
        break;
    case PYX_VARIANT_FLOAT:
        pDest->floatValue = PYXParseFloat(text, &error);
        break;
    case PYX_VARIANT_RECT:
        pDest->rectValue = PYXParseRect(text, &error);
        break;
    case PYX_VARIANT_SIZE:
        pDest->sizeValue = PYXParseSize(text, &error);
        break;
    case PYX_VARIANT_POINT:
        pDest->pointValue = PYXParsePoint(text, &error);
        break;
    case PYX_VARIANT_RATE:
    case PYX_VARIANT_RATIO:
        pDest->rateValue = PYXParseRate(text, &error);
        break;
    case PYX_VARIANT_COLOR:
        pDest->colorValue = PYXParseColor(text, &error);
        break;
    default:
        return PYX_INVALID_ARG;
    }
    pDest->type = type;
    return error;
}

std::string FormatStructure(const PYXVariant& source)
{
    switch (source.type)
    {
    case PYX_VARIANT_RECT:
        return PYXFormatRect(source.rectValue);
    case PYX_VARIANT_COLOR:
        return PYXFormatColor(source.colorValue);
    case PYX_VARIANT_RATE:
    case PYX_VARIANT_RATIO:
        return PYXFormatRate(source.rateValue);
    default: // size and point
        return PYXFormatPair(source.sizeValue.width, source.sizeValue.height);
    }
}

PYX_RESULT FromStructure(PYXVariant* pDest, const PYXVariant& source, PYXVariantType type)
{
    switch (type)
    {
    case PYX_VARIANT_STRING:
        return PYXVariantAssignString(pDest, FormatStructure(source).c_str());
    case PYX_VARIANT_WSTRING:
        return SetWidened(pDest, FormatStructure(source).c_str());
    default:
        return PYX_INVALID_ARG;
    }
}

/// From one kind to another into an empty destination.
PYX_RESULT Convert(PYXVariant* pDest, const PYXVariant& source, PYXVariantType type)
{
    PYXNumberText text;
    switch (source.type)
    {
    case PYX_VARIANT_EMPTY:
        return FromNumber(pDest, pyx_int64{0}, "", type);
    case PYX_VARIANT_BOOL:
        return source.boolValue ? FromNumber(pDest, pyx_int64{1}, "true", type)
                                : FromNumber(pDest, pyx_int64{0}, "false", type);
    case PYX_VARIANT_INT64:
        return FromNumber(pDest, source.int64Value, PYXFormatInt64(source.int64Value, &text), type);
    case PYX_VARIANT_DOUBLE:
        return FromReal(pDest, source.doubleValue, type);
    case PYX_VARIANT_FLOAT:
        return FromReal(pDest, source.floatValue, type);
    case PYX_VARIANT_STRING:
        return type == PYX_VARIANT_WSTRING ? SetWidened(pDest, source.stringValue)
                                           : Parse(pDest, source.stringValue, type);
    case PYX_VARIANT_WSTRING:
        return type == PYX_VARIANT_STRING ? SetNarrowed(pDest, source.wstringValue)
                                          : Parse(pDest, PYXWStringToString(source.wstringValue).get(), type);
    case PYX_VARIANT_RECT:
    case PYX_VARIANT_SIZE:
    case PYX_VARIANT_POINT:
    case PYX_VARIANT_RATE:
    case PYX_VARIANT_RATIO:
    case PYX_VARIANT_COLOR:
        return FromStructure(pDest, source, type);
    default:
        return PYX_INVALID_ARG;
    }
}

/// Whether both refer to one text or interface, which the destination then owns
/// already: a host may validate a value into itself.
bool HoldsTheSame(const PYXVariant& dest, const PYXVariant& source)
{
    const bool isOwned = source.type >= PYX_VARIANT_STRING && source.type <= PYX_VARIANT_INTERFACE;
    return isOwned && dest.type == source.type && source.stringValue && dest.stringValue == source.stringValue;
}

} // namespace

void PYXVariantInit(PYXVariant* pVariant)
{
    pVariant->type = PYX_VARIANT_EMPTY;
}

void PYXVariantClear(PYXVariant* pVariant)
{
    if (!pVariant)
    {
        return;
    }
    const PYXVariant old = *pVariant;
    pVariant->type = PYX_VARIANT_EMPTY;
    if (old.type == PYX_VARIANT_STRING || old.type == PYX_VARIANT_WSTRING)
    {
        PYXTaskMemoryCloser()(old.stringValue);
    }
    else if (old.type == PYX_VARIANT_INTERFACE && old.interfaceValue)
    {
        pVariant->interfaceValue = nullptr; // before Release(): a re-entrant destructor sees null
        old.interfaceValue->Release();
    }
}

PYX_RESULT PYXVariantAssignString(PYXVariant* pVariant, const char* text)
{
    return AssignText(pVariant, PYX_VARIANT_STRING, &PYXVariant::stringValue, text);
}

PYX_RESULT PYXVariantAssignWString(PYXVariant* pVariant, const wchar_t* text)
{
    return AssignText(pVariant, PYX_VARIANT_WSTRING, &PYXVariant::wstringValue, text);
}

PYX_RESULT PYXVariantCopy(PYXVariant* pDest, const PYXVariant* pSource)
{
    if (!pDest || !pSource)
    {
        return PYX_INVALID_POINTER;
    }
    if (pDest == pSource)
    {
        return PYX_OK;
    }
    if (!IsKnown(pSource->type))
    {
        return PYX_INVALID_ARG;
    }
    if (pSource->type == PYX_VARIANT_STRING)
    {
        return PYXVariantAssignString(pDest, pSource->stringValue);
    }
    if (pSource->type == PYX_VARIANT_WSTRING)
    {
        return PYXVariantAssignWString(pDest, pSource->wstringValue);
    }
    *pDest = *pSource;
    if (pDest->type == PYX_VARIANT_INTERFACE && pDest->interfaceValue)
    {
        pDest->interfaceValue->Acquire();
    }
    return PYX_OK;
}

PYX_RESULT PYXVariantCompare(const PYXVariant* pFirst, const PYXVariant* pSecond, bool* pEqual)
{
    if (!pFirst || !pSecond || !pEqual)
    {
        return PYX_INVALID_POINTER;
    }
    *pEqual = pFirst == pSecond;
    if (*pEqual || pFirst->type != pSecond->type)
    {
        return PYX_OK;
    }
    if (!IsKnown(pFirst->type))
    {
        return PYX_INVALID_ARG;
    }
    *pEqual = EqualPayloads(*pFirst, *pSecond);
    return PYX_OK;
}

PYX_RESULT PYXVariantChangeType(PYXVariant* pDest, const PYXVariant* pSource, PYXVariantType type)
{
    if (!pDest)
    {
        return PYX_INVALID_POINTER;
    }
    const bool inPlace = !pSource || pSource == pDest;
    const PYXVariant source = inPlace ? *pDest : *pSource;
    if (source.type == type)
    {
        return inPlace || HoldsTheSame(*pDest, source) ? PYX_OK : PYXVariantCopy(pDest, pSource);
    }
    PYXVariantOwner old; // released after the source was read: both may hold the same text
    *old.InOut() = std::exchange(*pDest, PYXVariant{});
    return Convert(pDest, source, type);
}
