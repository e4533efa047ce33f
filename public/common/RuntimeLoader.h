#pragma once

#include "common/HostContract.h"

/// The framework's runtime library, counted for the whole module: loaded for the first object that can trace, freed
/// with the last.
///
/// The cached trace object stays valid while the DLL is loaded, by this module or by its host, and is forgotten when
/// the DLL has gone. A host that frees the DLL and loads it again while no reference is held here does so unnoticed.
/// [any-thread] One lock guards the record; the library is loaded, started and freed with it held, so not
/// from a DllMain. Nothing here traces.

/// Whether the library is held for an object's life or for one trace record.
enum class PYXRuntimeUse
{
    Object,
    Record
};

/// Takes one reference, and loads and starts the library first if need be. A record does not start a library whose
/// trace object is known. PYX_FAIL: the library or an entry is missing; other codes are the library's. No reference is
/// taken then. After a failure past the loading the handle is kept until the count drops to 0 again: until then calls
/// succeed without a trace object.
PYX_RESULT LoadRuntime(PYXRuntimeUse use = PYXRuntimeUse::Object);

/// Drops one reference; the last one frees the library. Does nothing while the library is not loaded.
void ReleaseRuntime();

/// The runtime library's trace object, or null while there is none. Borrowed: valid while the caller holds the library.
PYXTrace* GetTraceObject();

/// Holds the runtime library while it lives; without a library it holds nothing.
class PYXRuntimeReference
{
public:
    explicit PYXRuntimeReference(PYXRuntimeUse use = PYXRuntimeUse::Object) : m_held(LoadRuntime(use) == PYX_OK)
    {
    }

    PYXRuntimeReference(const PYXRuntimeReference&) = delete;
    PYXRuntimeReference& operator=(const PYXRuntimeReference&) = delete;

    ~PYXRuntimeReference()
    {
        if (m_held)
        {
            ReleaseRuntime();
        }
    }

    /// Null without a library. Borrowed from this reference.
    PYXTrace* GetTrace() const
    {
        return m_held ? GetTraceObject() : nullptr;
    }

private:
    const bool m_held;
};
