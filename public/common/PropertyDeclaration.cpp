#include "common/PropertyDeclaration.h"

#include <cwchar>

namespace
{

constexpr const PYXTraceSource& c_traceSource = c_propertyTraceSource;

constexpr float c_smallestFloat = 1.17549435e-38F;
constexpr float c_largestFloat = 3.40282347e+38F;
constexpr pyx_int32 c_lowest = -2147483647 - 1;
constexpr pyx_int32 c_highest = 2147483647;

constexpr PYXVariant Double(double value)
{
    PYXVariant result;
    result.type = PYX_VARIANT_DOUBLE;
    result.doubleValue = value;
    return result;
}

constexpr PYXVariant Floats(PYXVariantType type, float x, float y = 0.0F, float z = 0.0F, float w = 0.0F)
{
    PYXVariant result;
    result.type = type;
    result.floatValues[0] = x;
    result.floatValues[1] = y;
    result.floatValues[2] = z;
    result.floatValues[3] = w;
    return result;
}

constexpr PYXVariant Pair(PYXVariantType type, pyx_int32 first, pyx_int32 second)
{
    PYXVariant result = PYXVariantFromSize(first, second); // points, rates and ratios lie alike
    result.type = type;
    return result;
}

constexpr PYXVariant Zero(PYXVariantType type)
{
    PYXVariant result;
    result.type = type;
    return result;
}

constexpr PYXVariant OpaqueBlack()
{
    PYXVariant result;
    result.type = PYX_VARIANT_COLOR;
    result.colorValue = {0, 0, 0, 255};
    return result;
}

constexpr PYXVariant Float3D(float value)
{
    return Floats(PYX_VARIANT_FLOAT_POINT3D, value, value, value);
}

constexpr PYXVariant Float4D(float value)
{
    return Floats(PYX_VARIANT_FLOAT_VECTOR4D, value, value, value, value);
}

/// What stands in for a declared default, minimum or maximum that does not
/// convert to the declared kind. Without `hasBounds` the bounds stay empty,
/// whatever was declared.
struct Fallback
{
    PYXVariantType type;
    PYXVariant defaultValue;
    bool hasBounds = false;
    PYXVariant minValue{};
    PYXVariant maxValue{};
};

/// The floating minimums are the smallest positive numbers, not the most
/// negative ones: hosts rely on them.
constexpr Fallback c_fallbacks[] = {
    {PYX_VARIANT_BOOL, PYXVariantFromBool(false)},
    {PYX_VARIANT_INT64, PYXVariantFromInt64(0), true, PYXVariantFromInt64(c_lowest), PYXVariantFromInt64(c_highest)},
    {PYX_VARIANT_DOUBLE, Double(0.0), true, Double(2.2250738585072014e-308), Double(1.7976931348623157e+308)},
    {PYX_VARIANT_RECT, Zero(PYX_VARIANT_RECT)},
    {PYX_VARIANT_SIZE, Zero(PYX_VARIANT_SIZE), true, Pair(PYX_VARIANT_SIZE, c_lowest, c_lowest),
     Pair(PYX_VARIANT_SIZE, c_highest, c_highest)},
    {PYX_VARIANT_POINT, Zero(PYX_VARIANT_POINT), true, Pair(PYX_VARIANT_POINT, c_lowest, c_lowest),
     Pair(PYX_VARIANT_POINT, c_highest, c_highest)},
    {PYX_VARIANT_RATE, Zero(PYX_VARIANT_RATE), true, PYXVariantFromRate(0, 1),
     PYXVariantFromRate(c_highest, c_highest)},
    {PYX_VARIANT_RATIO, Zero(PYX_VARIANT_RATIO)},
    {PYX_VARIANT_COLOR, OpaqueBlack()},
    {PYX_VARIANT_FLOAT, Floats(PYX_VARIANT_FLOAT, 0.0F), true, Floats(PYX_VARIANT_FLOAT, c_smallestFloat),
     Floats(PYX_VARIANT_FLOAT, c_largestFloat)},
    {PYX_VARIANT_FLOAT_SIZE, Floats(PYX_VARIANT_FLOAT_SIZE, 0.0F), true,
     Floats(PYX_VARIANT_FLOAT_SIZE, c_smallestFloat, c_smallestFloat),
     Floats(PYX_VARIANT_FLOAT_SIZE, c_largestFloat, c_largestFloat)},
    {PYX_VARIANT_FLOAT_POINT2D, Floats(PYX_VARIANT_FLOAT_POINT2D, 0.0F), true,
     Floats(PYX_VARIANT_FLOAT_POINT2D, c_smallestFloat, c_smallestFloat),
     Floats(PYX_VARIANT_FLOAT_POINT2D, c_largestFloat, c_largestFloat)},
    {PYX_VARIANT_FLOAT_POINT3D, Float3D(0.0F), true, Float3D(c_smallestFloat), Float3D(c_largestFloat)},
    {PYX_VARIANT_FLOAT_VECTOR4D, Float4D(0.0F), true, Float4D(c_smallestFloat), Float4D(c_largestFloat)},
};

/// Converts a declared value; false leaves in `*pDest` what the conversion left.
bool ConvertDeclared(PYXVariant* pDest, const PYXVariant& declared, const PYXPropertyInfo& info)
{
    return CastVariantToPYXProperty(pDest, &declared, info.type, info.contentType, info.pEnumDescription) == PYX_OK;
}

void ConvertOrElse(PYXVariant* pDest, const PYXVariant& declared, const PYXPropertyInfo& info,
                   const PYXVariant& fallback)
{
    if (!ConvertDeclared(pDest, declared, info))
    {
        *pDest = fallback; // no kind with a fallback owns anything
    }
}

/// Strings and interfaces have no bounds. A default that does not convert
/// leaves an empty text in the maximum, not in the default: hosts rely on it.
void ConvertUnbounded(PYXPropertyInfo* pInfo, const PYXPropertyDeclaration& declaration)
{
    if (ConvertDeclared(&pInfo->defaultValue, declaration.defaultValue, *pInfo))
    {
        return;
    }
    if (pInfo->type == PYX_VARIANT_STRING)
    {
        static_cast<void>(PYXVariantAssignString(&pInfo->maxValue, ""));
    }
    else
    {
        static_cast<void>(PYXVariantAssignWString(&pInfo->maxValue, L""));
    }
}

void ConvertListed(PYXPropertyInfo* pInfo, const PYXPropertyDeclaration& declaration)
{
    ConvertOrElse(&pInfo->defaultValue, declaration.defaultValue, *pInfo,
                  PYXVariantFromInt64(pInfo->pEnumDescription->value));
}

void ConvertBounded(PYXPropertyInfo* pInfo, const PYXPropertyDeclaration& declaration, const Fallback& fallback)
{
    // Hosts rely on 0, 0: a declared default of this kind has never counted.
    const bool ignored = pInfo->type == PYX_VARIANT_FLOAT_POINT2D;
    ConvertOrElse(&pInfo->defaultValue, ignored ? PYXVariant{} : declaration.defaultValue, *pInfo,
                  fallback.defaultValue);
    if (fallback.hasBounds)
    {
        ConvertOrElse(&pInfo->minValue, declaration.minValue, *pInfo, fallback.minValue);
        ConvertOrElse(&pInfo->maxValue, declaration.maxValue, *pInfo, fallback.maxValue);
    }
}

void ConvertDeclaration(PYXPropertyInfo* pInfo, const PYXPropertyDeclaration& declaration)
{
    if (pInfo->type == PYX_VARIANT_INT64 && pInfo->pEnumDescription)
    {
        ConvertListed(pInfo, declaration);
        return;
    }
    for (const Fallback& fallback : c_fallbacks)
    {
        if (fallback.type == pInfo->type)
        {
            ConvertBounded(pInfo, declaration, fallback);
            return;
        }
    }
    ConvertUnbounded(pInfo, declaration);
}

PYX_RESULT SetListed(PYXVariant* pDest, const PYXEnumDescriptionEntry& row)
{
    PYXVariantClear(pDest); // it may be the text that was looked up
    *pDest = PYXVariantFromInt64(row.value);
    return PYX_OK;
}

PYX_RESULT CastToListed(PYXVariant* pDest, const PYXVariant* pValue, const PYXEnumDescriptionEntry* pTable)
{
    PYXVariantOwner number;
    if (PYXVariantChangeType(number.Out(), pValue, PYX_VARIANT_INT64) == PYX_OK)
    {
        for (const PYXEnumDescriptionEntry* pRow = pTable; pRow->name; ++pRow)
        {
            if (pRow->value == number.Get().int64Value)
            {
                return SetListed(pDest, *pRow);
            }
        }
    }
    PYXVariantOwner text;
    PASS_ON_FAILURE_SILENTLY(PYXVariantChangeType(text.Out(), pValue, PYX_VARIANT_WSTRING));
    if (text.Get().type == PYX_VARIANT_WSTRING)
    {
        for (const PYXEnumDescriptionEntry* pRow = pTable; pRow->name; ++pRow)
        {
            if (wcscmp(pRow->name, text.Get().wstringValue) == 0)
            {
                return SetListed(pDest, *pRow);
            }
        }
    }
    return PYX_INVALID_ARG;
}

template <class Number> bool IsBetween(Number value, Number lowest, Number highest)
{
    return !(value < lowest) && !(value > highest); // a NaN passes
}

bool IsInt64InRange(const PYXVariant& value, const PYXPropertyInfo& info)
{
    const bool tooLow = info.minValue.type != PYX_VARIANT_EMPTY && value.int64Value < info.minValue.int64Value;
    const bool tooHigh = info.maxValue.type != PYX_VARIANT_EMPTY && value.int64Value > info.maxValue.int64Value;
    return !tooLow && !tooHigh;
}

bool IsSizeInRange(const PYXVariant& value, const PYXPropertyInfo& info)
{
    const PYXSize lowest = info.minValue.type == PYX_VARIANT_EMPTY ? PYXSize{0, 0} : info.minValue.sizeValue;
    const PYXSize highest =
        info.maxValue.type == PYX_VARIANT_EMPTY ? PYXSize{c_highest, c_highest} : info.maxValue.sizeValue;
    return IsBetween(value.sizeValue.width, lowest.width, highest.width) &&
           IsBetween(value.sizeValue.height, lowest.height, highest.height);
}

bool IsRateInRange(const PYXVariant& value, const PYXPropertyInfo& info)
{
    const PYXRate lowest = info.minValue.type == PYX_VARIANT_EMPTY ? PYXRate{0, 1} : info.minValue.rateValue;
    const PYXRate highest =
        info.maxValue.type == PYX_VARIANT_EMPTY ? PYXRate{c_highest, c_highest} : info.maxValue.rateValue;
    return IsBetween(value.rateValue.numerator, lowest.numerator, highest.numerator) &&
           IsBetween(value.rateValue.denominator, lowest.denominator, highest.denominator);
}

bool IsFloatSizeInRange(const PYXVariant& value, const PYXPropertyInfo& info)
{
    // Hosts rely on it: an empty maximum leaves next to no width.
    constexpr float unbounded[] = {c_smallestFloat, c_largestFloat};
    constexpr float zero[] = {0.0F, 0.0F};
    const float* lowest = info.minValue.type == PYX_VARIANT_EMPTY ? zero : info.minValue.floatValues;
    const float* highest = info.maxValue.type == PYX_VARIANT_EMPTY ? unbounded : info.maxValue.floatValues;
    return IsBetween(value.floatValues[0], lowest[0], highest[0]) &&
           IsBetween(value.floatValues[1], lowest[1], highest[1]);
}

} // namespace

