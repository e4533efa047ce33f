#pragma once

#include "common/Component.h"
#include "common/CriticalSection.h"
#include "common/PropertyDeclaration.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// The property store that components and inputs derive from: a fixed set of
/// declared properties in name order (16-bit units), their values converted to
/// the declared kind, checked, stored and announced.
///
/// `Interface` is what the deriving class publishes, PYXComponentEx or PYXInput; OnPropertyChanged takes the first slot
/// after it.
/// [any-thread] m_sync guards the current values, m_observersSync, always taken second, the observer list. Hooks and
/// observers are called without a lock, so they may call back; the destination of AddTo and CopyTo is called with
/// m_sync held.
/// Lifetime: properties are declared by the owner's constructor only.
template <class Interface> class PYXPropertyStorageExImpl : public Interface
{
public:
    PYXPropertyStorageExImpl() = default;
    PYXPropertyStorageExImpl(const PYXPropertyStorageExImpl&) = delete;
    PYXPropertyStorageExImpl& operator=(const PYXPropertyStorageExImpl&) = delete;

    /// Offers both property-storage interfaces.
    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override;

    /// Validates, stores and announces a value; an equal value announces nothing.
    /// PYX_NOT_FOUND: never declared. PYX_ACCESS_DENIED: not writable.
    /// PYX_OUT_OF_RANGE, PYX_INVALID_ARG: refused, nothing has changed.
    PYX_RESULT SetProperty(const wchar_t* name, PYXVariant newValue) override;

    /// PYX_ACCESS_DENIED: not readable. `*pValue` is untouched on failure, but for
    /// PYX_OUT_OF_MEMORY: then it is a text kind without a text.
    PYX_RESULT GetProperty(const wchar_t* name, PYXVariant* pValue) override;
    bool HasProperty(const wchar_t* name) override;
    pyx_size GetPropertyCount() override;
    PYX_RESULT GetPropertyAt(pyx_size index, wchar_t* name, pyx_size nameSize, PYXVariant* pValue) override;
    PYX_RESULT Clear() override;

    /// A value that the destination cannot convert is skipped silently, any
    /// other failure stops. `deep` is accepted and ignored. The destination is
    /// called with this storage's lock held, so that it gets a consistent snapshot.
    PYX_RESULT AddTo(PYXPropertyStorage* pDest, bool overwrite, bool deep) override;
    PYX_RESULT CopyTo(PYXPropertyStorage* pDest, bool deep) override;
    void AddObserver(PYXPropertyStorageObserver* pObserver) override;
    void RemoveObserver(PYXPropertyStorageObserver* pObserver) override;
    pyx_size GetPropertiesInfoCount() override;
    PYX_RESULT GetPropertyInfo(const wchar_t* name, const PYXPropertyInfo** ppParamInfo) override;
    PYX_RESULT GetPropertyInfo(pyx_size szInd, const PYXPropertyInfo** ppParamInfo) override;
    PYX_RESULT ValidateProperty(const wchar_t* name, PYXVariant value, PYXVariant* pOutValidated) override;

    /// Called without a lock after a value was stored, before the observers.
    virtual void OnPropertyChanged([[maybe_unused]] const wchar_t* name)
    {
    }

protected:
    ~PYXPropertyStorageExImpl() = default;

    /// Adds one property; each name is declared once.
    void DeclareProperty(const PYXPropertyDeclaration& declaration);

    /// Empties every value, without a lock held. For the destructor of a class with interface values: one that ends
    /// with its owner may call it back, which the bases' destructors are too late for.
    void ReleaseValues() noexcept;

    /// The current value of a property of a wide text, empty for anything else.
    /// Takes no task memory, so that an owner cannot miss its own new value.
    std::wstring ReadText(const wchar_t* name);

private:
    /// A property's current value. Every access goes this way, so that the compiler
    /// can check the lock.
    PYXVariantOwner& ValueOf(PYXPropertyInfoImpl& info) PYX_REQUIRES(m_sync)
    {
        return info.value;
    }

    /// Swaps the current value with `*pValue`. False, and nothing is swapped: the two are equal.
    bool Exchange(PYXPropertyInfoImpl& info, PYXVariantOwner* pValue);

    /// Null: no such property.
    PYXPropertyInfoImpl* Find(const wchar_t* name) const;
    PYXPropertyInfoImpl* FindAt(pyx_size index) const;

    PYXCriticalSection m_sync;
    PYXCriticalSection m_observersSync;
    std::vector<PYXPropertyStorageObserver*> m_observers PYX_GUARDED_BY(m_observersSync); // no duplicates

    // Fixed once the object is constructed; the values in it are guarded by m_sync.
    std::map<std::wstring, std::unique_ptr<PYXPropertyInfoImpl>, std::less<>> m_PropertiesInfo;
};

extern template class PYXPropertyStorageExImpl<PYXComponentEx>;
extern template class PYXPropertyStorageExImpl<PYXInput>;
