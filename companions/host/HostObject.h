#pragma once

#include "common/Types.h"

#include <atomic>

/// Counts the host's objects that are alive, so that a host can tell after its
/// last component has gone whether a reference was kept.
///
/// Every object of the host's side derives from it. Threads: any.
class HostObject
{
public:
    HostObject(const HostObject&) = delete;
    HostObject& operator=(const HostObject&) = delete;

    /// Contexts and buffers alive in this process.
    static pyx_int64 Alive()
    {
        return s_alive.load(std::memory_order_relaxed);
    }

protected:
    HostObject()
    {
        s_alive.fetch_add(1, std::memory_order_relaxed);
    }

    ~HostObject()
    {
        s_alive.fetch_sub(1, std::memory_order_relaxed);
    }

private:
    static inline std::atomic<pyx_int64> s_alive{0};
};
