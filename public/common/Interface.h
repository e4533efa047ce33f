#pragma once

#include "common/Types.h"

/// Head of every interface.
///
/// Binary contract: slots in this order, single inheritance, one table pointer
/// at offset 0, no destructor in the table.
/// An operation says in brackets from which thread and in which state it may be
/// called. Whoever calls one holds a reference.
class PYXInterface
{
public:
    static constexpr PYXGuid c_id{0x9d872f34, 0x90dc, 0x4b93, {0xb6, 0xb2, 0x6c, 0xa3, 0x7c, 0x85, 0x25, 0xdb}};

    /// Takes one reference. Returns the new count.
    /// [any thread]
    virtual pyx_uint32 Acquire() = 0;

    /// Gives one reference back. Returns the new count; at 0 the object has
    /// destroyed itself.
    /// [any thread]
    virtual pyx_uint32 Release() = 0;

    /// Asks for another interface of the object.
    /// PYX_OK: `*out` is set and acquired. PYX_NO_INTERFACE: `*out` is untouched.
    /// [any thread]
    virtual PYX_RESULT QueryInterface(const PYXGuid& id, void** out) = 0;

protected:
    ~PYXInterface() = default;
};
