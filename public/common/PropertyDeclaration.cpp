#include "common/PropertyDeclaration.h"

#include <cstring>
#include <cwchar>
#include <limits>

namespace
{

constexpr const PYXTraceSource& c_traceSource = c_propertyTraceSource;

constexpr float c_smallestFloat = 1.17549435e-38F;
constexpr float c_largestFloat = 3.40282347e+38F;
constexpr pyx_int32 c_lowest = -2147483647 - 1;
constexpr pyx_int32 c_highest = 2147483647;

constexpr PYXVariant Zero(PYXVariantType type)
{
    return {.type = type, .raw = {0, 0}};
}

constexpr PYXVariant Double(double value)
{
    return {.type = PYX_VARIANT_DOUBLE, .doubleValue = value};
}

/// A size or a point of two equal numbers.
constexpr PYXVariant Pair(PYXVariantType type, pyx_int32 value)
{
    return {.type = type, .sizeValue = {value, value}};
}

/// A value of any float kind, all components equal.
constexpr PYXVariant Floats(PYXVariantType type, float value)
{
    return {.type = type, .floatValues = {value, value, value, value}};
}

constexpr PYXVariant c_opaqueBlack{.type = PYX_VARIANT_COLOR, .colorValue = {0, 0, 0, 255}};

/// Bounds of one kind.
struct Bounds
{
    PYXVariant lowest;
    PYXVariant highest;
};

constexpr Bounds FloatBounds(PYXVariantType type)
{
    return {Floats(type, c_smallestFloat), Floats(type, c_largestFloat)};
}

/// What replaces a declared minimum or maximum that does not convert. The other kinds have no bounds, whatever is
/// declared. The floating minimums are the smallest positive numbers, not the most negative ones: hosts rely on them.
constexpr Bounds c_fallbacks[] = {
    {PYXVariantFromInt64(c_lowest), PYXVariantFromInt64(c_highest)},
    {Double(2.2250738585072014e-308), Double(1.7976931348623157e+308)},
    {Pair(PYX_VARIANT_SIZE, c_lowest), Pair(PYX_VARIANT_SIZE, c_highest)},
    {Pair(PYX_VARIANT_POINT, c_lowest), Pair(PYX_VARIANT_POINT, c_highest)},
    {PYXVariantFromRate(0, 1), PYXVariantFromRate(c_highest, c_highest)},
    FloatBounds(PYX_VARIANT_FLOAT),
    FloatBounds(PYX_VARIANT_FLOAT_SIZE),
    FloatBounds(PYX_VARIANT_FLOAT_POINT2D),
    FloatBounds(PYX_VARIANT_FLOAT_POINT3D),
    FloatBounds(PYX_VARIANT_FLOAT_VECTOR4D),
};

/// Converts a declared value; false leaves in `*pDest` what the conversion left.
bool ConvertDeclared(PYXVariant* pDest, const PYXVariant& declared, const PYXPropertyInfo& info)
{
    return CastVariantToPYXProperty(pDest, &declared, info.type, info.contentType, info.pEnumDescription) == PYX_OK;
}

/// What a default that does not convert becomes.
void SetFallbackDefault(PYXPropertyInfo* pInfo)
{
    switch (pInfo->type)
    {
    // Hosts rely on the empty text in the maximum, and on a default that stays as the conversion left it.
    case PYX_VARIANT_STRING:
        static_cast<void>(PYXVariantAssignString(&pInfo->maxValue, ""));
        break;
    case PYX_VARIANT_WSTRING:
    case PYX_VARIANT_INTERFACE:
        static_cast<void>(PYXVariantAssignWString(&pInfo->maxValue, L""));
        break;
    case PYX_VARIANT_COLOR:
        pInfo->defaultValue = c_opaqueBlack;
        break;
    default:
        pInfo->defaultValue = Zero(pInfo->type);
    }
}

void ConvertDeclaration(PYXPropertyInfo* pInfo, const PYXPropertyDeclaration& declaration)
{
    // Hosts rely on 0, 0: a declared default of this kind has never counted.
    const bool isIgnored = pInfo->type == PYX_VARIANT_FLOAT_POINT2D;
    const bool isConverted =
        ConvertDeclared(&pInfo->defaultValue, isIgnored ? PYXVariant{} : declaration.defaultValue, *pInfo);
    if (pInfo->type == PYX_VARIANT_INT64 && pInfo->pEnumDescription)
    {
        if (!isConverted)
        {
            pInfo->defaultValue = PYXVariantFromInt64(pInfo->pEnumDescription->value);
        }
        return;
    }
    if (!isConverted)
    {
        SetFallbackDefault(pInfo);
    }
    for (const Bounds& fallback : c_fallbacks)
    {
        if (fallback.lowest.type == pInfo->type)
        {
            if (!ConvertDeclared(&pInfo->minValue, declaration.minValue, *pInfo))
            {
                pInfo->minValue = fallback.lowest;
            }
            if (!ConvertDeclared(&pInfo->maxValue, declaration.maxValue, *pInfo))
            {
                pInfo->maxValue = fallback.highest;
            }
        }
    }
}

/// Stores the number of the first row that `isWanted` in `*pDest`; false without one.
template <class IsWanted>
bool SetListed(PYXVariant* pDest, const PYXEnumDescriptionEntry* pTable, const IsWanted& isWanted)
{
    const PYXEnumDescriptionEntry* pRow = pTable;
    while (pRow->name && !isWanted(*pRow))
    {
        ++pRow;
    }
    if (pRow->name)
    {
        PYXVariantClear(pDest); // it may be the text that was looked up
        *pDest = PYXVariantFromInt64(pRow->value);
    }
    return pRow->name;
}

PYX_RESULT CastToListed(PYXVariant* pDest, const PYXVariant* pValue, const PYXEnumDescriptionEntry* pTable)
{
    PYXVariantOwner number;
    PYXVariantOwner text;
    const auto hasNumber = [&](const auto& row) { return row.value == number.Get().int64Value; };
    const auto hasName = [&](const auto& row) { return wcscmp(row.name, text.Get().wstringValue) == 0; };
    if (PYXVariantChangeType(number.Out(), pValue, PYX_VARIANT_INT64) == PYX_OK && SetListed(pDest, pTable, hasNumber))
    {
        return PYX_OK;
    }
    PASS_ON_FAILURE_SILENTLY(PYXVariantChangeType(text.Out(), pValue, PYX_VARIANT_WSTRING));
    const bool isText = text.Get().type == PYX_VARIANT_WSTRING; // an empty text converts to nothing
    return isText && SetListed(pDest, pTable, hasName) ? PYX_OK : PYX_INVALID_ARG;
}

template <class Number> Number NumberAt(const PYXVariant& variant, size_t index)
{
    Number number;
    memcpy(&number, reinterpret_cast<const char*>(variant.raw) + index * sizeof(number), sizeof(number));
    return number;
}

/// Whether the first `Count` numbers of a value are between those of its bounds; a NaN always is.
template <class Number, size_t Count>
bool IsBetween(const PYXVariant& value, const PYXVariant& lowest, const PYXVariant& highest)
{
    for (size_t i = 0; i < Count; ++i)
    {
        const auto number = NumberAt<Number>(value, i);
        if (number < NumberAt<Number>(lowest, i) || number > NumberAt<Number>(highest, i))
        {
            return false;
        }
    }
    return true;
}

/// A bound, or `instead` where it is empty.
const PYXVariant& BoundOr(const PYXVariant& bound, const PYXVariant& instead)
{
    return bound.type == PYX_VARIANT_EMPTY ? instead : bound;
}

/// What replaces empty bounds.
constexpr Bounds c_anyInt64{PYXVariantFromInt64(std::numeric_limits<pyx_int64>::min()),
                            PYXVariantFromInt64(std::numeric_limits<pyx_int64>::max())};
constexpr Bounds c_anySize{PYXVariantFromSize(0, 0), PYXVariantFromSize(c_highest, c_highest)};
constexpr Bounds c_anyRate{PYXVariantFromRate(0, 1), PYXVariantFromRate(c_highest, c_highest)};
// Hosts rely on it: an empty maximum leaves next to no width.
constexpr Bounds c_anyFloatSize{Zero(PYX_VARIANT_FLOAT_SIZE),
                                {.type = PYX_VARIANT_FLOAT_SIZE, .floatValues = {c_smallestFloat, c_largestFloat}}};

/// IsBetween with the bounds of a description.
template <class Number, size_t Count>
bool IsInside(const PYXVariant& value, const PYXPropertyInfo& info, const Bounds& any)
{
    return IsBetween<Number, Count>(value, BoundOr(info.minValue, any.lowest), BoundOr(info.maxValue, any.highest));
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
        return IsInside<pyx_int64, 1>(value, info, c_anyInt64);
    case PYX_VARIANT_DOUBLE:
        return IsBetween<double, 1>(value, info.minValue, info.maxValue);
    case PYX_VARIANT_FLOAT:
        return IsBetween<float, 1>(value, info.minValue, info.maxValue);
    case PYX_VARIANT_SIZE:
        return IsInside<pyx_int32, 2>(value, info, c_anySize);
    case PYX_VARIANT_RATE:
        return IsInside<pyx_uint32, 2>(value, info, c_anyRate);
    case PYX_VARIANT_FLOAT_SIZE:
        return IsInside<float, 2>(value, info, c_anyFloatSize);
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
