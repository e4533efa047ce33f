#include "common/RuntimeLoader.h"

#include "common/CriticalSection.h"
#include "common/Handles.h"
#include "common/ModuleLoading.h"

namespace
{

constexpr pyx_uint64 c_runtimeVersion = 0x0001000400240000; // 1.4.36.0
constexpr const wchar_t* c_runtimeFile = L"pyxrt64.dll";

/// The one record of this module.
class RuntimeRecord
{
public:
    RuntimeRecord() = default;
    RuntimeRecord(const RuntimeRecord&) = delete;
    RuntimeRecord& operator=(const RuntimeRecord&) = delete;

    /// At unload one more reference is given back, and the library is freed only
    /// when none is left by that. Otherwise its handle stays with the process.
    ~RuntimeRecord()
    {
        if (m_referenceCount != 1)
        {
            m_module.Detach();
        }
    }

    PYX_RESULT Load()
    {
        PYXLock lock(&m_sync);
        if (!m_module)
        {
            ForgetTraceIfGone();
            PASS_ON_FAILURE_SILENTLY(LoadObjects());
        }
        ++m_referenceCount;
        return PYX_OK;
    }

    void Release()
    {
        PYXLock lock(&m_sync);
        if (m_module && --m_referenceCount == 0)
        {
            m_module.Reset();
            m_pFactory = nullptr;
            m_pDebug = nullptr;
            ForgetTraceIfGone();
        }
    }

    PYXTrace* GetTrace()
    {
        PYXLock lock(&m_sync);
        return m_pTrace;
    }

private:
    /// A failure after the load keeps the handle: the next call succeeds without a factory.
    PYX_RESULT LoadObjects() PYX_REQUIRES(m_sync)
    {
        m_module = PYXModuleHandle(PYXLoadModule(c_runtimeFile));
        const auto pInit = m_module ? PYXGetEntry<PYXInitFunction>(m_module.Get(), PYX_INIT_ENTRY) : nullptr;
        if (!pInit)
        {
            return PYX_FAIL;
        }
        PASS_ON_FAILURE_SILENTLY(pInit(c_runtimeVersion, &m_pFactory));
        const auto pQueryVersion = PYXGetEntry<PYXQueryVersionFunction>(m_module.Get(), PYX_QUERY_VERSION_ENTRY);
        if (!pQueryVersion)
        {
            return PYX_FAIL;
        }
        PASS_ON_FAILURE_SILENTLY(pQueryVersion(&m_version));
        if (!m_pFactory)
        {
            return PYX_FAIL;
        }
        PYXTrace* pTrace = nullptr;
        static_cast<void>(m_pFactory->GetTrace(&pTrace));
        m_pTrace = pTrace ? pTrace : m_pTrace;
        static_cast<void>(m_pFactory->GetDebug(&m_pDebug));
        m_traceModule = m_module.Get();
        return PYX_OK;
    }

    /// The trace object lies in the library, which a host may have freed as well.
    void ForgetTraceIfGone() PYX_REQUIRES(m_sync)
    {
        if (m_pTrace && GetModuleHandleW(c_runtimeFile) != m_traceModule)
        {
            m_pTrace = nullptr;
        }
    }

    PYXCriticalSection m_sync;
    PYXModuleHandle m_module PYX_GUARDED_BY(m_sync); // null until loaded
    PYXFactory* m_pFactory PYX_GUARDED_BY(m_sync) = nullptr;
    void* m_pDebug PYX_GUARDED_BY(m_sync) = nullptr;
    PYXTrace* m_pTrace PYX_GUARDED_BY(m_sync) = nullptr;    // kept while a host holds the library
    HMODULE m_traceModule PYX_GUARDED_BY(m_sync) = nullptr; // the library it lies in; holds nothing
    pyx_uint64 m_version PYX_GUARDED_BY(m_sync) = 0;
    pyx_int32 m_referenceCount PYX_GUARDED_BY(m_sync) = 0;
};

RuntimeRecord s_runtime;

} // namespace

PYX_RESULT LoadRuntime()
{
    return s_runtime.Load();
}

void ReleaseRuntime()
{
    s_runtime.Release();
}

PYXTrace* GetTraceObject()
{
    return s_runtime.GetTrace();
}
