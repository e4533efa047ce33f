#pragma once

#include "common/CriticalSection.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "common/ThreadSafety.h"
#include "PacketStore.h"

#include <memory>
#include <string>

/// Where groups keep their packets in memory. Each kind has segments of its own, so that a
/// group's packets of one kind are side by side.
struct PYXGroupMemory
{
    std::shared_ptr<PYXMemorySegments> spVideo;
    std::shared_ptr<PYXMemorySegments> spAudio;
};

/// One group of pictures: its video packets, and the audio that falls into its
/// time span.
///
/// Threads: every operation but Open and Close takes the group's own lock; the
/// cache's lock is always taken first, and is what guards Open and Close.
/// Lifetime: owned by one of the active slot and the group list, and by a write-out
/// while it runs. The temporary files end with the group.
class PYXRingBufferGOP : public PYXCriticalSection
{
public:
    /// `pContext` is acquired and may be null, `tempPath` may be empty; what is
    /// then impossible is refused later. Groups that share `memory` share the cache's lock,
    /// too. Opens nothing.
    PYXRingBufferGOP(PYXContext* pContext, const std::wstring& tempPath, bool inRam, const PYXGroupMemory& memory);
    PYXRingBufferGOP(const PYXRingBufferGOP&) = delete;
    PYXRingBufferGOP& operator=(const PYXRingBufferGOP&) = delete;
    ~PYXRingBufferGOP() override;

    /// Stores one packet after the others of its kind. The packet is borrowed.
    /// PYX_NOT_INITIALIZED: no context, or no temporary directory for a file.
    /// PYX_INVALID_ARG: null packet. Other failures are the context's and the
    /// store's; the records are then as before.
    PYX_RESULT AddVideoPacket(PYXBuffer* pVideo);

    /// The same. Also returns, untraced: PYX_NOT_FOUND while there is no video,
    /// PYX_OUT_OF_RANGE for audio before the group's start.
    PYX_RESULT AddAudioPacket(PYXBuffer* pAudio);

    /// Rebuilds a packet as a new buffer, acquired for the caller. The store
    /// must be open. The output is null on failure past the argument checks.
    /// PYX_INVALID_ARG: no such index, null output. PYX_UNEXPECTED: the store
    /// held fewer bytes than recorded.
    PYX_RESULT GetVideoPacket(pyx_int32 idx, PYXBuffer** ppVideo);
    PYX_RESULT GetAudioPacket(pyx_int32 idx, PYXBuffer** ppAudio);

    pyx_size GetVideoPacketCount();
    pyx_size GetAudioPacketCount();

    /// Start of the group in 100 ns ticks: the time stamp of its first video
    /// packet, or -1 (traced) while it holds none.
    pyx_int64 GetPts();

    /// From the first to the end of the last video packet in 100 ns ticks, or -1
    /// (traced) while it holds none.
    pyx_int64 GetDuration();

    /// Opens a store in a mode of PYXDataStream::Open; a store that is open
    /// stays as it is. PYX_NOT_INITIALIZED: no file name.
    PYX_RESULT OpenVideoFile(pyx_uint32 mode) PYX_NO_THREAD_ANALYSIS;
    PYX_RESULT OpenAudioFile(pyx_uint32 mode) PYX_NO_THREAD_ANALYSIS;

    /// Closes a file; stores in memory stay open.
    PYX_RESULT CloseVideoFile() PYX_NO_THREAD_ANALYSIS;
    PYX_RESULT CloseAudioFile() PYX_NO_THREAD_ANALYSIS;

private:
    PYX_RESULT CheckVideo() const PYX_REQUIRES(this);

    const PYXInterfacePtr<PYXContext> m_spContext;
    const std::wstring m_fileName; // without an extension; empty without files
    PYXPacketStore m_audio PYX_GUARDED_BY(this);
    PYXPacketStore m_video PYX_GUARDED_BY(this); // declared last, so that it ends first
};
