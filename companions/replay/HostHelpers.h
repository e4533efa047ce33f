#pragma once

#include "host/HostBuffer.h"
#include "replay/Outcome.h"

#include <initializer_list>
#include <span>

/// What host code says again and again: properties, buffers, and the reason of
/// a failure.

struct NamedValue
{
    const wchar_t* name;
    PYXVariant value;
};

/// Sets values in the order given and stops at the first refusal.
Outcome SetAll(PYXPropertyStorage* pStorage, std::initializer_list<NamedValue> values);

/// A buffer with a copy of the bytes, or null when there is no memory for it.
PYXInterfacePtr<HostBuffer> MakeBuffer(std::span<const pyx_uint8> bytes);

Outcome OutOfMemory();

/// What a component's result means, in words for a user; a number only when it
/// is none of the framework's.
std::string ReasonOf(PYX_RESULT result);
