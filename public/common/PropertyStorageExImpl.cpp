#include "common/PropertyStorageExImpl.h"

#include "common/HostContract.h"
#include "common/InterfacePtr.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace
{

constexpr const PYXTraceSource& c_traceSource = c_propertyTraceSource;

} // namespace

template <class Interface> PYX_RESULT PYXPropertyStorageExImpl<Interface>::QueryInterface(const PYXGuid& id, void** out)
{
    return PYXQueryInterface<PYXPropertyStorage, PYXPropertyStorageEx>(static_cast<Interface*>(this), id, out);
}

template <class Interface>
PYX_RESULT PYXPropertyStorageExImpl<Interface>::SetProperty(const wchar_t* name, PYXVariant newValue)
{
    FAIL_IF_NULL_AT(168, name);
    PYXPropertyInfoImpl* const pInfo = Find(name);
    if (!pInfo)
    {
        return PYX_NOT_FOUND;
    }
    if ((pInfo->accessType & PYX_PROPERTY_ACCESS_WRITE) == 0)
    {
        return PYX_ACCESS_DENIED;
    }
    PYXVariantOwner value;
    PASS_ON_FAILURE_SILENTLY(this->ValidateProperty(name, newValue, value.Out()));
    if (Exchange(*pInfo, &value))
    {
        value = {}; // unlocked: Release() may run foreign code
        pInfo->OnValueChanged();
        this->OnPropertyChanged(name);
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
    return PYX_OK;
}

template <class Interface>
bool PYXPropertyStorageExImpl<Interface>::Exchange(PYXPropertyInfoImpl& info, PYXVariantOwner* pValue)
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

template <class Interface>
PYX_RESULT PYXPropertyStorageExImpl<Interface>::GetProperty(const wchar_t* name, PYXVariant* pValue)
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
    PYXPropertyInfoImpl* const pInfo = FindAt(index);
    const std::wstring_view text = std::wstring_view(pInfo->name).substr(0, nameSize - 1);
    name[text.copy(name, text.size())] = L'\0';
    PYXLock lock(&m_sync);
    return PYXVariantCopy(pValue, &ValueOf(*pInfo).Get());
}

template <class Interface> PYX_RESULT PYXPropertyStorageExImpl<Interface>::Clear()
{
    std::vector<PYXVariantOwner> old(m_PropertiesInfo.size()); // released without the lock
    PYXLock lock(&m_sync);
    auto pOld = old.begin();
    for (const auto& [name, pInfo] : m_PropertiesInfo)
    {
        std::swap(*pOld++, ValueOf(*pInfo));
        static_cast<void>(PYXVariantCopy(ValueOf(*pInfo).Out(), &pInfo->defaultValue));
    }
    return PYX_OK;
}

template <class Interface>
PYX_RESULT PYXPropertyStorageExImpl<Interface>::AddTo(PYXPropertyStorage* pDest, bool overwrite,
                                                      [[maybe_unused]] bool deep)
{
    FAIL_IF_NULL_AT(130, pDest);
    if (pDest == this)
    {
        return PYX_OK;
    }
    PYXLock lock(&m_sync);
    for (const auto& [name, pInfo] : m_PropertiesInfo)
    {
        if (overwrite || !pDest->HasProperty(name.c_str()))
        {
            const PYX_RESULT result = pDest->SetProperty(name.c_str(), ValueOf(*pInfo).Get());
            if (result != PYX_INVALID_ARG)
            {
                PASS_ON_FAILURE_AT(145, result, L"AddTo() - failed to copy property=%s", name.c_str());
            }
        }
    }
    return PYX_OK;
}

template <class Interface> PYX_RESULT PYXPropertyStorageExImpl<Interface>::CopyTo(PYXPropertyStorage* pDest, bool deep)
{
    FAIL_IF_NULL_AT(155, pDest);
    if (pDest == this)
    {
        return PYX_OK;
    }
    static_cast<void>(pDest->Clear());
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
    const PYXPropertyInfo* const pInfo = Find(name);
    PASS_ON_FAILURE_AT(279, pInfo ? PYX_OK : PYX_NOT_FOUND, L"Property=%s", name);
    PASS_ON_FAILURE_AT(
        280, CastVariantToPYXProperty(pOutValidated, &value, pInfo->type, pInfo->contentType, pInfo->pEnumDescription),
        L"Property=%s", name);
    return PYXIsInRange(*pOutValidated, *pInfo) ? PYX_OK : PYX_OUT_OF_RANGE;
}

template <class Interface>
void PYXPropertyStorageExImpl<Interface>::DeclareProperty(const PYXPropertyDeclaration& declaration)
{
    m_PropertiesInfo.emplace(declaration.name, std::make_unique<PYXPropertyInfoImpl>(declaration));
}

template <class Interface> void PYXPropertyStorageExImpl<Interface>::ReleaseValues() noexcept
{
    for (const auto& [name, pInfo] : m_PropertiesInfo)
    {
        PYXVariantOwner old; // released after the lock
        PYXLock lock(&m_sync);
        std::swap(old, ValueOf(*pInfo));
    }
}

template <class Interface> std::wstring PYXPropertyStorageExImpl<Interface>::ReadText(const wchar_t* name)
{
    PYXLock lock(&m_sync);
    PYXPropertyInfoImpl* const pInfo = Find(name);
    const PYXVariant value = pInfo ? ValueOf(*pInfo).Get() : PYXVariant{}; // borrowed; valid while locked
    return value.type == PYX_VARIANT_WSTRING && value.wstringValue ? value.wstringValue : L"";
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

template class PYXPropertyStorageExImpl<PYXComponentEx>;
template class PYXPropertyStorageExImpl<PYXInput>;
