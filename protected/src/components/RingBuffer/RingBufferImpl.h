#pragma once

#include "common/Component.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "common/PropertyStorageExImpl.h"
#include "common/RefCounted.h"
#include "common/ReservedOperations.h"
#include "common/ThreadSafety.h"
#include "RingBufferCache.h"
#include "RingBufferInputs.h"

#include <atomic>
#include <memory>
#include <vector>

/// The ring buffer: keeps the last `Duration` seconds of what its inputs are
/// given, as groups of pictures, and writes them through the muxer when it is
/// terminated.
///
///     inputs --packets--> cache --Terminate--> muxer
///
/// Threads: any thread may call any operation. Components are created and destroyed by one thread at a time; their
/// inputs may be fed meanwhile.
///
/// Locks: the cache's lock is the component's. It is recursive, and held by Init, Terminate, GetInput, the reaction to
/// a property, an input's SetProperty, intake and write-out; the muxer and the context are called under it, but the
/// component's SetProperty calls the muxer without it. A property storage's lock may be taken under it. CopyTo and
/// AddTo call their destination under the source's lock, so copying this component's properties, or an input's, to one
/// of its inputs takes the two in the other order: not while other threads set properties.
///
/// Lifetime: created with count 0, ended by its last Release.
class PYXRingBufferImpl final
    : public PYXRefCountedInFront<PYXReservedOperations<PYXPropertyStorageExImpl<PYXComponentEx>>>
{
public:
    /// Acquires `pContext`. A component whose muxer could not be created can be
    /// read; setting, Init and Terminate return PYX_NOT_INITIALIZED.
    explicit PYXRingBufferImpl(PYXContext* pContext);

    /// Terminates. Whatever fails then, memory included, the cache is closed.
    ~PYXRingBufferImpl() override;

    /// The object's memory starts out as zero bytes.
    static void* operator new(size_t size);
    static void operator delete(void* p);

    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override;

    /// Forwards to the muxer first every property but the ring buffer's own
    /// three; what the muxer refuses is not stored. A name that only the muxer
    /// knows is set there, and PYX_NOT_FOUND returned. When memory runs out in
    /// the reaction to it, the value is stored all the same, and setting it again does
    /// nothing: another value has to be set in between.
    PYX_RESULT SetProperty(const wchar_t* name, PYXVariant value) override;

    // PYXComponent

    /// Empties the cache, makes the temporary directory new and empty (what
    /// is in it is deleted) and initialises the muxer.
    PYX_RESULT Init(pyx_int32 format, pyx_int32 width, pyx_int32 height) override;
    PYX_RESULT ReInit(pyx_int32 width, pyx_int32 height) override;

    /// With a temporary directory and a completed group, writes the cache to the
    /// muxer; then empties it and removes the directory. When writing fails, its
    /// result is returned, and cache and directory stay as they are.
    PYX_RESULT Terminate() override;
    PYXContext* GetContext() override;

    // PYXComponentEx

    /// Takes no lock: may be outdated at once while a stream is switched.
    pyx_int32 GetInputCount() override;

    /// PYX_INVALID_ARG: index out of range, null output; `*ppInput` is untouched then.
    PYX_RESULT GetInput(pyx_int32 index, PYXInput** ppInput) override;

    /// Reacts to a stored property with the lock held: a new temporary directory
    /// or storage mode writes out and empties the cache, a new duration trims
    /// it, a stream switch creates or removes an input.
    void OnPropertyChanged(const wchar_t* name) override;

private:
    void OnTempPathChanged() PYX_REQUIRES(*m_pCache);
    void OnDurationChanged() PYX_REQUIRES(*m_pCache);
    void OnBufferInRamChanged() PYX_REQUIRES(*m_pCache);
    void OnStreamSwitched(const wchar_t* switchName, pyx_int64 streamType) PYX_REQUIRES(*m_pCache);
    void AddInput(pyx_int64 streamType) PYX_REQUIRES(*m_pCache);
    void TerminateAtEnd() noexcept;

    const PYXInterfacePtr<PYXContext> m_spContext;
    const std::shared_ptr<PYXRingBufferCache> m_pCache;

    /// In order of creation.
    std::vector<PYXInterfacePtr<PYXRingBufferInput>> m_InputStreams PYX_GUARDED_BY(*m_pCache);

    std::atomic<pyx_int32> m_inputCount = 0; // the size of m_InputStreams, changed with it
    const PYXSharedMuxer m_pMuxer;
};
