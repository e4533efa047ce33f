#include "common/PropertyTable.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace
{

constexpr const PYXTraceSource& c_traceSource = c_propertyTraceSource;

} // namespace

void PYXPropertyTable::Declare(const PYXPropertyDeclaration& declaration)
{
    m_PropertiesInfo.emplace(declaration.name, std::make_unique<PYXPropertyInfoImpl>(declaration));
}

PYX_RESULT PYXPropertyTable::GetInfo(const wchar_t* name, const PYXPropertyInfo** ppParamInfo) const
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

PYX_RESULT PYXPropertyTable::GetInfo(pyx_size szInd, const PYXPropertyInfo** ppParamInfo) const
{
    FAIL_IF_NULL_AT(243, ppParamInfo);
    FAIL_IF_NOT_AT(244, szInd < m_PropertiesInfo.size(), PYX_INVALID_ARG, L"szInd < m_PropertiesInfo.size()");
    *ppParamInfo = FindAt(szInd);
    return PYX_OK;
}

pyx_size PYXPropertyTable::GetCount() const
{
    return m_PropertiesInfo.size();
}

PYX_RESULT PYXPropertyTable::GetValue(const wchar_t* name, PYXVariant* pValue)
{
    FAIL_IF_NULL_AT(186, name);
    FAIL_IF_NULL_AT(187, pValue);
    PYXPropertyInfoImpl* const pInfo = Find(name);
    if (!pInfo)
    {
        return PYX_NOT_FOUND;
    }
    if ((pInfo->accessType & PYX_PROPERTY_ACCESS_READ) == 0)
    {
        return PYX_ACCESS_DENIED;
    }
    PYXLock lock(&m_sync);
    return PYXVariantCopy(pValue, &ValueOf(*pInfo).Get());
}

PYX_RESULT PYXPropertyTable::GetValueAt(pyx_size index, wchar_t* name, pyx_size nameSize, PYXVariant* pValue)
{
    FAIL_IF_NULL_AT(217, name);
    FAIL_IF_NULL_AT(218, pValue);
    FAIL_IF_NOT_AT(219, nameSize != 0, PYX_INVALID_ARG, L"nameSize != 0");
    FAIL_IF_NOT_AT(220, index < m_PropertiesInfo.size(), PYX_INVALID_ARG, L"index < m_PropertiesInfo.size()");
    PYXPropertyInfoImpl* const pInfo = FindAt(index);
    const std::wstring_view text = std::wstring_view(pInfo->name).substr(0, nameSize - 1);
    name[text.copy(name, text.size())] = L'\0';
    PYXLock lock(&m_sync);
    return PYXVariantCopy(pValue, &ValueOf(*pInfo).Get());
}

std::wstring PYXPropertyTable::GetText(const wchar_t* name)
{
    PYXLock lock(&m_sync);
    PYXPropertyInfoImpl* const pInfo = Find(name);
    const PYXVariant value = pInfo ? ValueOf(*pInfo).Get() : PYXVariant{}; // borrowed; valid while locked
    return value.type == PYX_VARIANT_WSTRING && value.wstringValue ? value.wstringValue : L"";
}

PYX_RESULT PYXPropertyTable::FindWritable(const wchar_t* name, PYXPropertyInfoImpl** ppInfo) const
{
    FAIL_IF_NULL_AT(168, name);
    *ppInfo = Find(name);
    if (!*ppInfo)
    {
        return PYX_NOT_FOUND;
    }
    return ((*ppInfo)->accessType & PYX_PROPERTY_ACCESS_WRITE) != 0 ? PYX_OK : PYX_ACCESS_DENIED;
}

PYX_RESULT PYXPropertyTable::Validate(const wchar_t* name, const PYXVariant& value, PYXVariant* pOutValidated) const
{
    FAIL_IF_NULL_AT(273, name);
    FAIL_IF_NULL_AT(274, pOutValidated);
    const PYXPropertyInfo* pParamInfo = nullptr;
    PASS_ON_FAILURE_AT(279, GetInfo(name, &pParamInfo), L"Property=%s", name);
    PASS_ON_FAILURE_AT(280,
                       CastVariantToPYXProperty(pOutValidated, &value, pParamInfo->type, pParamInfo->contentType,
                                                pParamInfo->pEnumDescription),
                       L"Property=%s", name);
    return PYXIsInRange(*pOutValidated, *pParamInfo) ? PYX_OK : PYX_OUT_OF_RANGE;
}

bool PYXPropertyTable::Exchange(PYXPropertyInfoImpl& info, PYXVariantOwner* pValue)
{
    PYXLock lock(&m_sync);
    bool equal = false;
    if (PYXVariantCompare(&ValueOf(info).Get(), &pValue->Get(), &equal) == PYX_OK && equal)
    {
        return false;
    }
    std::swap(ValueOf(info), *pValue);
    return true;
}

void PYXPropertyTable::Reset()
{
    std::vector<PYXVariantOwner> old(m_PropertiesInfo.size()); // released without the lock
    PYXLock lock(&m_sync);
    auto pOld = old.begin();
    for (const auto& [name, pInfo] : m_PropertiesInfo)
    {
        std::swap(*pOld++, ValueOf(*pInfo));
        static_cast<void>(PYXVariantCopy(ValueOf(*pInfo).Out(), &pInfo->defaultValue));
    }
}

void PYXPropertyTable::AddObserver(PYXPropertyStorageObserver* pObserver)
{
    PYXLock lock(&m_sync);
    PYXLock observersLock(&m_observersSync);
    if (pObserver && std::find(m_observers.begin(), m_observers.end(), pObserver) == m_observers.end())
    {
        m_observers.push_back(pObserver);
    }
}

void PYXPropertyTable::RemoveObserver(PYXPropertyStorageObserver* pObserver)
{
    PYXLock lock(&m_sync);
    PYXLock observersLock(&m_observersSync);
    std::erase(m_observers, pObserver);
}

std::vector<PYXPropertyStorageObserver*> PYXPropertyTable::GetObservers()
{
    PYXLock lock(&m_observersSync);
    return m_observers;
}

PYXPropertyInfoImpl* PYXPropertyTable::Find(const wchar_t* name) const
{
    const auto found = m_PropertiesInfo.find(std::wstring_view(name));
    return found == m_PropertiesInfo.end() ? nullptr : found->second.get();
}

PYXPropertyInfoImpl* PYXPropertyTable::FindAt(pyx_size index) const
{
    return std::next(m_PropertiesInfo.begin(), static_cast<std::ptrdiff_t>(index))->second.get();
}
