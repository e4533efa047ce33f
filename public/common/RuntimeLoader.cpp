#include "common/RuntimeLoader.h"

#include "common/CriticalSection.h"
#include "common/Handles.h"
#include "common/ModuleLoading.h"

namespace
{

constexpr pyx_uint64 c_runtimeVersion = 0x0001000400240000; // 1.4.36.0
constexpr const wchar_t* c_runtimeFile = L"pyxrt64.dll";

/// The one record of this module.
struct RuntimeRecord
{
    RuntimeRecord() = default;
    RuntimeRecord(const RuntimeRecord&) = delete;
    RuntimeRecord& operator=(const RuntimeRecord&) = delete;

    /// At unload drops one reference and frees the library only if that was the last.
    ~RuntimeRecord()
    {
        if (referenceCount != 1)
        {
            static_cast<void>(module.release()); // NOLINT(bugprone-unused-return-value)
        }
    }

    PYXCriticalSection sync;
    PYXModuleOwner module PYX_GUARDED_BY(sync); // null until loaded
    pyx_int32 referenceCount PYX_GUARDED_BY(sync) = 0;
    PYXTrace* pTrace PYX_GUARDED_BY(sync) = nullptr;    // the first one, until its library has gone
    HMODULE traceModule PYX_GUARDED_BY(sync) = nullptr; // the library of `pTrace`; not held
};

RuntimeRecord s_runtime;

/// The trace object is in the library, which a host may hold as well, and may have freed.
void ForgetTraceIfGone() PYX_REQUIRES(s_runtime.sync)
{
    if (GetModuleHandleW(c_runtimeFile) != s_runtime.traceModule)
    {
        s_runtime.pTrace = nullptr;
    }
}

PYX_RESULT StartRuntime() PYX_REQUIRES(s_runtime.sync)
{
    const HMODULE module = s_runtime.module.get();
    const auto pInit = PYXGetEntry<PYXInitFunction>(module, PYX_INIT_ENTRY);
    if (!pInit)
    {
        return PYX_FAIL;
    }
    PYXFactory* pFactory = nullptr;
    PASS_ON_FAILURE_SILENTLY(pInit(c_runtimeVersion, &pFactory));
    const auto pQueryVersion = PYXGetEntry<PYXQueryVersionFunction>(module, PYX_QUERY_VERSION_ENTRY);
    if (!pQueryVersion)
    {
        return PYX_FAIL;
    }
    pyx_uint64 version = 0;
    PASS_ON_FAILURE_SILENTLY(pQueryVersion(&version));
    if (!pFactory)
    {
        return PYX_FAIL;
    }
    PYXTrace* pTrace = nullptr;
    void* pDebug = nullptr; // not used: runtimes expect both calls
    static_cast<void>(pFactory->GetTrace(&pTrace));
    static_cast<void>(pFactory->GetDebug(&pDebug));
    if (!s_runtime.pTrace)
    {
        s_runtime.pTrace = pTrace;
        s_runtime.traceModule = module;
    }
    return PYX_OK;
}

} // namespace

PYX_RESULT LoadRuntime(PYXRuntimeUse use)
{
    PYXLock lock(&s_runtime.sync);
    if (!s_runtime.module)
    {
        ForgetTraceIfGone();
        s_runtime.module.reset(PYXLoadModule(c_runtimeFile));
        if (!s_runtime.module)
        {
            return PYX_FAIL;
        }
        // One record needs nothing but the trace object: a library that a host holds is not started for each.
        if (use != PYXRuntimeUse::Record || !s_runtime.pTrace)
        {
            PASS_ON_FAILURE_SILENTLY(StartRuntime());
        }
    }
    ++s_runtime.referenceCount;
    return PYX_OK;
}

void ReleaseRuntime()
{
    PYXLock lock(&s_runtime.sync);
    if (s_runtime.module && --s_runtime.referenceCount == 0)
    {
        s_runtime.module.reset();
        ForgetTraceIfGone();
    }
}

PYXTrace* GetTraceObject()
{
    PYXLock lock(&s_runtime.sync);
    return s_runtime.pTrace;
}
