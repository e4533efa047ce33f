#pragma once

#include "common/Trace.h"

/// What the classes of the component trace as, whatever their file is: hosts match
/// on source and scope. The groups of pictures have a source of their own.
inline constexpr PYXTraceSource c_ringBufferTraceSource{L"components/RingBuffer/RingBufferImpl", L"PYXRingBufferImpl"};
inline constexpr PYXTraceSource c_groupTraceSource{L"components/RingBuffer/RingBufferGOP", L"PYXRingBufferGOP"};
