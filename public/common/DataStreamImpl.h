#pragma once

#include "common/DataStream.h"
#include "common/RefCounted.h"

/// What both data streams share: the reference count and the interfaces.
///
/// Lifetime: ended by its last Release, or deleted by a sole owner that never
/// acquired it.
class PYXDataStreamImpl : public PYXDataStream, public PYXDestructible
{
public:
    pyx_uint32 Acquire() override
    {
        return m_count.Increment();
    }

    pyx_uint32 Release() override
    {
        const pyx_uint32 count = m_count.Decrement();
        if (count == 0)
        {
            delete this;
        }
        return count;
    }

    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override
    {
        if (id == PYXInterface::c_id || id == PYXDataStream::c_id)
        {
            *out = static_cast<PYXDataStream*>(this);
            Acquire();
            return PYX_OK;
        }
        return PYX_NO_INTERFACE;
    }

    bool IsSeekable() override
    {
        return true;
    }

    pyx_uint32 GetReferenceCount() override
    {
        return m_count.Get();
    }

private:
    PYXReferenceCount m_count;
};
