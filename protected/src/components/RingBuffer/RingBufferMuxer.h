#pragma once

#include "common/Component.h"
#include "common/InterfacePtr.h"

#include <optional>

/// The muxer component of one ring buffer: the component configures it and writes
/// clips through it, the inputs mirror their stream's description to it.
///
/// Threads: the pointer is set by the constructor and changes only in Release(), so
/// the component reads it without a lock; inputs hold the cache's lock and have seen
/// that the cache is open.
/// Lifetime: shared by the component and every input that it ever created. The
/// muxer itself ends with the component.
class PYXRingBufferMuxer
{
public:
    /// Creates the muxer. Without one, Get() answers null.
    explicit PYXRingBufferMuxer(PYXContext* pContext);

    /// Borrowed, or null.
    PYXComponent* Get() const
    {
        return m_spMuxer.Get();
    }

    /// [the component at its end, once the cache is closed]
    void Release()
    {
        m_spMuxer.Reset();
    }

    /// [the cache's lock held, while it is open] Sets a property on the muxer's first
    /// input of the stream type; without such an input nothing happens. Empty: the
    /// caller goes on and stores the value. Otherwise this is its answer to the host:
    /// the failure, or PYX_OK when the muxer handed out a null input.
    std::optional<PYX_RESULT> MirrorProperty(pyx_int64 streamType, const wchar_t* name, const PYXVariant& value);

private:
    PYXInterfacePtr<PYXComponent> m_spMuxer;
};
