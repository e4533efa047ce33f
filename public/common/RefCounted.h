#pragma once

#include "common/Types.h"

#include <atomic>

/// Adds the deleting destructor slot for a class with one interface, in a table of its own: no published table may hold
/// one.
class PYXDestructible
{
public:
    PYXDestructible() = default;
    PYXDestructible(const PYXDestructible&) = delete;
    PYXDestructible& operator=(const PYXDestructible&) = delete;
    virtual ~PYXDestructible() = default;
};

/// The one count of an object, starting at 0: its creator acquires it before handing the pointer out.
/// [any-thread]
class PYXReferenceCount
{
public:
    /// Returns the new count.
    pyx_uint32 Increment()
    {
        return m_count.fetch_add(1, std::memory_order_relaxed) + 1;
    }

    /// Returns the new count; at 0 the object is deleted. acq_rel: the thread that reaches 0 sees all earlier writes of
    /// the others.
    template <class Object> pyx_uint32 Decrement(Object* pObject)
    {
        const pyx_uint32 count = m_count.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (count == 0)
        {
            Increment(); // code that the destructor calls may acquire and release the object once more
            delete pObject;
        }
        return count;
    }

    pyx_uint32 Get() const
    {
        return m_count.load(std::memory_order_relaxed);
    }

private:
    std::atomic<pyx_uint32> m_count{0};
};

/// Counting for an object with one interface table: `Base` is the interface or
/// an implementation of it, the count is inside the object.
///
/// GetRefCount takes the first slot after those of `Base`.
/// Lifetime: ended by the last Release, or deleted by a sole owner that never
/// acquired it.
template <class Base> class PYXRefCounted : public Base, public PYXDestructible
{
public:
    using Base::Base;

    pyx_uint32 Acquire() override
    {
        return m_count.Increment();
    }

    /// At 0 the object destroys itself.
    pyx_uint32 Release() override
    {
        return m_count.Decrement(this);
    }

    virtual pyx_uint32 GetRefCount()
    {
        return m_count.Get();
    }

private:
    PYXReferenceCount m_count;
};

/// Counter at the front of an object that offers several interfaces through
/// one table: every interface's Acquire and Release ends here.
///
/// Table: destructor, Acquire, Release, GetRefCount.
class PYXRefCounter : public PYXDestructible
{
public:
    virtual pyx_uint32 Acquire()
    {
        return m_count.Increment();
    }

    /// At 0 the object destroys itself.
    virtual pyx_uint32 Release()
    {
        return m_count.Decrement(this);
    }

    virtual pyx_uint32 GetRefCount()
    {
        return m_count.Get();
    }

private:
    PYXReferenceCount m_count;
};

/// Counting for a component: the counter is in front of `Base`, and the
/// operations of its interfaces lead there.
template <class Base> class PYXRefCountedInFront : public PYXRefCounter, public Base
{
public:
    using Base::Base;

    pyx_uint32 Acquire() override
    {
        return PYXRefCounter::Acquire();
    }

    pyx_uint32 Release() override
    {
        return PYXRefCounter::Release();
    }
};
