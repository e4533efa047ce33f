#pragma once

#include "common/DataStream.h"
#include "common/InterfacePtr.h"
#include "common/RefCounted.h"

/// What both data streams share: the reference count and the interfaces.
///
/// Lifetime: ended by its last Release, or deleted by a sole owner that never
/// acquired it.
class PYXDataStreamImpl : public PYXRefCounted<PYXDataStream>
{
public:
    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override
    {
        return PYXQueryInterface<PYXInterface, PYXDataStream>(static_cast<PYXDataStream*>(this), id, out);
    }

    bool IsSeekable() override
    {
        return true;
    }

    pyx_uint32 GetReferenceCount() override
    {
        return GetRefCount();
    }
};
