#pragma once

#include "common/CriticalSection.h"
#include "common/PropertyStorage.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// What an owner declares of one property, in the order in which a host's
/// developer reads it. Plain data, so that a class can keep its properties as a
/// constant table. The texts and the table are static.
struct PYXPropertyDeclaration
{
    const wchar_t* name;
    const wchar_t* desc;
    PYXVariantType type;
    PYXVariant defaultValue;
    PYXVariant minValue;
    PYXVariant maxValue;
    pyx_uint32 accessType;
    pyx_uint32 contentType = 0;
    const PYXEnumDescriptionEntry* pEnumDescription = nullptr;
};

/// Description of one property together with its current value.
/// Table: destructor, OnValueChanged.
/// Lifetime: owned by one storage. `value` is guarded by the storage's lock.
class PYXPropertyInfoImpl : public PYXPropertyInfo
{
public:
    /// Converts the declared default, minimum and maximum to the declared kind.
    /// What does not convert is replaced by the kind's own fallback; the current
    /// value becomes the default.
    explicit PYXPropertyInfoImpl(const PYXPropertyDeclaration& declaration);
    PYXPropertyInfoImpl(const PYXPropertyInfoImpl&) = delete;
    PYXPropertyInfoImpl& operator=(const PYXPropertyInfoImpl&) = delete;
    ~PYXPropertyInfoImpl() override;

    /// Called without a lock after each change of the current value.
    virtual void OnValueChanged()
    {
    }

    PYXVariantOwner value;

private:
    std::wstring m_name;
    std::wstring m_desc;
};

/// Converts a value to a declared kind into the empty `*pDest`. With an
/// enumeration table an integer must be a listed number or a listed name, exact
/// to the letter case; an interface kind turns anything else into a null
/// interface.
/// PYX_INVALID_POINTER: null output. PYX_INVALID_ARG: not convertible, not listed.
PYX_RESULT CastVariantToPYXProperty(PYXVariant* pDest, const PYXVariant* pValue, PYXVariantType type,
                                    pyx_uint32 contentType, const PYXEnumDescriptionEntry* pEnumDescription);

/// The property store that components and inputs derive from: a fixed set of
/// declared properties in name order (16-bit units), their values converted to
/// the declared kind, checked, stored and announced.
///
/// `Interface` is what the deriving class publishes; OnPropertyChanged takes the
/// first slot after it.
/// Threads: any thread may call any operation. Values are guarded by the
/// storage's lock, the observer list by a lock of its own, always taken second.
/// Hooks and observers are called with neither held, so they may call back; the
/// destination of AddTo and CopyTo, and an interface value that is given up, are
/// called with the storage's lock held.
/// Lifetime: properties are declared by the owner's constructor only.
template <class Interface> class PYXPropertyStorageExImpl : public Interface
{
public:
    PYXPropertyStorageExImpl() = default;
    PYXPropertyStorageExImpl(const PYXPropertyStorageExImpl&) = delete;
    PYXPropertyStorageExImpl& operator=(const PYXPropertyStorageExImpl&) = delete;

    /// Answers both property-storage interfaces.
    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override;

    /// Validates, stores and announces a value; an equal value announces nothing.
    /// PYX_NOT_FOUND: never declared. PYX_ACCESS_DENIED: not writable.
    /// PYX_OUT_OF_RANGE, PYX_INVALID_ARG: refused, nothing has changed.
    PYX_RESULT SetProperty(const wchar_t* name, PYXVariant value) override;

    /// PYX_ACCESS_DENIED: not readable. `*pValue` is untouched on failure, but for
    /// PYX_OUT_OF_MEMORY: then it is a text kind without a text.
    PYX_RESULT GetProperty(const wchar_t* name, PYXVariant* pValue) override;
    bool HasProperty(const wchar_t* name) override;
    pyx_size GetPropertyCount() override;
    PYX_RESULT GetPropertyAt(pyx_size index, wchar_t* name, pyx_size nameSize, PYXVariant* pValue) override;
    PYX_RESULT Clear() override;

    /// A value that the destination cannot convert is skipped silently, any
    /// other failure stops. `deep` is accepted and ignored. The destination is
    /// called with this storage's lock held.
    PYX_RESULT AddTo(PYXPropertyStorage* pDest, bool overwrite, bool deep) override;
    PYX_RESULT CopyTo(PYXPropertyStorage* pDest, bool deep) override;
    void AddObserver(PYXPropertyStorageObserver* pObserver) override;
    void RemoveObserver(PYXPropertyStorageObserver* pObserver) override;
    pyx_size GetPropertiesInfoCount() override;
    PYX_RESULT GetPropertyInfo(const wchar_t* name, const PYXPropertyInfo** ppParamInfo) override;
    PYX_RESULT GetPropertyInfo(pyx_size szInd, const PYXPropertyInfo** ppParamInfo) override;
    PYX_RESULT ValidateProperty(const wchar_t* name, PYXVariant value, PYXVariant* pOutValidated) override;

    /// Called without a lock after a value was stored, before the observers.
    virtual void OnPropertyChanged(const wchar_t* name);

protected:
    ~PYXPropertyStorageExImpl() = default;

    /// Adds one property; each name is declared once.
    void DeclareProperty(const PYXPropertyDeclaration& declaration);

    /// The current value of a property of a wide text, empty for anything else.
    /// Takes no task memory, so that an owner cannot miss its own new value.
    std::wstring ReadText(const wchar_t* name);

private:
    PYXPropertyInfoImpl* Find(const wchar_t* name) const;
    PYXPropertyInfoImpl* FindAt(pyx_size index) const;
    bool StoreValue(PYXPropertyInfoImpl* pInfo, PYXVariantOwner* pValidated);
    void NotifyObservers(const wchar_t* name);

    std::map<std::wstring, std::unique_ptr<PYXPropertyInfoImpl>, std::less<>> m_PropertiesInfo;
    PYXCriticalSection m_sync; // guards the current values

    std::vector<PYXPropertyStorageObserver*> m_observers; // guarded by m_observersSync, no duplicates
    PYXCriticalSection m_observersSync;
};
