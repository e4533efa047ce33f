#include "common/CriticalSection.h"

#include <windows.h>

struct PYXCriticalSection::Section
{
    Section()
    {
        InitializeCriticalSection(&section);
    }

    Section(const Section&) = delete;
    Section& operator=(const Section&) = delete;

    ~Section()
    {
        DeleteCriticalSection(&section);
    }

    CRITICAL_SECTION section;
};

PYXCriticalSection::PYXCriticalSection() : m_pSection(std::make_unique<Section>())
{
}

PYXCriticalSection::~PYXCriticalSection() = default;

bool PYXCriticalSection::Lock(pyx_uint32 timeout)
{
    if (!m_pSection)
    {
        return false;
    }
    if (timeout == PYX_WAIT_FOREVER)
    {
        EnterCriticalSection(&m_pSection->section);
        return true;
    }
    bool entered = TryEnterCriticalSection(&m_pSection->section) != FALSE;
    for (pyx_uint32 tries = 0; !entered && tries < timeout; ++tries)
    {
        Sleep(1);
        entered = TryEnterCriticalSection(&m_pSection->section) != FALSE;
    }
    return entered;
}

bool PYXCriticalSection::Unlock()
{
    if (!m_pSection)
    {
        return false;
    }
    LeaveCriticalSection(&m_pSection->section);
    return true;
}
