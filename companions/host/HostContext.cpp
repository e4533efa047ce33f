#include "host/HostContext.h"

#include "host/HostBuffer.h"

#include <new>

PYXInterfacePtr<HostContext> HostContext::Create()
{
    return PYXInterfacePtr<HostContext>(new (std::nothrow) HostContext);
}

PYX_RESULT HostContext::QueryInterface(const PYXGuid& id, void** out)
{
    if (!out)
    {
        return PYX_INVALID_POINTER;
    }
    if (id == PYXContext::c_id || id == PYXInterface::c_id)
    {
        *out = static_cast<PYXContext*>(this);
        Acquire();
        return PYX_OK;
    }
    return PYX_NO_INTERFACE;
}

PYX_RESULT HostContext::AllocBuffer(PYX_MEMORY_TYPE type, pyx_size size, PYXBuffer** ppOut)
{
    if (!ppOut)
    {
        return PYX_INVALID_POINTER;
    }
    if (type != PYX_MEMORY_HOST)
    {
        return PYX_NOT_IMPLEMENTED;
    }
    PYXInterfacePtr<HostBuffer> spBuffer = HostBuffer::Create(size);
    if (!spBuffer)
    {
        return PYX_OUT_OF_MEMORY;
    }
    *ppOut = spBuffer.Detach();
    return PYX_OK;
}
