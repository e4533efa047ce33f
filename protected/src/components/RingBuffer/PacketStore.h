#pragma once

#include "common/DataStreamFile.h"
#include "common/DataStreamMemory.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"

#include <memory>
#include <string>
#include <vector>

/// What a packet store traces: the kinds of packets differ in nothing else.
struct PYXPacketStoreTexts
{
    const wchar_t* addOpenFailed; // with the file name
    const wchar_t* addWriteFailed;
    const wchar_t* openNoName;
    const wchar_t* openFailed; // with the file name
    const wchar_t* closeNoName;
};

/// The packets of one kind in one group: their bare bytes, one packet after
/// another, in a temporary file or in memory, and all else in a record for each.
///
///     m_packets    [ 0, 900 )      [ 900, 1100 )  [ 1100, 1250 )
///     Temp7.RBV    [ start packet ][ packet      ][ packet     ]
///
/// Threads: not locked; the group calls it under its own lock or its owner's.
/// Lifetime: part of one group. Deletes its file at its end if a packet was ever
/// stored.
class PYXPacketStore
{
public:
    /// `pContext` is borrowed and outlives the store; Add and Read
    /// need one. `spSegments` is used in memory only and may be null, see
    /// PYXDataStreamMemoryImpl. `fileName` is empty in memory and without a
    /// temporary directory. `texts` are static. Opens nothing.
    PYXPacketStore(PYXContext* pContext, bool inRam, std::shared_ptr<PYXMemorySegments> spSegments,
                   std::wstring fileName, const PYXPacketStoreTexts& texts);
    PYXPacketStore(const PYXPacketStore&) = delete;
    PYXPacketStore& operator=(const PYXPacketStore&) = delete;
    ~PYXPacketStore();

    /// Copies a packet, borrowed, after the others; the first one opens the
    /// store. On failure the records are as before, but the store may hold bytes
    /// that no record covers, and later packets then read back from the wrong
    /// place: nothing takes these bytes out again. Results are those of Open, of
    /// the context and of the stream. PYX_FAIL: the stream took too few bytes.
    PYX_RESULT Add(PYXBuffer* pPacket);

    /// Rebuilds the packet at `index`, below GetCount(), as a new buffer, acquired
    /// for the caller. The store must be open. `*ppOut` is untouched on failure.
    /// PYX_UNEXPECTED: the stream held fewer bytes than recorded.
    PYX_RESULT Read(pyx_size index, PYXBuffer** ppOut);

    /// Opens the store in a mode of PYXDataStream::Open, unless it is open.
    /// PYX_NOT_INITIALIZED: no file name.
    PYX_RESULT Open(pyx_uint32 mode);

    /// Closes a file; a store in memory stays open.
    PYX_RESULT Close();

    /// Drops the bytes of a store in memory. No other operation is called afterwards.
    void FreeMemory();

    pyx_size GetCount() const
    {
        return m_packets.size();
    }

    /// The record of the first or last packet, borrowed: a buffer of one byte with
    /// the packet's properties and times. Only while there is a packet.
    PYXBuffer* GetFirst() const
    {
        return m_packets.front().spData.Get();
    }

    PYXBuffer* GetLast() const
    {
        return m_packets.back().spData.Get();
    }

private:
    /// One stored packet.
    struct PacketEntry
    {
        PYXInterfacePtr<PYXBuffer> spData; ///< one byte: carries properties, pts and duration
        pyx_int64 offset = 0;              ///< bytes from the start of the store
        pyx_int64 size = 0;                ///< bytes
    };

    PYXDataStream* Stream()
    {
        return m_pFile ? static_cast<PYXDataStream*>(m_pFile.get()) : &m_memory;
    }

    PYX_RESULT WritePacket(PacketEntry* pPacket, PYXBuffer* pInput);

    PYXContext* const m_pContext;
    const std::wstring m_fileName;
    const PYXPacketStoreTexts& m_texts;
    PYXDataStreamMemoryImpl m_memory;               // the bytes, in memory mode
    std::unique_ptr<PYXDataStreamFileImpl> m_pFile; // the bytes, else; null in memory mode
    bool m_open = false;
    std::vector<PacketEntry> m_packets; // in order of arrival
};
