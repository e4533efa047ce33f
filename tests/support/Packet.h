#pragma once

#include "common/InterfacePtr.h"
#include "host/HostBuffer.h"

#include <string>

/// A packet as an encoder submits it. Its bytes repeat its name ("V1400|") and
/// its property "Name" holds it, so that what comes out can be compared with
/// what went in.
///     Packet{.pts = 40, .key = true, .bytes = 100}.Build()
///     Packet::Parse("V1400")    a video packet at 1400 ticks
///     Packet::Parse("V2sK+40")  the start of a group at 2 seconds, 40 ticks long
///     Packet::Parse("A7/100")   an audio packet of 100 bytes
struct Packet
{
    char kind = 'V';
    pyx_int64 pts = 0;
    bool key = false;
    pyx_int64 duration = 0;
    pyx_int64 bytes = -1; ///< -1: its name once

    static Packet Parse(const std::string& token);
    PYXInterfacePtr<HostBuffer> Build() const;

    /// A packet that came out, as "V400" or "V400+40". `*pBase` is what was taken
    /// off its time; the first packet sets it (while -1), the others must agree.
    /// What is not as it went in shows its name too: "V400(V1800)".
    static std::string Describe(char kind, PYXBuffer* pBuffer, pyx_int64* pBase);
};
