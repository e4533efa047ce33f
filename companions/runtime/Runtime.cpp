/// The runtime library's entries and its factory.
///
///     PYXInit -> factory -> GetTrace -> the trace object, which components write to
///
/// This build of the library serves development: it shows traces and offers
/// nothing else.

#include "common/Platform.h"
#include "runtime/TraceWriter.h"

namespace
{

constexpr pyx_uint64 c_version = 0x0001000400240000; // 1.4.36.0

constexpr pyx_uint64 Major(pyx_uint64 version)
{
    return version >> 48;
}

TraceWriter s_trace;

/// Components keep the debug object's address and call nothing on it.
struct DebugObject
{
} s_debug;

template <class Object, class Out> PYX_RESULT HandOut(Object* pObject, Out** ppOut)
{
    if (!ppOut)
    {
        return PYX_INVALID_POINTER;
    }
    *ppOut = pObject;
    return PYX_OK;
}

class Factory final : public PYXFactory
{
public:
    PYX_RESULT GetDebug(void** ppOut) override
    {
        return HandOut(&s_debug, ppOut);
    }

    PYX_RESULT GetTrace(PYXTrace** ppOut) override
    {
        return HandOut(&s_trace, ppOut);
    }
};

Factory s_factory;

} // namespace

/// Hands out the factory to a caller built for `version`.
/// PYX_INVALID_POINTER: null factory. PYX_INVALID_ARG: another major version,
/// whose tables differ; `*ppFactory` is untouched.
PYX_EXPORT PYX_RESULT PYXInit(pyx_uint64 version, PYXFactory** ppFactory)
{
    if (!ppFactory)
    {
        return PYX_INVALID_POINTER;
    }
    if (Major(version) != Major(c_version))
    {
        return PYX_INVALID_ARG;
    }
    s_trace.SetLevel(ReadTraceLevel());
    *ppFactory = &s_factory;
    return PYX_OK;
}

/// PYX_INVALID_POINTER: null output.
PYX_EXPORT PYX_RESULT PYXQueryVersion(pyx_uint64* pVersion)
{
    if (!pVersion)
    {
        return PYX_INVALID_POINTER;
    }
    *pVersion = c_version;
    return PYX_OK;
}
