#include "common/Variant.h"

#include "common/VariantText.h"

#include <windows.h>
#include <objbase.h>

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
    auto copy = PYXAllocateText<Char>(size);
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

/// How many floats a float kind holds.
size_t FloatCount(PYXVariantType type)
{
    switch (type)
    {
    case PYX_VARIANT_FLOAT:
        return 1;
    case PYX_VARIANT_FLOAT_POINT3D:
        return 3;
    case PYX_VARIANT_FLOAT_VECTOR4D:
        return 4;
    default:
        return 2;
    }
}

bool EqualFloats(const PYXVariant& first, const PYXVariant& second)
{
    for (size_t i = 0; i < FloatCount(first.type); ++i)
    {
        if (first.floatValues[i] != second.floatValues[i])
        {
            return false;
        }
    }
    return true;
}

/// Both of one known kind.
bool EqualPayloads(const PYXVariant& first, const PYXVariant& second)
{
    switch (first.type)
    {
    case PYX_VARIANT_EMPTY:
        return true;
    case PYX_VARIANT_BOOL:
        return first.boolValue == second.boolValue;
    case PYX_VARIANT_DOUBLE:
        return first.doubleValue == second.doubleValue;
    case PYX_VARIANT_RECT:
        return memcmp(&first.rectValue, &second.rectValue, sizeof(PYXRect)) == 0;
    case PYX_VARIANT_COLOR:
        return memcmp(&first.colorValue, &second.colorValue, sizeof(PYXColor)) == 0;
    case PYX_VARIANT_STRING:
        return EqualTexts(first.stringValue, second.stringValue);
    case PYX_VARIANT_WSTRING:
        return EqualTexts(first.wstringValue, second.wstringValue);
    case PYX_VARIANT_FLOAT:
    case PYX_VARIANT_FLOAT_SIZE:
    case PYX_VARIANT_FLOAT_POINT2D:
    case PYX_VARIANT_FLOAT_POINT3D:
    case PYX_VARIANT_FLOAT_VECTOR4D:
        return EqualFloats(first, second);
    default: // 64 bits: an integer, an address, or two 32-bit numbers
        return first.int64Value == second.int64Value;
    }
}

/// Truncates toward zero; what does not fit becomes the lowest number, as the
/// processor's own conversion has it.
template <class Real> pyx_int64 Truncate(Real value)
{
    constexpr Real limit = static_cast<Real>(9223372036854775808.0);
    return value >= -limit && value < limit ? static_cast<pyx_int64>(value) : std::numeric_limits<pyx_int64>::min();
}

PYX_RESULT SetBool(PYXVariant* pDest, bool value)
{
    *pDest = PYXVariantFromBool(value);
    return PYX_OK;
}

PYX_RESULT SetInt64(PYXVariant* pDest, pyx_int64 value)
{
    *pDest = PYXVariantFromInt64(value);
    return PYX_OK;
}

PYX_RESULT SetDouble(PYXVariant* pDest, double value)
{
    pDest->type = PYX_VARIANT_DOUBLE;
    pDest->doubleValue = value;
    return PYX_OK;
}

