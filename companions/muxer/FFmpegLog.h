#pragma once

#include "common/Types.h"

/// FFmpeg's failures in the framework's words.

/// The framework's code for a result of FFmpeg's; what is not negative is a
/// success.
PYX_RESULT ToResult(int error);

/// Passes FFmpeg's own warnings and errors on to the trace object.
void TraceFFmpegLog();
