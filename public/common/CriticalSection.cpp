#include "common/CriticalSection.h"

PYXCriticalSection::PYXCriticalSection()
{
    InitializeCriticalSection(&m_section);
}

PYXCriticalSection::~PYXCriticalSection()
{
    DeleteCriticalSection(&m_section);
}

bool PYXCriticalSection::Lock(pyx_uint32 timeout)
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

bool PYXCriticalSection::Unlock()
{
    LeaveCriticalSection(&m_section);
    return true;
}
