#include "host/HostContext.h"

// What a host makes of the example's objects, to see that nothing is missing when they are linked.
extern "C" __declspec(dllexport) PYX_RESULT AllocateOne(PYXBuffer** ppBuffer)
{
    return HostContext::Create()->AllocBuffer(PYX_MEMORY_HOST, 1, ppBuffer);
}
