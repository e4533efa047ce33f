#pragma once

#include "bench/PacketSource.h"
#include "bench/Subject.h"

#include "common/Types.h"

#include <array>
#include <span>

/// Watches what the module calls while it works: the entries of its import
/// table, and those of the host's tables that it calls, lead through a counter
/// and a stop watch.
///
/// What the module itself costs is what is left of a call into it when the
/// system's part is taken off. Both sides of that difference come from the same
/// call, so it is steady where two runs over the same files are not.

enum class ProbeGroup
{
    Files, ///< the bytes' way to the disk and back, which no cache can save
    Host,  ///< operations of the host's buffers and context
    Other, ///< locks, memory, copying
};

struct ProbeReading
{
    const char* name;
    ProbeGroup group;
    pyx_uint64 calls;
    pyx_uint64 ticks;
};

inline constexpr size_t c_probes = 19;

/// The probes work as long as one of these lives. One at a time; nothing else
/// may run in the module or be made of the host's classes meanwhile.
class ProbeSession
{
public:
    /// Probes the file operations alone, or everything: each probe costs some
    /// nanoseconds itself. The context and the packet lead to the tables of the
    /// host's classes.
    ProbeSession(bool filesOnly, PYXContext* pContext, PYXBuffer* pPacket);
    ProbeSession(const ProbeSession&) = delete;
    ProbeSession& operator=(const ProbeSession&) = delete;
    ~ProbeSession();

    /// Makes a call of which the probes take note, as long as `*pEnd` is 0;
    /// other calls pass by.
    template <class Call> static void Watched(const Call& call, const pyx_uint64* pEnd = &c_never)
    {
        s_pEnd = pEnd;
        call();
        s_pEnd = nullptr;
    }

    /// Of the watched calls since the session began.
    static std::span<const ProbeReading> Readings();

    /// Ticks that the watched calls have spent in file operations.
    static pyx_uint64 TicksInFiles();

    static bool IsWatching()
    {
        return s_pEnd && *s_pEnd == 0;
    }

private:
    static constexpr pyx_uint64 c_never = 0;

    static inline const pyx_uint64* s_pEnd = nullptr;
};
