#pragma once

#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "common/RefCounted.h"
#include "host/HostObject.h"

/// The services that a host gives to its components: buffers.
///
/// A component keeps the context while it lives, and so do the objects it makes,
/// so a host gives its own reference back whenever it likes.
/// Threads: any thread may call any operation.
class HostContext final : public PYXRefCounted<PYXContext>, private HostObject
{
public:
    /// Null when there is no memory for it.
    static PYXInterfacePtr<HostContext> Create();

    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override;

    /// PYX_NOT_IMPLEMENTED: memory other than the host's.
    /// PYX_OUT_OF_MEMORY, and every other failure: `*ppOut` is untouched.
    PYX_RESULT AllocBuffer(PYX_MEMORY_TYPE type, pyx_size size, PYXBuffer** ppOut) override;

private:
    HostContext() = default;
    ~HostContext() override = default;
};
