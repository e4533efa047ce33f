#pragma once

#include "common/CriticalSection.h"
#include "common/PropertyDeclaration.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// The properties of one object, in name order (16-bit units): descriptions,
/// current values, the list of observers.
///
/// [any-thread] m_sync guards the current values, m_observersSync, always taken
/// second, the observer list. Nothing here calls hooks, observers or other storages.
/// Lifetime: owned by its object, whose constructor alone declares.
class PYXPropertyTable
{
public:
    PYXPropertyTable() = default;
    PYXPropertyTable(const PYXPropertyTable&) = delete;
    PYXPropertyTable& operator=(const PYXPropertyTable&) = delete;

    /// Each name is declared once.
    void Declare(const PYXPropertyDeclaration& declaration);

    /// Descriptions, borrowed. PYX_NOT_FOUND: no such name. PYX_INVALID_ARG: no
    /// such index.
    PYX_RESULT GetInfo(const wchar_t* name, const PYXPropertyInfo** ppParamInfo) const;
    PYX_RESULT GetInfo(pyx_size szInd, const PYXPropertyInfo** ppParamInfo) const;
    pyx_size GetCount() const;

    /// PYX_ACCESS_DENIED: not readable. `*pValue` must be empty.
    PYX_RESULT GetValue(const wchar_t* name, PYXVariant* pValue);
    PYX_RESULT GetValueAt(pyx_size index, wchar_t* name, pyx_size nameSize, PYXVariant* pValue);

    /// The current value of a wide text, empty for anything else. Takes no task
    /// memory.
    std::wstring GetText(const wchar_t* name);

    /// The three steps of setting a value. PYX_ACCESS_DENIED: not writable.
    PYX_RESULT FindWritable(const wchar_t* name, PYXPropertyInfoImpl** ppInfo) const;

    /// Converts to the declared kind and checks the range.
    PYX_RESULT Validate(const wchar_t* name, const PYXVariant& value, PYXVariant* pOutValidated) const;

    /// Exchanges the current value with `*pValue`. False, and nothing is exchanged: the two are equal.
    bool Exchange(PYXPropertyInfoImpl& info, PYXVariantOwner* pValue);

    /// Back to the defaults.
    void Reset();

    /// Calls `visit(name, value)` with the lock held for each property, as long as it returns PYX_OK; its last result.
    template <class Visit> PYX_RESULT ForEach(Visit visit)
    {
        PYXLock lock(&m_sync);
        for (const auto& [name, pInfo] : m_PropertiesInfo)
        {
            PASS_ON_FAILURE_SILENTLY(visit(name.c_str(), ValueOf(*pInfo).Get()));
        }
        return PYX_OK;
    }

    /// Null, and an observer that is registered, is ignored.
    void AddObserver(PYXPropertyStorageObserver* pObserver);
    void RemoveObserver(PYXPropertyStorageObserver* pObserver);

    /// In the order in which they were registered.
    std::vector<PYXPropertyStorageObserver*> GetObservers();

private:
    /// A property's current value. Every access goes this way, so that the compiler
    /// can check the lock.
    PYXVariantOwner& ValueOf(PYXPropertyInfoImpl& info) PYX_REQUIRES(m_sync)
    {
        return info.value;
    }

    PYXPropertyInfoImpl* Find(const wchar_t* name) const;
    PYXPropertyInfoImpl* FindAt(pyx_size index) const;

    PYXCriticalSection m_sync;
    PYXCriticalSection m_observersSync;
    std::vector<PYXPropertyStorageObserver*> m_observers PYX_GUARDED_BY(m_observersSync); // no duplicates

    // Fixed once the object is constructed; the values in it are guarded by m_sync. Destroyed first: an interface value
    // that ends may call back.
    std::map<std::wstring, std::unique_ptr<PYXPropertyInfoImpl>, std::less<>> m_PropertiesInfo;
};