PYX_RESULT CastVariantToPYXProperty(PYXVariant* pDest, const PYXVariant* pValue, PYXVariantType type,
                                    [[maybe_unused]] pyx_uint32 contentType,
                                    const PYXEnumDescriptionEntry* pEnumDescription)
{
    FAIL_IF_NULL_AT(59, pDest);
    if (type == PYX_VARIANT_INT64 && pEnumDescription)
    {
        return CastToListed(pDest, pValue, pEnumDescription);
    }
    if (type == PYX_VARIANT_INTERFACE && pValue->type != PYX_VARIANT_INTERFACE)
    {
        PYXVariantClear(pDest);
        *pDest = PYXVariantBorrowInterface(nullptr);
        return PYX_OK;
    }
    return PYXVariantChangeType(pDest, pValue, type);
}

bool PYXIsInRange(const PYXVariant& value, const PYXPropertyInfo& info)
{
    switch (info.type)
    {
    case PYX_VARIANT_INT64:
        return IsInt64InRange(value, info);
    case PYX_VARIANT_DOUBLE:
        return IsBetween(value.doubleValue, info.minValue.doubleValue, info.maxValue.doubleValue);
    case PYX_VARIANT_FLOAT:
        return IsBetween(value.floatValue, info.minValue.floatValue, info.maxValue.floatValue);
    case PYX_VARIANT_SIZE:
        return IsSizeInRange(value, info);
    case PYX_VARIANT_RATE:
        return IsRateInRange(value, info);
    case PYX_VARIANT_FLOAT_SIZE:
        return IsFloatSizeInRange(value, info);
    default:
        return true;
    }
}

PYXPropertyInfoImpl::PYXPropertyInfoImpl(const PYXPropertyDeclaration& declaration)
    : m_name(declaration.name), m_desc(declaration.desc)
{
    name = m_name.c_str();
    desc = m_desc.c_str();
    type = declaration.type;
    contentType = declaration.contentType;
    accessType = declaration.accessType;
    pEnumDescription = declaration.pEnumDescription;
    ConvertDeclaration(this, declaration);
    static_cast<void>(PYXVariantCopy(value.Out(), &defaultValue));
}

PYXPropertyInfoImpl::~PYXPropertyInfoImpl()
{
    PYXVariantClear(&defaultValue);
    PYXVariantClear(&minValue);
    PYXVariantClear(&maxValue);
}
