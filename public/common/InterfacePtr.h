#pragma once

#include "common/Interface.h"

/// Counting smart pointer. Outside the tables only it, and a variant that holds an
/// interface, call Acquire and Release.
///
/// Construction from a plain pointer acquires it. An operation
/// that hands out an acquired pointer writes through Out(), which takes it
/// over without a further Acquire.
/// Threads: one pointer object belongs to one thread at a time; the object it
/// points to is counted atomically.
template <class T> class PYXInterfacePtr
{
public:
    PYXInterfacePtr() = default;

    /// Acquires `p` when it is not null.
    explicit PYXInterfacePtr(T* p) : m_p(p)
    {
        if (m_p)
        {
            m_p->Acquire();
        }
    }

    PYXInterfacePtr(const PYXInterfacePtr& other) : PYXInterfacePtr(other.m_p)
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

    /// Releases the pointer held, if any. The field is null before the object
    /// is called, so an object that ends may look at its holder.
    void Reset()
    {
        if (T* p = Detach())
        {
            p->Release();
        }
    }

    /// Releases the pointer held and returns the address for an operation that
    /// stores an acquired pointer there.
    T** Out()
    {
        Reset();
        return &m_p;
    }

    /// Gives the reference held to the caller.
    T* Detach()
    {
        T* p = m_p;
        m_p = nullptr;
        return p;
    }

    /// The object's interface `U`, or null when it has none.
    template <class U> PYXInterfacePtr<U> Query() const
    {
        PYXInterfacePtr<U> spResult;
        void* p = nullptr;
        if (m_p && m_p->QueryInterface(U::c_id, &p) == PYX_OK)
        {
            *spResult.Out() = static_cast<U*>(p);
        }
        return spResult;
    }

    /// The pointer held, borrowed.
    T* Get() const
    {
        return m_p;
    }

    T* operator->() const
    {
        return m_p;
    }

    explicit operator bool() const
    {
        return m_p != nullptr;
    }

private:
    T* m_p = nullptr;
};
