#include "host/HostContext.h"

#include "host/HostBuffer.h"

#include <new>

PYXInterfacePtr<HostContext> HostContext::Create()
{
    return PYXInterfacePtr<HostContext>(new (std::nothrow) HostContext);
}

PYX_RESULT HostContext::QueryInterface(const PYXGuid& id, void** out)
{
    return PYXQueryInterface<PYXInterface, PYXContext>(static_cast<PYXContext*>(this), id, out);
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
