#pragma once

#include "common/HostContract.h"

/// The framework's runtime library, shared by all objects of this module and
/// counted: loaded for the first of them, freed with the last.
///
/// A host may hold the library too. While it does, the trace object stays known
/// after the last reference from here; it is forgotten when the library has gone.
/// Loading the library anew asks it again. A host that frees the library and loads
/// it again while no reference is held here does so unnoticed.
/// Threads: any. One lock guards the record; the library is loaded, asked for
/// its objects and freed with it held, so not from a DllMain. Nothing here traces.

/// Takes one reference, loading the library first if need be.
/// PYX_FAIL: the library or an entry is missing; other codes are the library's.
/// No reference is taken then. After a failure past the loading the handle is
/// kept until the count drops to 0 again: until then calls succeed without a
/// factory and without a trace object.
PYX_RESULT LoadRuntime();

/// Gives one reference back; the last one frees the library. Does nothing while
/// the library is not loaded.
void ReleaseRuntime();

/// The runtime library's trace object, or null while there is none. Borrowed: it
/// is valid while the caller holds the library.
PYXTrace* GetTraceObject();

/// Holds the runtime library while it lives, for whatever may trace until its
/// own end. Without a library it holds nothing.
class PYXRuntimeReference
{
public:
    PYXRuntimeReference() : m_held(LoadRuntime() == PYX_OK)
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

    bool IsHeld() const
    {
        return m_held;
    }

private:
    const bool m_held;
};
