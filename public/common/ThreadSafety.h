#pragma once

#include "common/Platform.h"

/// What guards what, in a form that a compiler can check. Empty for compilers
/// that cannot (see Platform.h).
///
///     std::wstring m_path PYX_GUARDED_BY(m_sync);    read and written with m_sync held
///     void TrimGOPs() PYX_REQUIRES(m_sync);          called with m_sync held

/// On a member: its lock.
#define PYX_GUARDED_BY(lock) PYX_THREAD_ATTRIBUTE(guarded_by(lock))

/// On a function: the lock that its caller holds.
#define PYX_REQUIRES(lock) PYX_THREAD_ATTRIBUTE(requires_capability(lock))

/// On a function: acquires the lock; acquires its object's own if it returns `success`; releases its object's own.
#define PYX_ACQUIRE(lock) PYX_THREAD_ATTRIBUTE(acquire_capability(lock))
#define PYX_TRY_ACQUIRE(success) PYX_THREAD_ATTRIBUTE(try_acquire_capability(success))
#define PYX_RELEASE() PYX_THREAD_ATTRIBUTE(release_capability())

/// On a class: a lock; the holder of one for a scope.
#define PYX_CAPABILITY(name) PYX_THREAD_ATTRIBUTE(capability(name))
#define PYX_SCOPED_CAPABILITY PYX_THREAD_ATTRIBUTE(scoped_lockable)

/// On a function that the analysis cannot follow; a comment says why it is right.
#define PYX_NO_THREAD_ANALYSIS PYX_THREAD_ATTRIBUTE(no_thread_safety_analysis)
