#pragma once

#include "common/ThreadSafety.h"
#include "common/Types.h"

#include <windows.h>

/// Time-out of PYXCriticalSection::Lock that waits for ever.
inline constexpr pyx_uint32 PYX_WAIT_FOREVER = 0xFFFFFFFF;

/// A recursive lock that owns one critical section of the operating system.
///
/// Table: Lock, Unlock, destructor.
class PYX_CAPABILITY("lock") PYXCriticalSection
{
public:
    PYXCriticalSection()
    {
        InitializeCriticalSection(&m_section);
    }

    PYXCriticalSection(const PYXCriticalSection&) = delete;
    PYXCriticalSection& operator=(const PYXCriticalSection&) = delete;

    /// Enters the section. A time-out other than PYX_WAIT_FOREVER is the number
    /// of further tries after the first, one millisecond apart. True when the
    /// section was entered.
    virtual bool Lock(pyx_uint32 timeout) PYX_TRY_ACQUIRE(true)
    {
        if (timeout == PYX_WAIT_FOREVER)
        {
            EnterCriticalSection(&m_section);
            return true;
        }
        bool entered = TryEnterCriticalSection(&m_section) != FALSE;
        for (pyx_uint32 tries = 0; !entered && tries < timeout; ++tries)
        {
            Sleep(1);
            entered = TryEnterCriticalSection(&m_section) != FALSE;
        }
        return entered;
    }

    /// Leaves the section. Always true.
    virtual bool Unlock() PYX_RELEASE()
    {
        LeaveCriticalSection(&m_section);
        return true;
    }

    virtual ~PYXCriticalSection()
    {
        DeleteCriticalSection(&m_section);
    }

private:
    CRITICAL_SECTION m_section;
};

/// Holds a lock for a scope. A null lock object is not locked and not unlocked.
class PYX_SCOPED_CAPABILITY PYXLock
{
public:
    explicit PYXLock(PYXCriticalSection* pSync) PYX_ACQUIRE(pSync)
        : m_pSync(pSync), m_locked(pSync && pSync->Lock(PYX_WAIT_FOREVER))
    {
    }

    PYXLock(const PYXLock&) = delete;
    PYXLock& operator=(const PYXLock&) = delete;

    ~PYXLock() PYX_RELEASE()
    {
        if (m_locked && m_pSync)
        {
            m_locked = !m_pSync->Unlock();
        }
    }

private:
    PYXCriticalSection* m_pSync;
    bool m_locked;
};
