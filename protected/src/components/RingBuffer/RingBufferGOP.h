#pragma once

#include "common/CriticalSection.h"
#include "common/DataStreamImpl.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"

#include <memory>
#include <string>
#include <vector>

/// One group of pictures: its video packets, the audio that falls into its
/// time span, and the two stores that hold their bytes.
///
/// A store is a temporary file of the group's own, or memory. It holds the bare
/// bytes of the packets one after another; all else lives in the records:
///
///     m_videoPackets   [ 0, 900 )   [ 900, 1100 )   [ 1100, 1250 )
///     Temp7.RBV        [ start packet ][ packet      ][ packet     ]
///
/// Threads: every operation but Open and Close takes the group's own lock; the
/// component's lock is always taken first. Open and Close are called under one
/// of them.
/// Lifetime: owned by exactly one of the active slot and the group list. The
/// temporary files end with the group.
class PYXRingBufferGOP : public PYXCriticalSection
{
public:
    /// `pContext` is acquired and may be null, `tempPath` may be empty; what is
    /// then impossible is refused later. Opens nothing.
    PYXRingBufferGOP(PYXContext* pContext, const std::wstring& tempPath, bool inRam);
    ~PYXRingBufferGOP() override;

    /// Stores one packet behind the others of its kind. The packet is borrowed.
    /// PYX_NOT_INITIALIZED: no context, or no temporary directory for a file.
    /// PYX_INVALID_ARG: null packet. Other failures are the context's and the
    /// store's; the records are then as before.
    PYX_RESULT AddVideoPacket(PYXBuffer* pVideo);

    /// Two more answers, both silent: PYX_NOT_FOUND while there is no video,
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
    PYX_RESULT OpenVideoFile(pyx_uint32 mode);
    PYX_RESULT OpenAudioFile(pyx_uint32 mode);

    /// Closes a file; stores in memory stay open.
    PYX_RESULT CloseVideoFile();
    PYX_RESULT CloseAudioFile();

private:
    /// One stored packet.
    struct PacketEntry
    {
        PYXInterfacePtr<PYXBuffer> spData; ///< one byte: carries properties, pts and duration
        pyx_int64 offset = 0;              ///< bytes from the start of the store
        pyx_int64 size = 0;                ///< bytes
    };

    struct StoreTexts;
    struct Store;

    Store VideoStore();
    Store AudioStore();

    PYX_RESULT AddPacket(const Store& store, PYXBuffer* pPacket);
    PYX_RESULT WritePacket(PacketEntry* pPacket, PYXDataStream* pStream, PYXBuffer* pInput);
    PYX_RESULT ReadPacket(const PacketEntry& packet, PYXDataStream* pStream, PYXBuffer** ppOut);
    PYX_RESULT OpenStore(const Store& store, pyx_uint32 mode);
    PYX_RESULT CloseStore(const Store& store);
    void DestroyStore(const Store& store);

    PYXInterfacePtr<PYXContext> m_spContext;
    std::vector<PacketEntry> m_videoPackets; // guarded by the group's lock
    std::vector<PacketEntry> m_audioPackets; // guarded by the group's lock
    const bool m_inRam;
    std::wstring m_videoTempFileName; // empty without a temporary directory
    std::wstring m_audioTempFileName;
    std::unique_ptr<PYXDataStreamImpl> m_pVideoStream;
    std::unique_ptr<PYXDataStreamImpl> m_pAudioStream;
    bool m_videoFileOpen = false;
    bool m_audioFileOpen = false;
};
