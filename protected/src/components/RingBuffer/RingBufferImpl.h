#pragma once

#include "RingBufferGOP.h"
#include "RingBufferInputs.h"

#include "common/Component.h"
#include "common/CriticalSection.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "common/PropertyStorageExImpl.h"
#include "common/RefCounted.h"
#include "common/Trace.h"

#include <deque>
#include <list>
#include <memory>
#include <string>
#include <vector>

/// What all files of the component trace as.
inline constexpr PYXTraceSource c_ringBufferTraceSource{L"components/RingBuffer/RingBufferImpl", L"PYXRingBufferImpl"};

inline constexpr pyx_int64 c_defaultDuration = 30; // seconds

/// The ring buffer: keeps the last `Duration` seconds of what its inputs are
/// given, as groups of pictures, and writes them through the muxer when it is
/// terminated.
///
///     video input --start packet--> m_pActiveGOP --next start--> m_listOfGOPs --too old--> dropped
///     audio input --> m_pendingAudio --by time stamp--> the group that covers it
///     Terminate: m_listOfGOPs + m_pActiveGOP --> muxer
///
/// Threads: any thread may call any operation. m_sync is recursive and held
/// while the cache is touched: by Init, Terminate, GetInput, the reaction to a
/// property, intake and write-out, the muxer and the context being called under
/// it. SetProperty calls the muxer without it. Created and destroyed by one thread
/// at a time, with no packet under way.
/// Locks: a property storage's lock may be taken under m_sync. CopyTo and AddTo
/// call their destination under the source's lock, so copying this component's
/// properties, or an input's, to one of its inputs takes the two in the other
/// order: not while other threads set properties.
/// Lifetime: created with count 0, ended by its last Release.
class PYXRingBufferImpl final : public PYXRefCounter, public PYXPropertyStorageExImpl<PYXComponentEx>
{
public:
    /// Acquires `pContext`. A component whose muxer could not be created can be
    /// read; setting, Init and Terminate answer PYX_NOT_INITIALIZED.
    explicit PYXRingBufferImpl(PYXContext* pContext);
    ~PYXRingBufferImpl() override;

    /// The object's memory starts out as zero bytes.
    static void* operator new(size_t size);
    static void operator delete(void* p);

    // PYXInterface
    pyx_uint32 Acquire() override;
    pyx_uint32 Release() override;
    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override;

    /// Forwards to the muxer first every property but the ring buffer's own
    /// three; what the muxer refuses is not stored. A name that only the muxer
    /// knows is set there and answered with PYX_NOT_FOUND.
    PYX_RESULT SetProperty(const wchar_t* name, PYXVariant value) override;

    // PYXComponent

    /// Empties the cache, makes the temporary directory new and empty (whatever
    /// lies in it is deleted) and initialises the muxer.
    PYX_RESULT Init(pyx_int32 format, pyx_int32 width, pyx_int32 height) override;
    PYX_RESULT ReInit(pyx_int32 width, pyx_int32 height) override;

    /// With a temporary directory and a completed group, writes the cache to the
    /// muxer; then empties it and removes the directory. When writing fails, its
    /// result is returned, and cache and directory stay as they are.
    PYX_RESULT Terminate() override;
    PYX_RESULT HostOperation20() override;
    PYX_RESULT HostOperation21() override;
    PYX_RESULT HostOperation22() override;
    PYX_RESULT HostOperation23() override;
    PYXContext* GetContext() override;
    PYX_RESULT HostOperation25() override;
    PYX_RESULT HostOperation26() override;
    PYX_RESULT HostOperation27() override;

    // PYXComponentEx
    pyx_int32 GetInputCount() override;
    pyx_int32 HostOperation29() override;

    /// PYX_INVALID_ARG: index out of range, null output.
    PYX_RESULT GetInput(pyx_int32 index, PYXInput** ppInput) override;
    PYX_RESULT HostOperation31() override;

    /// Reacts to a stored property with m_sync held: a new temporary directory
    /// or storage mode writes out and empties the cache, a new duration trims
    /// it, a stream switch creates or removes an input.
    void OnPropertyChanged(const wchar_t* name) override;

    // For the inputs.

    PYXCriticalSection* GetSync()
    {
        return &m_sync;
    }

    /// The muxer, borrowed, or null.
    const PYXInterfacePtr<PYXComponent>& GetMuxer() const
    {
        return m_spMuxer;
    }

    /// Closes the active group into the list, opens a new one with this packet,
    /// places waiting audio and trims. PYX_INVALID_ARG: null packet.
    /// PYX_OUT_OF_MEMORY: no new group; none is active then. When waiting audio
    /// cannot be placed first, the old group stays active and the packet is not
    /// taken; on a later failure the new group stays active even if empty.
    PYX_RESULT AddVideoStartPacket(PYXBuffer* pPacket);

    /// Appends to the active group; without one the packet is dropped and the
    /// answer PYX_OK. PYX_INVALID_ARG: null packet.
    PYX_RESULT AddVideoRegularPacket(PYXBuffer* pPacket);

    /// Gives an audio packet to its group, behind those that wait; without a group,
    /// or when the active one refuses it, it waits, acquired, and the answer is
    /// PYX_OK. What an older group refuses is lost, and the answer is the group's.
    PYX_RESULT AddAudioPacket(PYXBuffer* pPacket);

private:
    // Intake (RingBufferIntake.cpp)
    PYX_RESULT CloseActiveGOP();
    PYX_RESULT AddAudioPacketsToGOP();
    PYX_RESULT PlaceAudio(PYXBuffer* pPacket, bool* pPlaced);
    bool AddAudioToActiveGOP(PYXBuffer* pPacket);
    PYX_RESULT AddAudioToCachedGOP(PYXBuffer* pPacket, pyx_int64 pts);
    PYX_RESULT TrimGOPs();
    void ClearGOPs();

    // Write-out (RingBufferWriteOut.cpp)
    PYX_RESULT WriteBuffer();

    void SwitchStream(const wchar_t* switchName, pyx_int64 streamType);
    PYXInterfacePtr<PYXRingBufferInput> CreateStreamInput(pyx_int64 streamType);

    const PYXRingBufferHostLink m_pLink = std::make_shared<std::atomic<PYXRingBufferImpl*>>(this);
    PYXCriticalSection m_sync; // guards everything below
    PYXInterfacePtr<PYXContext> m_spContext;
    std::vector<PYXInterfacePtr<PYXRingBufferInput>> m_InputStreams; // in order of creation
    pyx_int64 m_duration = c_defaultDuration;                        // seconds
    std::wstring m_tempPath;
    bool m_bufferInRam = false;
    PYXInterfacePtr<PYXComponent> m_spMuxer;                   // null when it could not be created
    std::deque<PYXInterfacePtr<PYXBuffer>> m_pendingAudio;     // waits for a group, in order of arrival
    std::list<std::unique_ptr<PYXRingBufferGOP>> m_listOfGOPs; // complete groups, oldest first
    std::unique_ptr<PYXRingBufferGOP> m_pActiveGOP;            // being filled, not in the list
};
