#include "RingBufferGOP.h"

#include "common/DataStreamFile.h"
#include "common/DataStreamMemory.h"
#include "common/Trace.h"

#include <windows.h>

#include <utility>

namespace
{

constexpr PYXTraceSource c_traceSource{L"components/RingBuffer/RingBufferGOP", L"PYXRingBufferGOP"};

/// Numbers the groups of the process for their file names; not locked.
pyx_int32 s_gopCounter = 0;

std::unique_ptr<PYXDataStreamImpl> CreateStream(bool inRam)
{
    if (inRam)
    {
        return std::make_unique<PYXDataStreamMemoryImpl>();
    }
    return std::make_unique<PYXDataStreamFileImpl>();
}

} // namespace

/// Where the two kinds of packets differ in what is traced.
struct PYXRingBufferGOP::StoreTexts
{
    const wchar_t* addOpenFailed;
    const wchar_t* addWriteFailed;
    const wchar_t* openNoName;
    const wchar_t* openFailed;
    const wchar_t* closeNoName;
};

/// One of the group's two stores with all that belongs to it, borrowed.
struct PYXRingBufferGOP::Store
{
    std::vector<PacketEntry>& packets;
    std::wstring& fileName;
    std::unique_ptr<PYXDataStreamImpl>& pStream;
    bool& open;
    const StoreTexts& texts;
};

PYXRingBufferGOP::Store PYXRingBufferGOP::VideoStore()
{
    static constexpr StoreTexts c_texts{
        L"AddVideoPacket() - Failed to open the temporary file %s.",
        L"AddVideoPacket() - Failed to write the buffer information to temporary file.",
        L"OpenVideoFile() - Video file name doesn't exist.",
        L"OpenVideoFile() - Failed to open the temporary file %s.",
        L"CloseVideoFile() - Video file name doesn't exist.",
    };
    return {m_videoPackets, m_videoTempFileName, m_pVideoStream, m_videoFileOpen, c_texts};
}

PYXRingBufferGOP::Store PYXRingBufferGOP::AudioStore()
{
    static constexpr StoreTexts c_texts{
        L"AddAudioPacket() - Failed to open the temporary file %s.",
        L"AddAudioPacket() - Failed to write the buffer information to temporary file.",
        L"OpenAudioFile() - Audio file name doesn't exist.",
        L"OpenAudioFile() - Failed to open the temporary file %s.",
        L"CloseAudioFile() - Audio file name doesn't exist.",
    };
    return {m_audioPackets, m_audioTempFileName, m_pAudioStream, m_audioFileOpen, c_texts};
}

PYXRingBufferGOP::PYXRingBufferGOP(PYXContext* pContext, const std::wstring& tempPath, bool inRam)
    : m_spContext(pContext), m_inRam(inRam)
{
    s_gopCounter = s_gopCounter + 1;
    const std::wstring number = FormatText(L"%d", s_gopCounter);
    if (!tempPath.empty())
    {
        std::wstring directory = tempPath;
        if (directory.back() != L'\\' && directory.back() != L'/')
        {
            directory += L'\\';
        }
        m_videoTempFileName = directory + L"Temp" + number + L".RBV";
        m_audioTempFileName = directory + L"Temp" + number + L".RBA";
    }
    m_pVideoStream = CreateStream(m_inRam);
    m_pAudioStream = CreateStream(m_inRam);
}

PYXRingBufferGOP::~PYXRingBufferGOP()
{
    DestroyStore(VideoStore());
    DestroyStore(AudioStore());
}

PYX_RESULT PYXRingBufferGOP::AddVideoPacket(PYXBuffer* pVideo)
{
    FAIL_IF_NOT(m_spContext, PYX_NOT_INITIALIZED, L"AddVideoPacket() - Context not initialized");
    FAIL_IF_NOT(pVideo, PYX_INVALID_ARG, L"AddVideoPacket() - Invalid buffer passed in");
    PYXLock lock(this);
    return AddPacket(VideoStore(), pVideo);
}

PYX_RESULT PYXRingBufferGOP::AddAudioPacket(PYXBuffer* pAudio)
{
    FAIL_IF_NOT(m_spContext, PYX_NOT_INITIALIZED, L"AddAudioPacket() - Context not initialized");
    FAIL_IF_NOT(pAudio, PYX_INVALID_ARG, L"AddAudioPacket() - Invalid buffer passed in");
    PYXLock lock(this);
    if (m_videoPackets.empty())
    {
        return PYX_NOT_FOUND;
    }
    if (pAudio->GetPts() < m_videoPackets.front().spData->GetPts())
    {
        return PYX_OUT_OF_RANGE;
    }
    return AddPacket(AudioStore(), pAudio);
}

