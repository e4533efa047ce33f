#pragma once

#include "common/Component.h"

/// Creates the component "MuxerFFMPEG", acquired once, from the muxer module,
/// which is loaded once and kept for the life of the process.
/// PYX_INVALID_ARG: null context. PYX_FAIL: the module or its entry is missing.
/// PYX_UNEXPECTED: its record is unusable. Others are the muxer module's.
/// Threads: not locked; components are created by one thread at a time. Nothing
/// here traces.
PYX_RESULT CreateMuxer(PYXContext* pContext, PYXComponent** ppOut);
