#pragma once

#include "common/CriticalSection.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "common/RuntimeLoader.h"
#include "common/ThreadSafety.h"
#include "RingBufferGOP.h"

#include <atomic>
#include <deque>
#include <memory>
#include <string>
#include <utility>

/// What a ring buffer keeps: the last seconds of its packets, in groups of
/// pictures.
///
///     video --start packet--> m_pActiveGOP --next start--> m_listOfGOPs --too old--> dropped
///     audio --> m_pendingAudio --by time stamp--> the group that covers it
///
/// Threads: derives from the component's lock; hold it to call anything here. It is
/// recursive, and taken before the lock of a group and of a property storage. The
/// context and packets are called under it.
/// Lifetime: shared by the component and every input that it ever created. A host
/// may keep an input longer than the component, which closes the cache when it
/// ends: from then on the cache is empty, and its inputs refuse what they are given.
class PYXRingBufferCache final : public PYXCriticalSection
{
public:
    using GOPList = std::deque<std::shared_ptr<PYXRingBufferGOP>>;

    static constexpr pyx_int64 c_defaultDuration = 30; // seconds

    /// `pContext` is borrowed until the cache is closed; it may be null, and then
    /// no packet can be stored.
    explicit PYXRingBufferCache(PYXContext* pContext);

    /// False once the component has ended. Without the lock the result may be outdated
    /// at once.
    bool IsOpen() const
    {
        return m_isOpen;
    }

    /// There is no intake after this. The groups stay until ClearGOPs.
    void Close() PYX_REQUIRES(this)
    {
        m_isOpen = false;
    }

    // Intake, while the cache is open. The standard library's out-of-memory exception
    // may escape from it; the cache stays consistent.

    /// Closes the active group into the list, opens a new one with this packet,
    /// places waiting audio and trims. PYX_INVALID_ARG: null packet.
    /// PYX_OUT_OF_MEMORY: no new group; none is active then. When waiting audio
    /// cannot be placed first, the old group stays active and the packet is not
    /// taken; on a later failure the new group stays active even if empty.
    PYX_RESULT AddVideoStartPacket(PYXBuffer* pPacket) PYX_REQUIRES(this);

    /// Appends to the active group; without one drops the packet and returns PYX_OK.
    /// PYX_INVALID_ARG: null packet.
    PYX_RESULT AddVideoRegularPacket(PYXBuffer* pPacket) PYX_REQUIRES(this);

    /// Queues an audio packet, acquired, and gives what waits to the groups that cover
    /// it. Before the first group, and when the active one refuses it, audio waits, and
    /// the result is PYX_OK. What is older than the oldest group is dropped; what an
    /// older group refuses is lost, and the result is the group's.
    PYX_RESULT AddAudioPacket(PYXBuffer* pPacket) PYX_REQUIRES(this);

    /// Drops the oldest groups as long as what remains is still longer than the
    /// duration. The active group stays, unless the duration is 0 or less.
    PYX_RESULT TrimGOPs() PYX_REQUIRES(this);

    /// Destroys all groups and releases the audio that waits.
    void ClearGOPs() PYX_REQUIRES(this);

    // What new groups are made with, and how much is kept.

    /// Seconds.
    pyx_int64 GetDurationInSeconds() const PYX_REQUIRES(this)
    {
        return m_duration;
    }

    /// Takes effect with the next TrimGOPs.
    void SetDurationInSeconds(pyx_int64 duration) PYX_REQUIRES(this)
    {
        m_duration = duration;
    }

    /// The directory for temporary files; empty: none is set.
    const std::wstring& GetTempPath() const PYX_REQUIRES(this)
    {
        return m_tempPath;
    }

    void SetTempPath(std::wstring tempPath) PYX_REQUIRES(this)
    {
        m_tempPath = std::move(tempPath);
    }

    void SetInRam(bool inRam) PYX_REQUIRES(this)
    {
        m_bufferInRam = inRam;
    }

    // For the write-out.

    /// A complete one or the active one.
    bool HasGOP() const PYX_REQUIRES(this)
    {
        return !m_listOfGOPs.empty() || m_pActiveGOP;
    }

    /// Moves the active group, if any, into the list, its files still open; the next
    /// start packet opens another.
    void FinishActiveGroup() PYX_REQUIRES(this);

    /// The complete groups, oldest first. A copy keeps them while foreign code is called, which may empty the cache.
    const GOPList& GetCompleteGOPs() const PYX_REQUIRES(this)
    {
        return m_listOfGOPs;
    }

private:
    PYX_RESULT AddAudioPacketsToGOP() PYX_REQUIRES(this);
    PYX_RESULT CloseActiveGOP() PYX_REQUIRES(this);
    std::shared_ptr<PYXRingBufferGOP> CreateGOP() PYX_REQUIRES(this);
    bool AddAudioToActiveGOP(PYXBuffer* pPacket) PYX_REQUIRES(this);
    PYX_RESULT AddAudioToCachedGOP(PYXBuffer* pPacket, pyx_int64 pts) PYX_REQUIRES(this);

    /// The component's one reference. Here because an input traces at its end, and may outlive its component.
    const PYXRuntimeReference m_runtime;

    PYXContext* const m_pContext;
    std::atomic<bool> m_isOpen = true;                             // changed under the lock
    pyx_int64 m_duration PYX_GUARDED_BY(this) = c_defaultDuration; // seconds
    std::wstring m_tempPath PYX_GUARDED_BY(this);
    bool m_bufferInRam PYX_GUARDED_BY(this) = false;

    PYXGroupMemory m_memory PYX_GUARDED_BY(this); // empty while there are no groups

    /// Waits for a group, in order of arrival.
    std::deque<PYXInterfacePtr<PYXBuffer>> m_pendingAudio PYX_GUARDED_BY(this);

    /// Complete groups, oldest first.
    GOPList m_listOfGOPs PYX_GUARDED_BY(this);

    /// Being filled, not in the list.
    std::shared_ptr<PYXRingBufferGOP> m_pActiveGOP PYX_GUARDED_BY(this);
};