/// The first packet opens the store. After a failed write the store may hold
/// bytes that no record covers; nothing takes them out again.
PYX_RESULT PYXRingBufferGOP::AddPacket(const Store& store, PYXBuffer* pPacket)
{
    PacketEntry entry;
    entry.size = static_cast<pyx_int64>(pPacket->GetSize());
    if (store.packets.empty())
    {
        PASS_ON_FAILURE(OpenStore(store, PYX_STREAM_MODE_READ_WRITE), store.texts.addOpenFailed,
                        store.fileName.c_str());
    }
    else
    {
        entry.offset = store.packets.back().offset + store.packets.back().size;
    }
    PASS_ON_FAILURE(WritePacket(&entry, store.pStream.get(), pPacket), store.texts.addWriteFailed);
    store.packets.push_back(std::move(entry));
    return PYX_OK;
}

/// Copies properties and times into a new record and the bytes to the store's
/// current position, which is its end while the group fills.
PYX_RESULT PYXRingBufferGOP::WritePacket(PacketEntry* pPacket, PYXDataStream* pStream, PYXBuffer* pInput)
{
    PYXInterfacePtr<PYXBuffer> spData;
    PASS_ON_FAILURE(m_spContext->AllocBuffer(PYX_MEMORY_HOST, 1, spData.Out()),
                    L"WritePacket() - Buffer allocation failed.");
    PASS_ON_FAILURE(pInput->CopyTo(spData.Get(), true), L"WritePacket() - Failed to duplicate all properties.");
    pPacket->spData = std::move(spData);
    pPacket->spData->SetPts(pInput->GetPts());
    pPacket->spData->SetDuration(pInput->GetDuration());

    const auto size = static_cast<pyx_uint64>(pPacket->size);
    pyx_uint64 writtenBytes = 0;
    PASS_ON_FAILURE(pStream->Write(pInput->GetNative(), size, &writtenBytes),
                    L"WritePacket() - Failed to write packet information to file.");
    // Kept so: a short write answers PYX_FAIL where a short read answers PYX_UNEXPECTED.
    FAIL_IF_NOT(writtenBytes == size, PYX_FAIL, L"WritePacket() - Failed to write all the frame bytes to file.");
    return PYX_OK;
}

/// Leaves `*ppOut` untouched on failure.
PYX_RESULT PYXRingBufferGOP::ReadPacket(const PacketEntry& packet, PYXDataStream* pStream, PYXBuffer** ppOut)
{
    PYXInterfacePtr<PYXBuffer> spBuffer;
    PASS_ON_FAILURE(m_spContext->AllocBuffer(PYX_MEMORY_HOST, static_cast<pyx_size>(packet.size), spBuffer.Out()),
                    L"ReadPacket() - Buffer allocation failed.");
    PASS_ON_FAILURE(packet.spData->CopyTo(spBuffer.Get(), true), L"ReadPacket() - Failed to duplicate all properties.");
    spBuffer->SetPts(packet.spData->GetPts());
    spBuffer->SetDuration(packet.spData->GetDuration());

    PASS_ON_FAILURE(pStream->Seek(PYX_STREAM_SEEK_BEGIN, packet.offset, nullptr),
                    L"ReadPacket() - Failed to seek to the required position in the temporary file.");
    pyx_uint64 bytesRead = 0;
    PASS_ON_FAILURE(pStream->Read(spBuffer->GetNative(), static_cast<pyx_uint64>(packet.size), &bytesRead),
                    L"ReadPacket() - Failed to read from the temporary file.");
    FAIL_IF_NOT(bytesRead == static_cast<pyx_uint64>(packet.size), PYX_UNEXPECTED,
                L"ReadPacket() - Failed to read the required number of bytes.");
    *ppOut = spBuffer.Detach();
    return PYX_OK;
}

PYX_RESULT PYXRingBufferGOP::GetVideoPacket(pyx_int32 idx, PYXBuffer** ppVideo)
{
    FAIL_IF_NOT(m_spContext, PYX_NOT_INITIALIZED, L"GetVideoPacket() - Context not initialized.");
    FAIL_IF_NOT(idx >= 0 && idx < static_cast<pyx_int32>(GetVideoPacketCount()), PYX_INVALID_ARG,
                L"GetVideoPacket() - Invalid index requested.");
    FAIL_IF_NOT(ppVideo, PYX_INVALID_ARG, L"GetVideoPacket() - Invalid pointer passed in.");
    *ppVideo = nullptr;
    PYXLock lock(this);
    return ReadPacket(m_videoPackets[static_cast<size_t>(idx)], m_pVideoStream.get(), ppVideo);
}

