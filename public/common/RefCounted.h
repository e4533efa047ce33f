#pragma once

#include "common/Types.h"

#include <atomic>

/// Gives a class that implements one interface its deleting destructor in a
/// table of its own, because no published table may hold one.
class PYXDestructible
{
public:
    PYXDestructible() = default;
    PYXDestructible(const PYXDestructible&) = delete;
    PYXDestructible& operator=(const PYXDestructible&) = delete;
    virtual ~PYXDestructible() = default;
};

/// The one count of an object, starting at 0: its creator acquires it before
/// handing the pointer out. Kept inside objects with one interface table.
class PYXReferenceCount
{
public:
    /// Returns the new count.
    pyx_uint32 Increment()
    {
        return m_count.fetch_add(1, std::memory_order_relaxed) + 1;
    }

    /// Returns the new count. Whoever sees 0 sees all that other holders did.
    pyx_uint32 Decrement()
    {
        return m_count.fetch_sub(1, std::memory_order_acq_rel) - 1;
    }

    pyx_uint32 Get() const
    {
        return m_count.load(std::memory_order_relaxed);
    }

private:
    std::atomic<pyx_uint32> m_count{0};
};

/// Counter at the front of an object that offers several interfaces through
/// one table: every interface's Acquire and Release ends here.
///
/// Table: destructor, Acquire, Release, GetRefCount.
class PYXRefCounter
{
public:
    PYXRefCounter() = default;
    PYXRefCounter(const PYXRefCounter&) = delete;
    PYXRefCounter& operator=(const PYXRefCounter&) = delete;
    virtual ~PYXRefCounter() = default;

    virtual pyx_uint32 Acquire()
    {
        return m_count.Increment();
    }

    /// At 0 the object destroys itself.
    virtual pyx_uint32 Release()
    {
        const pyx_uint32 count = m_count.Decrement();
        if (count == 0)
        {
            delete this;
        }
        return count;
    }

    virtual pyx_uint32 GetRefCount()
    {
        return m_count.Get();
    }

private:
    PYXReferenceCount m_count;
};
