#pragma once

#include "common/Component.h"
#include "RingBufferCache.h"

/// Pushes every packet of the cache, oldest group first, into the muxer, with times
/// that start at zero and nothing at or past the duration, then ends both streams
/// and empties the cache. An empty cache is traced, and PYX_OK returned. On
/// failure the groups stay, all of them complete once the muxer's inputs are found,
/// and the result is the failed call's.
/// PYX_NOT_INITIALIZED: null muxer. PYX_UNEXPECTED: the muxer has no inputs
/// interface, or hands out a null input.
///
/// [any thread; takes the cache's lock for its whole run and calls the muxer under it]
PYX_RESULT WriteBuffer(PYXRingBufferCache* pCache, PYXComponent* pMuxer);