// Kept so: these texts end without a full stop, unlike those for video.
PYX_RESULT PYXRingBufferGOP::GetAudioPacket(pyx_int32 idx, PYXBuffer** ppAudio)
{
    FAIL_IF_NOT(m_spContext, PYX_NOT_INITIALIZED, L"GetAudioPacket() - Context not initialized");
    FAIL_IF_NOT(idx >= 0 && idx < static_cast<pyx_int32>(GetAudioPacketCount()), PYX_INVALID_ARG,
                L"GetAudioPacket() - Invalid index requested");
    FAIL_IF_NOT(ppAudio, PYX_INVALID_ARG, L"GetAudioPacket() - Invalid pointer passed in");
    *ppAudio = nullptr;
    PYXLock lock(this);
    return ReadPacket(m_audioPackets[static_cast<size_t>(idx)], m_pAudioStream.get(), ppAudio);
}

pyx_size PYXRingBufferGOP::GetVideoPacketCount()
{
    PYXLock lock(this);
    return m_videoPackets.size();
}

pyx_size PYXRingBufferGOP::GetAudioPacketCount()
{
    PYXLock lock(this);
    return m_audioPackets.size();
}

pyx_int64 PYXRingBufferGOP::GetPts()
{
    PYXLock lock(this);
    FAIL_IF_NOT(!m_videoPackets.empty(), -1, L"GetPts() - Call made when no packets in yet.");
    FAIL_IF_NOT(m_videoPackets.front().spData, -1, L"GetPts() - invalid data packet pointer.");
    return m_videoPackets.front().spData->GetPts();
}

pyx_int64 PYXRingBufferGOP::GetDuration()
{
    PYXLock lock(this);
    // Kept so: the texts name the other operation, as they always have in hosts' logs.
    FAIL_IF_NOT(!m_videoPackets.empty(), -1, L"GetPts() - Call made when no packets in yet.");
    FAIL_IF_NOT(m_videoPackets.front().spData, -1, L"GetPts() - invalid data packet pointer.");
    FAIL_IF_NOT(m_videoPackets.back().spData, -1, L"GetPts() - invalid data packet pointer.");
    PYXBuffer* const pLast = m_videoPackets.back().spData.Get();
    return PYXAddTicks(PYXSubtractTicks(pLast->GetPts(), m_videoPackets.front().spData->GetPts()),
                       pLast->GetDuration());
}

PYX_RESULT PYXRingBufferGOP::OpenVideoFile(pyx_uint32 mode)
{
    return OpenStore(VideoStore(), mode);
}

PYX_RESULT PYXRingBufferGOP::OpenAudioFile(pyx_uint32 mode)
{
    return OpenStore(AudioStore(), mode);
}

PYX_RESULT PYXRingBufferGOP::CloseVideoFile()
{
    return CloseStore(VideoStore());
}

PYX_RESULT PYXRingBufferGOP::CloseAudioFile()
{
    return CloseStore(AudioStore());
}

PYX_RESULT PYXRingBufferGOP::OpenStore(const Store& store, pyx_uint32 mode)
{
    if (store.open)
    {
        return PYX_OK;
    }
    if (!m_inRam)
    {
        FAIL_IF_NOT(!store.fileName.empty(), PYX_NOT_INITIALIZED, store.texts.openNoName);
        PASS_ON_FAILURE(store.pStream->Open(store.fileName.c_str(), mode, PYX_STREAM_SHARE_NONE),
                        store.texts.openFailed, store.fileName.c_str());
    }
    store.open = true;
    return PYX_OK;
}

PYX_RESULT PYXRingBufferGOP::CloseStore(const Store& store)
{
    if (store.open && !m_inRam)
    {
        FAIL_IF_NOT(!store.fileName.empty(), PYX_NOT_INITIALIZED, store.texts.closeNoName);
        store.open = false;
        store.pStream->Close();
    }
    return PYX_OK;
}

void PYXRingBufferGOP::DestroyStore(const Store& store)
{
    if (m_inRam)
    {
        store.pStream->Close();
        store.pStream.reset();
    }
    else if (!store.fileName.empty())
    {
        if (!store.packets.empty())
        {
            CloseStore(store);
            DeleteFileW(store.fileName.c_str());
        }
        store.fileName.clear();
        store.packets.clear();
        store.pStream.reset();
    }
    else
    {
        // Kept so: without a file name the stream was never opened and is left
        // behind, some hundred bytes a group.
        static_cast<void>(store.pStream.release()); // NOLINT(bugprone-unused-return-value)
    }
}
