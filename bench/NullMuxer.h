#pragma once

#include "common/Types.h"

/// What the muxer that does nothing has seen since somebody last set it to zero.
struct NullMuxerRecord
{
    pyx_uint64 packets;
    pyx_uint64 endMarks;
    pyx_uint64 endTicks; ///< time of the last end mark, by ReadTicks
};

/// Export of the null muxer's module: its one record.
#define PYX_NULL_MUXER_RECORD_ENTRY "PYXNullMuxerRecord"
using PYXNullMuxerRecordFunction = NullMuxerRecord* (*)();
