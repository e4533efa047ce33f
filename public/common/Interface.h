#pragma once

#include "common/Types.h"

/// Head of every interface.
///
/// Binary contract: slots in this order, single inheritance, one table pointer
/// at offset 0, no destructor in the table.
/// The caller must hold a reference.
///
/// An operation's comment begins with a tag that says which threads may call it:
///
///     [any-thread]            any, several at once. It waits for a clip that is being written only where that is said.
///     [one-thread-at-a-time]  one at a time; nothing is locked.
///     [cache-locked]          the thread that holds the ring buffer's lock, which is its cache's. A callee must
///                             not wait for another thread that calls the ring buffer.
class PYXInterface
{
public:
    static constexpr PYXGuid c_id{0x9d872f34, 0x90dc, 0x4b93, {0xb6, 0xb2, 0x6c, 0xa3, 0x7c, 0x85, 0x25, 0xdb}};

    /// [any-thread] Takes one reference. Returns the new count.
    virtual pyx_uint32 Acquire() = 0;

    /// [any-thread] Drops one reference. Returns the new count; at 0 the object has
    /// destroyed itself.
    virtual pyx_uint32 Release() = 0;

    /// [any-thread] Asks for another interface of the object.
    /// PYX_OK: `*out` is set and acquired. PYX_NO_INTERFACE: `*out` is untouched.
    virtual PYX_RESULT QueryInterface(const PYXGuid& id, void** out) = 0;

protected:
    ~PYXInterface() = default;
};
