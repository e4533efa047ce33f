#pragma once

#include "common/Component.h"
#include "common/HostContract.h"

/// The modules this one meets at run time: the framework's runtime library,
/// shared by all components of the process and counted, and the muxer module,
/// loaded once and kept for the life of the process.
///
/// Both are looked for by bare file name in the application's directory, the
/// system directory and the directories the process added, and nowhere else.
/// Threads: the counts are atomic, the rest is not locked: components are
/// created and destroyed by one thread at a time. Nothing here traces.

/// Takes one reference to the runtime library, loading it first if need be. Once
/// it has given a trace object, its code stays in memory until this module is
/// unloaded, whatever the reference count does: inputs trace while the last
/// component ends, when that component has already given the library back.
/// PYX_FAIL: the library or an entry is missing; other codes are the library's.
/// After a failure past the loading the handle is kept, and later calls succeed
/// without a factory and without a trace object.
PYX_RESULT LoadRuntime();

/// Gives one reference back; the last one frees the library. Does nothing while
/// the library is not loaded.
void ReleaseRuntime();

/// Holds the runtime library while it lives, for whatever may trace until its
/// own end. Without a library it holds nothing.
/// Threads: as LoadRuntime and ReleaseRuntime.
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

private:
    const bool m_held;
};

/// The runtime library's trace object, or null while there is none. Borrowed.
PYXTrace* GetRuntimeTrace();

/// True while the runtime library is loaded.
bool IsRuntimeLoaded();

/// Creates the component "MuxerFFMPEG", acquired once.
/// PYX_INVALID_ARG: null context. PYX_FAIL: the module or its entry is missing.
/// PYX_UNEXPECTED: its record is unusable. Others are the muxer module's.
PYX_RESULT CreateMuxer(PYXContext* pContext, PYXComponent** ppOut);