PYX_RESULT SetFloat(PYXVariant* pDest, float value)
{
    pDest->type = PYX_VARIANT_FLOAT;
    pDest->floatValue = value;
    return PYX_OK;
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

PYX_RESULT FromEmpty(PYXVariant* pDest, PYXVariantType type)
{
    switch (type)
    {
    case PYX_VARIANT_BOOL:
        return SetBool(pDest, false);
    case PYX_VARIANT_INT64:
        return SetInt64(pDest, 0);
    case PYX_VARIANT_DOUBLE:
        return SetDouble(pDest, 0.0);
    case PYX_VARIANT_FLOAT:
        return SetFloat(pDest, 0.0F);
    case PYX_VARIANT_STRING:
        return PYXVariantAssignString(pDest, "");
    case PYX_VARIANT_WSTRING:
        return PYXVariantAssignWString(pDest, L"");
    default:
        return PYX_INVALID_ARG;
    }
}

PYX_RESULT FromBool(PYXVariant* pDest, bool value, PYXVariantType type)
{
    switch (type)
    {
    case PYX_VARIANT_INT64:
        return SetInt64(pDest, value ? 1 : 0);
    case PYX_VARIANT_DOUBLE:
        return SetDouble(pDest, value ? 1.0 : 0.0);
    case PYX_VARIANT_FLOAT:
        return SetFloat(pDest, value ? 1.0F : 0.0F);
    case PYX_VARIANT_STRING:
        return PYXVariantAssignString(pDest, value ? "true" : "false");
    case PYX_VARIANT_WSTRING:
        return PYXVariantAssignWString(pDest, value ? L"true" : L"false");
    default:
        return PYX_INVALID_ARG;
    }
}

/// A number's text as one of the two text kinds. The wide form holds at most 255
/// characters.
PYX_RESULT SetNumberText(PYXVariant* pDest, const char* text, PYXVariantType type)
{
    if (type == PYX_VARIANT_STRING)
    {
        return PYXVariantAssignString(pDest, text);
    }
    wchar_t wide[256] = {};
    std::copy_n(text, std::min(strlen(text), std::size(wide) - 1), wide);
    return PYXVariantAssignWString(pDest, wide);
}

PYX_RESULT FromInt64(PYXVariant* pDest, pyx_int64 value, PYXVariantType type)
{
    PYXNumberText text;
    switch (type)
    {
    case PYX_VARIANT_BOOL:
        return SetBool(pDest, value != 0);
    case PYX_VARIANT_DOUBLE:
        return SetDouble(pDest, static_cast<double>(value));
    case PYX_VARIANT_FLOAT:
        return SetFloat(pDest, static_cast<float>(value));
    case PYX_VARIANT_STRING:
    case PYX_VARIANT_WSTRING:
        return SetNumberText(pDest, PYXFormatInt64(value, &text), type);
    default:
        return PYX_INVALID_ARG;
    }
}

/// A double or a single; one does not convert to the other.
template <class Real> PYX_RESULT FromReal(PYXVariant* pDest, Real value, PYXVariantType type)
{
    PYXNumberText text;
    switch (type)
    {
    case PYX_VARIANT_BOOL:
        return SetBool(pDest, value != 0); // a NaN is true
    case PYX_VARIANT_INT64:
        return SetInt64(pDest, Truncate(value));
    case PYX_VARIANT_STRING:
    case PYX_VARIANT_WSTRING:
        return SetNumberText(pDest, PYXFormatReal(static_cast<double>(value), &text), type);
    default:
        return PYX_INVALID_ARG;
    }
}

/// A failed parse still gives the new kind with the value that it left.
PYX_RESULT Parse(PYXVariant* pDest, const char* text, PYXVariantType type)
{
    PYX_RESULT error = PYX_OK;
    switch (type)
    {
    case PYX_VARIANT_BOOL:
        *pDest = PYXVariantFromBool(PYXParseBool(text, &error));
        return error;
    case PYX_VARIANT_INT64:
        *pDest = PYXVariantFromInt64(PYXParseInt64(text, &error));
        return error;
    case PYX_VARIANT_DOUBLE:
        static_cast<void>(SetDouble(pDest, PYXParseDouble(text, &error)));
        return error;
    case PYX_VARIANT_FLOAT:
        static_cast<void>(SetFloat(pDest, PYXParseFloat(text, &error)));
        return error;
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
    switch (source.type)
    {
    case PYX_VARIANT_EMPTY:
        return FromEmpty(pDest, type);
    case PYX_VARIANT_BOOL:
        return FromBool(pDest, source.boolValue != 0, type);
    case PYX_VARIANT_INT64:
        return FromInt64(pDest, source.int64Value, type);
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
    if (dest.type != source.type)
    {
        return false;
    }
    switch (source.type)
    {
    case PYX_VARIANT_STRING:
        return source.stringValue && dest.stringValue == source.stringValue;
    case PYX_VARIANT_WSTRING:
        return source.wstringValue && dest.wstringValue == source.wstringValue;
    case PYX_VARIANT_INTERFACE:
        return dest.interfaceValue == source.interfaceValue;
    default:
        return false;
    }
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
        CoTaskMemFree(old.stringValue);
    }
    else if (old.type == PYX_VARIANT_INTERFACE && old.interfaceValue)
    {
        pVariant->interfaceValue = nullptr; // before Release(): a destructor that gets back here finds nothing
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
