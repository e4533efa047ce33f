#pragma once

#include "common/CriticalSection.h"
#include "common/PropertyDeclaration.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// The properties of one object, in name order (16-bit units): descriptions,
/// current values, observers.
///
/// `storage` is the object that owns the table; virtual calls go through it.
/// Threads: any thread may call any operation. m_sync guards the current values,
/// m_observersSync, always taken second, the observer list. Hooks and observers
/// are called with neither held, so they may call back; so is an interface value
/// that is given up. The destination of AddTo is called with m_sync held.
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
    PYX_RESULT GetValue(PYXPropertyStorageEx& storage, const wchar_t* name, PYXVariant* pValue);
    PYX_RESULT GetValueAt(pyx_size index, wchar_t* name, pyx_size nameSize, PYXVariant* pValue);

    /// The current value of a wide text, empty for anything else. Takes no task
    /// memory.
    std::wstring GetText(const wchar_t* name);

    /// The three steps of setting a value. May it be set? PYX_ACCESS_DENIED: no.
    static PYX_RESULT CheckWritable(PYXPropertyStorageEx& storage, const wchar_t* name);

    /// Converts to the declared kind and checks the range.
    static PYX_RESULT Validate(PYXPropertyStorageEx& storage, const wchar_t* name, const PYXVariant& value,
                               PYXVariant* pOutValidated);

    /// Exchanges the current value with `*pValidated`, releases the old one and
    /// calls the description's hook. `*pChanged`: the two were not equal.
    PYX_RESULT Store(const wchar_t* name, PYXVariantOwner* pValidated, bool* pChanged);

    /// Back to the defaults.
    void Reset();

    /// See PYXPropertyStorage. `storage` is the object itself.
    PYX_RESULT AddTo(PYXPropertyStorage& storage, PYXPropertyStorage* pDest, bool overwrite);
    static PYX_RESULT CopyTo(PYXPropertyStorage& storage, PYXPropertyStorage* pDest, bool deep);

    /// Null, and an observer that is registered, is ignored.
    void AddObserver(PYXPropertyStorageObserver* pObserver);
    void RemoveObserver(PYXPropertyStorageObserver* pObserver);

    /// Tells the observers in the order in which they were registered.
    void NotifyObservers(const wchar_t* name);

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
