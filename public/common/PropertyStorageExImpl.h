#pragma once

#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "common/PropertyTable.h"

/// The property store that components and inputs derive from: a fixed set of
/// declared properties in name order (16-bit units), their values converted to
/// the declared kind, checked, stored and announced.
///
/// `Interface` is what the deriving class publishes; OnPropertyChanged takes the
/// first slot after it.
/// PYXPropertyTable keeps and checks the values; this calls hooks, observers and destinations.
/// [any-thread] Hooks and observers are called without the storage's lock, so they may call back; the destination of
/// AddTo and CopyTo is called with it held.
/// Lifetime: properties are declared by the owner's constructor only.
template <class Interface> class PYXPropertyStorageExImpl : public Interface
{
public:
    PYXPropertyStorageExImpl() = default;
    PYXPropertyStorageExImpl(const PYXPropertyStorageExImpl&) = delete;
    PYXPropertyStorageExImpl& operator=(const PYXPropertyStorageExImpl&) = delete;

    /// Offers both property-storage interfaces.
    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override
    {
        return PYXQueryInterface<PYXPropertyStorage, PYXPropertyStorageEx>(static_cast<Interface*>(this), id, out);
    }

    /// Validates, stores and announces a value; an equal value announces nothing.
    /// PYX_NOT_FOUND: never declared. PYX_ACCESS_DENIED: not writable.
    /// PYX_OUT_OF_RANGE, PYX_INVALID_ARG: refused, nothing has changed.
    PYX_RESULT SetProperty(const wchar_t* name, PYXVariant newValue) override
    {
        PYXPropertyInfoImpl* pInfo = nullptr;
        PASS_ON_FAILURE_SILENTLY(m_table.FindWritable(name, &pInfo));
        PYXVariantOwner value;
        PASS_ON_FAILURE_SILENTLY(this->ValidateProperty(name, newValue, value.Out()));
        if (m_table.Exchange(*pInfo, &value))
        {
            value = {}; // unlocked: Release() may run foreign code
            pInfo->OnValueChanged();
            this->OnPropertyChanged(name);
            for (PYXPropertyStorageObserver* pObserver : m_table.GetObservers()) // they may register others meanwhile
            {
                pObserver->OnPropertyChanged(name);
            }
        }
        return PYX_OK;
    }

    /// PYX_ACCESS_DENIED: not readable. `*pValue` is untouched on failure, but for
    /// PYX_OUT_OF_MEMORY: then it is a text kind without a text.
    PYX_RESULT GetProperty(const wchar_t* name, PYXVariant* pValue) override
    {
        return m_table.GetValue(name, pValue);
    }

    bool HasProperty(const wchar_t* name) override
    {
        const PYXPropertyInfo* pParamInfo = nullptr;
        return this->GetPropertyInfo(name, &pParamInfo) == PYX_OK;
    }

    pyx_size GetPropertyCount() override
    {
        return m_table.GetCount();
    }

    PYX_RESULT GetPropertyAt(pyx_size index, wchar_t* name, pyx_size nameSize, PYXVariant* pValue) override
    {
        return m_table.GetValueAt(index, name, nameSize, pValue);
    }

    PYX_RESULT Clear() override
    {
        m_table.Reset();
        return PYX_OK;
    }

    /// A value that the destination cannot convert is skipped silently, any
    /// other failure stops. `deep` is accepted and ignored. The destination is
    /// called with this storage's lock held, so that it gets a consistent snapshot.
    PYX_RESULT AddTo(PYXPropertyStorage* pDest, bool overwrite, [[maybe_unused]] bool deep) override
    {
        constexpr const PYXTraceSource& c_traceSource = c_propertyTraceSource;
        FAIL_IF_NULL_AT(130, pDest);
        if (pDest == this)
        {
            return PYX_OK;
        }
        return m_table.ForEach([&](const wchar_t* name, const PYXVariant& value) {
            if (!overwrite && pDest->HasProperty(name))
            {
                return PYX_OK;
            }
            const PYX_RESULT result = pDest->SetProperty(name, value);
            if (result != PYX_INVALID_ARG)
            {
                PASS_ON_FAILURE_AT(145, result, L"AddTo() - failed to copy property=%s", name);
            }
            return PYX_OK;
        });
    }

    PYX_RESULT CopyTo(PYXPropertyStorage* pDest, bool deep) override
    {
        constexpr const PYXTraceSource& c_traceSource = c_propertyTraceSource;
        FAIL_IF_NULL_AT(155, pDest);
        if (pDest == this)
        {
            return PYX_OK;
        }
        static_cast<void>(pDest->Clear());
        return this->AddTo(pDest, true, deep);
    }

    void AddObserver(PYXPropertyStorageObserver* pObserver) override
    {
        m_table.AddObserver(pObserver);
    }

    void RemoveObserver(PYXPropertyStorageObserver* pObserver) override
    {
        m_table.RemoveObserver(pObserver);
    }

    pyx_size GetPropertiesInfoCount() override
    {
        return m_table.GetCount();
    }

    PYX_RESULT GetPropertyInfo(const wchar_t* name, const PYXPropertyInfo** ppParamInfo) override
    {
        return m_table.GetInfo(name, ppParamInfo);
    }

    PYX_RESULT GetPropertyInfo(pyx_size szInd, const PYXPropertyInfo** ppParamInfo) override
    {
        return m_table.GetInfo(szInd, ppParamInfo);
    }

    PYX_RESULT ValidateProperty(const wchar_t* name, PYXVariant value, PYXVariant* pOutValidated) override
    {
        return m_table.Validate(name, value, pOutValidated);
    }

    /// Called without a lock after a value was stored, before the observers.
    virtual void OnPropertyChanged([[maybe_unused]] const wchar_t* name)
    {
    }

protected:
    ~PYXPropertyStorageExImpl() = default;

    /// Adds one property; each name is declared once.
    void DeclareProperty(const PYXPropertyDeclaration& declaration)
    {
        m_table.Declare(declaration);
    }

    /// The current value of a property of a wide text, empty for anything else.
    /// Takes no task memory, so that an owner cannot miss its own new value.
    std::wstring ReadText(const wchar_t* name)
    {
        return m_table.GetText(name);
    }

private:
    PYXPropertyTable m_table;
};
