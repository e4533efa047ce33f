#include "common/PropertyStorageExImpl.h"

#include "common/Component.h"
#include "common/Trace.h"

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <utility>

namespace
{

constexpr PYXTraceSource c_traceSource{L"common/PropertyStorageExImpl", L"PYXPropertyStorageExImpl"};

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
/// negative ones. Kept so.
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
/// leaves an empty text in the maximum, not in the default. Kept so.
void ConvertUnbounded(PYXPropertyInfo* pInfo, const PYXPropertyDeclaration& declaration)
{
    if (ConvertDeclared(&pInfo->defaultValue, declaration.defaultValue, *pInfo))
    {
        return;
    }
    if (pInfo->type == PYX_VARIANT_STRING)
    {
        PYXVariantAssignString(&pInfo->maxValue, "");
    }
    else
    {
        PYXVariantAssignWString(&pInfo->maxValue, L"");
    }
}

void ConvertListed(PYXPropertyInfo* pInfo, const PYXPropertyDeclaration& declaration)
{
    ConvertOrElse(&pInfo->defaultValue, declaration.defaultValue, *pInfo,
                  PYXVariantFromInt64(pInfo->pEnumDescription->value));
}

void ConvertBounded(PYXPropertyInfo* pInfo, const PYXPropertyDeclaration& declaration, const Fallback& fallback)
{
    // Kept so: a declared default of this kind has never counted; it is 0, 0.
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

PYX_RESULT CastToListed(PYXVariant* pDest, const PYXVariant* pValue, const PYXEnumDescriptionEntry* pTable)
{
    PYXVariantOwner number;
    if (PYXVariantChangeType(number.Out(), pValue, PYX_VARIANT_INT64) == PYX_OK)
    {
        for (const PYXEnumDescriptionEntry* pRow = pTable; pRow->name; ++pRow)
        {
            if (pRow->value == number.Get().int64Value)
            {
                *pDest = PYXVariantFromInt64(pRow->value);
                return PYX_OK;
            }
        }
    }
    PYXVariantOwner text;
    if (const PYX_RESULT result = PYXVariantChangeType(text.Out(), pValue, PYX_VARIANT_WSTRING); result != PYX_OK)
    {
        return result;
    }
    if (text.Get().type == PYX_VARIANT_WSTRING)
    {
        for (const PYXEnumDescriptionEntry* pRow = pTable; pRow->name; ++pRow)
        {
            if (wcscmp(pRow->name, text.Get().wstringValue) == 0)
            {
                *pDest = PYXVariantFromInt64(pRow->value);
                return PYX_OK;
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
    // Kept so: an empty maximum leaves next to no width.
    constexpr float unbounded[] = {c_smallestFloat, c_largestFloat};
    constexpr float zero[] = {0.0F, 0.0F};
    const float* lowest = info.minValue.type == PYX_VARIANT_EMPTY ? zero : info.minValue.floatValues;
    const float* highest = info.maxValue.type == PYX_VARIANT_EMPTY ? unbounded : info.maxValue.floatValues;
    return IsBetween(value.floatValues[0], lowest[0], highest[0]) &&
           IsBetween(value.floatValues[1], lowest[1], highest[1]);
}

bool IsInRange(const PYXVariant& value, const PYXPropertyInfo& info)
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
        *pDest = PYXVariantBorrowInterface(nullptr);
        return PYX_OK;
    }
    return PYXVariantChangeType(pDest, pValue, type);
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
    PYXVariantCopy(value.Out(), &defaultValue);
}

PYXPropertyInfoImpl::~PYXPropertyInfoImpl()
{
    PYXVariantClear(&defaultValue);
    PYXVariantClear(&minValue);
    PYXVariantClear(&maxValue);
}

template <class Interface> PYX_RESULT PYXPropertyStorageExImpl<Interface>::QueryInterface(const PYXGuid& id, void** out)
{
    if (id == PYXPropertyStorage::c_id || id == PYXPropertyStorageEx::c_id)
    {
        *out = static_cast<Interface*>(this);
        this->Acquire();
        return PYX_OK;
    }
    return PYX_NO_INTERFACE;
}

template <class Interface>
PYX_RESULT PYXPropertyStorageExImpl<Interface>::SetProperty(const wchar_t* name, PYXVariant value)
{
    FAIL_IF_NULL_AT(168, name);
    const PYXPropertyInfo* pParamInfo = nullptr;
    if (const PYX_RESULT result = this->GetPropertyInfo(name, &pParamInfo); result != PYX_OK)
    {
        return result;
    }
    if ((pParamInfo->accessType & PYX_PROPERTY_ACCESS_WRITE) == 0)
    {
        return PYX_ACCESS_DENIED;
    }
    PYXVariantOwner validated;
    if (const PYX_RESULT result = this->ValidateProperty(name, value, validated.Out()); result != PYX_OK)
    {
        return result;
    }
    PYXPropertyInfoImpl* const pInfo = Find(name);
    if (!pInfo)
    {
        return PYX_NOT_FOUND;
    }
    if (!StoreValue(pInfo, &validated))
    {
        return PYX_OK;
    }
    pInfo->OnValueChanged();
    this->OnPropertyChanged(name);
    NotifyObservers(name);
    return PYX_OK;
}

template <class Interface>
PYX_RESULT PYXPropertyStorageExImpl<Interface>::GetProperty(const wchar_t* name, PYXVariant* pValue)
{
    FAIL_IF_NULL_AT(186, name);
    FAIL_IF_NULL_AT(187, pValue);
    const PYXPropertyInfo* pParamInfo = nullptr;
    if (const PYX_RESULT result = this->GetPropertyInfo(name, &pParamInfo); result != PYX_OK)
    {
        return result;
    }
    if ((pParamInfo->accessType & PYX_PROPERTY_ACCESS_READ) == 0)
    {
        return PYX_ACCESS_DENIED;
    }
    const PYXPropertyInfoImpl* const pInfo = Find(name);
    if (!pInfo)
    {
        return PYX_NOT_FOUND;
    }
    PYXLock lock(&m_sync);
    return PYXVariantCopy(pValue, &pInfo->value.Get());
}

template <class Interface> bool PYXPropertyStorageExImpl<Interface>::HasProperty(const wchar_t* name)
{
    const PYXPropertyInfo* pParamInfo = nullptr;
    return this->GetPropertyInfo(name, &pParamInfo) == PYX_OK;
}

template <class Interface> pyx_size PYXPropertyStorageExImpl<Interface>::GetPropertyCount()
{
    return m_PropertiesInfo.size();
}

template <class Interface>
PYX_RESULT PYXPropertyStorageExImpl<Interface>::GetPropertyAt(pyx_size index, wchar_t* name, pyx_size nameSize,
                                                              PYXVariant* pValue)
{
    FAIL_IF_NULL_AT(217, name);
    FAIL_IF_NULL_AT(218, pValue);
    FAIL_IF_NOT_AT(219, nameSize != 0, PYX_INVALID_ARG, L"nameSize != 0");
    FAIL_IF_NOT_AT(220, index < m_PropertiesInfo.size(), PYX_INVALID_ARG, L"index < m_PropertiesInfo.size()");
    const PYXPropertyInfoImpl* const pInfo = FindAt(index);
    const std::wstring_view text = std::wstring_view(pInfo->name).substr(0, nameSize - 1);
    name[text.copy(name, text.size())] = L'\0';
    PYXLock lock(&m_sync);
    return PYXVariantCopy(pValue, &pInfo->value.Get());
}

template <class Interface> PYX_RESULT PYXPropertyStorageExImpl<Interface>::Clear()
{
    PYXLock lock(&m_sync);
    for (const auto& [name, pInfo] : m_PropertiesInfo)
    {
        PYXVariantCopy(pInfo->value.Out(), &pInfo->defaultValue);
    }
    return PYX_OK;
}

template <class Interface>
PYX_RESULT PYXPropertyStorageExImpl<Interface>::AddTo(PYXPropertyStorage* pDest, bool overwrite,
                                                      [[maybe_unused]] bool deep)
{
    FAIL_IF_NULL_AT(130, pDest);
    if (pDest == static_cast<PYXPropertyStorage*>(this))
    {
        return PYX_OK;
    }
    PYXLock lock(&m_sync); // the destination is called under it, so that it gets one moment's values
    for (const auto& [name, pInfo] : m_PropertiesInfo)
    {
        if (!overwrite && pDest->HasProperty(name.c_str()))
        {
            continue;
        }
        const PYX_RESULT result = pDest->SetProperty(name.c_str(), pInfo->value.Get());
        if (result != PYX_INVALID_ARG)
        {
            PASS_ON_FAILURE_AT(145, result, L"AddTo() - failed to copy property=%s", name.c_str());
        }
    }
    return PYX_OK;
}

template <class Interface> PYX_RESULT PYXPropertyStorageExImpl<Interface>::CopyTo(PYXPropertyStorage* pDest, bool deep)
{
    FAIL_IF_NULL_AT(155, pDest);
    if (pDest == static_cast<PYXPropertyStorage*>(this))
    {
        return PYX_OK;
    }
    pDest->Clear();
    return this->AddTo(pDest, true, deep);
}

template <class Interface> void PYXPropertyStorageExImpl<Interface>::AddObserver(PYXPropertyStorageObserver* pObserver)
{
    PYXLock lock(&m_sync);
    PYXLock observersLock(&m_observersSync);
    if (pObserver && std::find(m_observers.begin(), m_observers.end(), pObserver) == m_observers.end())
    {
        m_observers.push_back(pObserver);
    }
}

template <class Interface>
void PYXPropertyStorageExImpl<Interface>::RemoveObserver(PYXPropertyStorageObserver* pObserver)
{
    PYXLock lock(&m_sync);
    PYXLock observersLock(&m_observersSync);
    std::erase(m_observers, pObserver);
}

template <class Interface> pyx_size PYXPropertyStorageExImpl<Interface>::GetPropertiesInfoCount()
{
    return m_PropertiesInfo.size();
}

template <class Interface>
PYX_RESULT PYXPropertyStorageExImpl<Interface>::GetPropertyInfo(const wchar_t* name,
                                                                const PYXPropertyInfo** ppParamInfo)
{
    FAIL_IF_NULL_AT(258, name);
    FAIL_IF_NULL_AT(259, ppParamInfo);
    const PYXPropertyInfo* const pInfo = Find(name);
    if (!pInfo)
    {
        return PYX_NOT_FOUND;
    }
    *ppParamInfo = pInfo;
    return PYX_OK;
}

template <class Interface>
PYX_RESULT PYXPropertyStorageExImpl<Interface>::GetPropertyInfo(pyx_size szInd, const PYXPropertyInfo** ppParamInfo)
{
    FAIL_IF_NULL_AT(243, ppParamInfo);
    FAIL_IF_NOT_AT(244, szInd < m_PropertiesInfo.size(), PYX_INVALID_ARG, L"szInd < m_PropertiesInfo.size()");
    *ppParamInfo = FindAt(szInd);
    return PYX_OK;
}

template <class Interface>
PYX_RESULT PYXPropertyStorageExImpl<Interface>::ValidateProperty(const wchar_t* name, PYXVariant value,
                                                                 PYXVariant* pOutValidated)
{
    FAIL_IF_NULL_AT(273, name);
    FAIL_IF_NULL_AT(274, pOutValidated);
    const PYXPropertyInfo* pParamInfo = nullptr;
    PASS_ON_FAILURE_AT(279, this->GetPropertyInfo(name, &pParamInfo), L"Property=%s", name);
    PASS_ON_FAILURE_AT(280,
                       CastVariantToPYXProperty(pOutValidated, &value, pParamInfo->type, pParamInfo->contentType,
                                                pParamInfo->pEnumDescription),
                       L"Property=%s", name);
    return IsInRange(*pOutValidated, *pParamInfo) ? PYX_OK : PYX_OUT_OF_RANGE;
}

template <class Interface>
void PYXPropertyStorageExImpl<Interface>::OnPropertyChanged([[maybe_unused]] const wchar_t* name)
{
}

template <class Interface>
void PYXPropertyStorageExImpl<Interface>::DeclareProperty(const PYXPropertyDeclaration& declaration)
{
    m_PropertiesInfo.emplace(declaration.name, std::make_unique<PYXPropertyInfoImpl>(declaration));
}

template <class Interface> std::wstring PYXPropertyStorageExImpl<Interface>::ReadText(const wchar_t* name)
{
    PYXLock lock(&m_sync);
    const PYXPropertyInfoImpl* const pInfo = Find(name);
    const bool isText = pInfo && pInfo->value.Get().type == PYX_VARIANT_WSTRING && pInfo->value.Get().wstringValue;
    return isText ? pInfo->value.Get().wstringValue : L"";
}

template <class Interface> PYXPropertyInfoImpl* PYXPropertyStorageExImpl<Interface>::Find(const wchar_t* name) const
{
    const auto found = m_PropertiesInfo.find(std::wstring_view(name));
    return found == m_PropertiesInfo.end() ? nullptr : found->second.get();
}

template <class Interface> PYXPropertyInfoImpl* PYXPropertyStorageExImpl<Interface>::FindAt(pyx_size index) const
{
    return std::next(m_PropertiesInfo.begin(), static_cast<std::ptrdiff_t>(index))->second.get();
}

/// Moves a new value in; false when it equals the current one.
template <class Interface>
bool PYXPropertyStorageExImpl<Interface>::StoreValue(PYXPropertyInfoImpl* pInfo, PYXVariantOwner* pValidated)
{
    PYXLock lock(&m_sync);
    bool equal = false;
    if (PYXVariantCompare(&pInfo->value.Get(), &pValidated->Get(), &equal) == PYX_OK && equal)
    {
        return false;
    }
    pInfo->value = std::move(*pValidated);
    return true;
}

template <class Interface> void PYXPropertyStorageExImpl<Interface>::NotifyObservers(const wchar_t* name)
{
    std::vector<PYXPropertyStorageObserver*> observers;
    {
        PYXLock lock(&m_observersSync);
        observers = m_observers; // observers may register others while we call them
    }
    for (PYXPropertyStorageObserver* pObserver : observers)
    {
        pObserver->OnPropertyChanged(name);
    }
}

template class PYXPropertyStorageExImpl<PYXPropertyStorageEx>;
template class PYXPropertyStorageExImpl<PYXInput>;
template class PYXPropertyStorageExImpl<PYXComponentEx>;
