#pragma once

#include "common/Interface.h"

template <class T> class PYXInterfacePtr;

/// The interface `U` of an object, or null when it has none or is null.
template <class U> PYXInterfacePtr<U> PYXQuery(PYXInterface* pObject)
{
    void* p = nullptr;
    const bool isThere = pObject && pObject->QueryInterface(U::c_id, &p) == PYX_OK;
    return PYXInterfacePtr<U>::Adopt(isThere ? static_cast<U*>(p) : nullptr);
}

/// QueryInterface of an object whose one table is that of all `Interfaces`.
template <class... Interfaces, class Object>
PYX_RESULT PYXQueryInterface(Object* pObject, const PYXGuid& id, void** out)
{
    if (((id == Interfaces::c_id) || ...))
    {
        pObject->Acquire();
        *out = pObject;
        return PYX_OK;
    }
    return PYX_NO_INTERFACE;
}

/// Counting smart pointer. Outside the tables only it, and a variant that holds an
/// interface, call Acquire and Release.
///
/// Construction from a plain pointer acquires it. A pointer that an operation
/// handed out already acquired is taken over: through Out(), or by Adopt().
/// Threads: one pointer object belongs to one thread at a time; the object it
/// points to is counted atomically.
template <class T> class PYXInterfacePtr
{
public:
    PYXInterfacePtr() noexcept = default;

    /// Acquires `p` when it is not null.
    explicit PYXInterfacePtr(T* p) noexcept : m_p(p)
    {
        if (m_p)
        {
            m_p->Acquire();
        }
    }

    /// Takes over `p`, which was acquired for the caller, or null.
    static PYXInterfacePtr Adopt(T* p) noexcept
    {
        PYXInterfacePtr spResult;
        spResult.m_p = p;
        return spResult;
    }

    PYXInterfacePtr(const PYXInterfacePtr& other) noexcept : PYXInterfacePtr(other.m_p)
    {
    }

    PYXInterfacePtr(PYXInterfacePtr&& other) noexcept : m_p(other.Detach())
    {
    }

    ~PYXInterfacePtr()
    {
        Reset();
    }

    PYXInterfacePtr& operator=(PYXInterfacePtr other) noexcept
    {
        T* p = m_p;
        m_p = other.m_p;
        other.m_p = p;
        return *this;
    }

    /// Releases the pointer held, if any. Cleared before Release(): a destructor
    /// that gets back here sees null.
    void Reset() noexcept
    {
        if (T* p = Detach())
        {
            p->Release();
        }
    }

    /// Releases the pointer held and returns the address for an operation that
    /// stores an acquired pointer there.
    T** Out() noexcept
    {
        Reset();
        return &m_p;
    }

    /// Gives the reference held to the caller.
    T* Detach() noexcept
    {
        T* p = m_p;
        m_p = nullptr;
        return p;
    }

    /// The object's interface `U`, or null when it has none.
    template <class U> PYXInterfacePtr<U> Query() const
    {
        return PYXQuery<U>(m_p);
    }

    /// The pointer held, borrowed.
    T* Get() const noexcept
    {
        return m_p;
    }

    T* operator->() const noexcept
    {
        return m_p;
    }

    explicit operator bool() const noexcept
    {
        return m_p != nullptr;
    }

private:
    T* m_p = nullptr;
};
