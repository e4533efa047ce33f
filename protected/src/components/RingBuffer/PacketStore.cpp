#include "PacketStore.h"

#include "RingBufferTrace.h"

#include <windows.h>

#include <algorithm>
#include <utility>

namespace
{

constexpr const PYXTraceSource& c_traceSource = c_groupTraceSource;

/// All of a packet but its bytes.
PYX_RESULT CopyDescription(PYXBuffer* pFrom, PYXBuffer* pTo)
{
    PASS_ON_FAILURE_SILENTLY(pFrom->CopyTo(pTo, true));
    pTo->SetPts(pFrom->GetPts());
    pTo->SetDuration(pFrom->GetDuration());
    return PYX_OK;
}

} // namespace

PYXPacketStore::PYXPacketStore(PYXContext* pContext, bool inRam, std::shared_ptr<PYXMemorySegments> spSegments,
                               std::wstring fileName, const PYXPacketStoreTexts& texts)
    : m_pContext(pContext), m_fileName(std::move(fileName)), m_texts(texts), m_memory(std::move(spSegments)),
      m_pFile(inRam ? nullptr : std::make_unique<PYXDataStreamFileImpl>())
{
}

PYXPacketStore::~PYXPacketStore()
{
    if (!m_pFile)
    {
        return;
    }
    if (m_fileName.empty())
    {
        // Fixed behaviour: a file stream that could never be opened is not freed,
        // some hundred bytes a group.
        static_cast<void>(m_pFile.release()); // NOLINT(bugprone-unused-return-value)
    }
    else if (!m_packets.empty())
    {
        static_cast<void>(Close());
        DeleteFileW(m_fileName.c_str());
    }
}

PYX_RESULT PYXPacketStore::Add(PYXBuffer* pPacket)
{
    // Before the bytes are written, so that a failed allocation cannot leave bytes without a record.
    if (m_packets.size() == m_packets.capacity())
    {
        m_packets.reserve(std::max<size_t>(4, 2 * m_packets.size()));
    }
    PacketEntry entry;
    entry.size = static_cast<pyx_int64>(pPacket->GetSize());
    if (m_packets.empty())
    {
        PASS_ON_FAILURE(Open(PYX_STREAM_MODE_READ_WRITE), m_texts.addOpenFailed, m_fileName.c_str());
    }
    else
    {
        entry.offset = m_packets.back().offset + m_packets.back().size;
    }
    PASS_ON_FAILURE(WritePacket(&entry, pPacket), m_texts.addWriteFailed);
    m_packets.push_back(std::move(entry));
    return PYX_OK;
}

/// Fills the record and writes the bytes at the stream's position, which is its
/// end while the group fills.
PYX_RESULT PYXPacketStore::WritePacket(PacketEntry* pPacket, PYXBuffer* pInput)
{
    PASS_ON_FAILURE(m_pContext->AllocBuffer(PYX_MEMORY_HOST, 1, pPacket->spData.Out()),
                    L"WritePacket() - Buffer allocation failed.");
    PASS_ON_FAILURE(CopyDescription(pInput, pPacket->spData.Get()),
                    L"WritePacket() - Failed to duplicate all properties.");

    const auto size = static_cast<pyx_uint64>(pPacket->size);
    pyx_uint64 writtenBytes = 0;
    PASS_ON_FAILURE(Stream()->Write(pInput->GetNative(), size, &writtenBytes),
                    L"WritePacket() - Failed to write packet information to file.");
    // Hosts rely on PYX_FAIL here, although a short read returns PYX_UNEXPECTED.
    FAIL_IF_NOT(writtenBytes == size, PYX_FAIL, L"WritePacket() - Failed to write all the frame bytes to file.");
    return PYX_OK;
}

PYX_RESULT PYXPacketStore::Read(pyx_size index, PYXBuffer** ppOut)
{
    const PacketEntry& packet = m_packets[index];
    const auto size = static_cast<pyx_uint64>(packet.size);
    PYXInterfacePtr<PYXBuffer> spBuffer;
    PASS_ON_FAILURE(m_pContext->AllocBuffer(PYX_MEMORY_HOST, size, spBuffer.Out()),
                    L"ReadPacket() - Buffer allocation failed.");
    PASS_ON_FAILURE(CopyDescription(packet.spData.Get(), spBuffer.Get()),
                    L"ReadPacket() - Failed to duplicate all properties.");

    PASS_ON_FAILURE(Stream()->Seek(PYX_STREAM_SEEK_BEGIN, packet.offset, nullptr),
                    L"ReadPacket() - Failed to seek to the required position in the temporary file.");
    pyx_uint64 bytesRead = 0;
    PASS_ON_FAILURE(Stream()->Read(spBuffer->GetNative(), size, &bytesRead),
                    L"ReadPacket() - Failed to read from the temporary file.");
    FAIL_IF_NOT(bytesRead == size, PYX_UNEXPECTED, L"ReadPacket() - Failed to read the required number of bytes.");
    *ppOut = spBuffer.Detach();
    return PYX_OK;
}

PYX_RESULT PYXPacketStore::Open(pyx_uint32 mode)
{
    if (m_open)
    {
        return PYX_OK;
    }
    if (m_pFile)
    {
        FAIL_IF_NOT(!m_fileName.empty(), PYX_NOT_INITIALIZED, m_texts.openNoName);
        PASS_ON_FAILURE(m_pFile->Open(m_fileName.c_str(), mode, PYX_STREAM_SHARE_NONE), m_texts.openFailed,
                        m_fileName.c_str());
    }
    m_open = true;
    return PYX_OK;
}

PYX_RESULT PYXPacketStore::Close()
{
    if (m_open && m_pFile)
    {
        FAIL_IF_NOT(!m_fileName.empty(), PYX_NOT_INITIALIZED, m_texts.closeNoName);
        m_open = false;
        static_cast<void>(m_pFile->Close());
    }
    return PYX_OK;
}

void PYXPacketStore::FreeMemory()
{
    static_cast<void>(m_memory.Close());
}
