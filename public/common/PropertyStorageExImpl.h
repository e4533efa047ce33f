#pragma once

#include "common/InterfacePtr.h"
#include "common/PropertyTable.h"

/// The property store that components and inputs derive from: a fixed set of
/// declared properties in name order (16-bit units), their values converted to
/// the declared kind, checked, stored and announced.
///
/// `Interface` is what the deriving class publishes; OnPropertyChanged takes the
/// first slot after it.
/// Forwards each slot to PYXPropertyTable, which does the work.
/// Threads: any thread may call any operation. Hooks and observers are called
/// without the storage's lock, so they may call back; the destination of AddTo and
/// CopyTo is called with it held.
/// Lifetime: properties are declared by the owner's constructor only.
template <class Interface> class PYXPropertyStorageExImpl : public Interface
{
public:
    PYXPropertyStorageExImpl() = default;
    PYXPropertyStorageExImpl(const PYXPropertyStorageExImpl&) = delete;
    PYXPropertyStorageExImpl& operator=(const PYXPropertyStorageExImpl&) = delete;

    /// Answers both property-storage interfaces.
    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override
    {
        return PYXQueryInterface<PYXPropertyStorage, PYXPropertyStorageEx>(static_cast<Interface*>(this), id, out);
    }

    /// Validates, stores and announces a value; an equal value announces nothing.
    /// PYX_NOT_FOUND: never declared. PYX_ACCESS_DENIED: not writable.
    /// PYX_OUT_OF_RANGE, PYX_INVALID_ARG: refused, nothing has changed.
    PYX_RESULT SetProperty(const wchar_t* name, PYXVariant value) override
    {
        PASS_ON_FAILURE_SILENTLY(PYXPropertyTable::CheckWritable(*this, name));
        PYXVariantOwner validated;
        PASS_ON_FAILURE_SILENTLY(this->ValidateProperty(name, value, validated.Out()));
        bool changed = false;
        PASS_ON_FAILURE_SILENTLY(m_table.Store(name, &validated, &changed));
        if (changed)
        {
            this->OnPropertyChanged(name);
            m_table.NotifyObservers(name);
        }
        return PYX_OK;
    }

    /// PYX_ACCESS_DENIED: not readable. `*pValue` is untouched on failure, but for
    /// PYX_OUT_OF_MEMORY: then it is a text kind without a text.
    PYX_RESULT GetProperty(const wchar_t* name, PYXVariant* pValue) override
    {
        return m_table.GetValue(*this, name, pValue);
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
    /// called with this storage's lock held.
    PYX_RESULT AddTo(PYXPropertyStorage* pDest, bool overwrite, [[maybe_unused]] bool deep) override
    {
        return m_table.AddTo(*this, pDest, overwrite);
    }

    PYX_RESULT CopyTo(PYXPropertyStorage* pDest, bool deep) override
    {
        return PYXPropertyTable::CopyTo(*this, pDest, deep);
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
        return PYXPropertyTable::Validate(*this, name, value, pOutValidated);
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
