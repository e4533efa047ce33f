#include "RingBufferGOP.h"

#include "RingBufferTrace.h"

namespace
{

constexpr const PYXTraceSource& c_traceSource = c_groupTraceSource;

constexpr PYXPacketStoreTexts c_videoTexts{
    L"AddVideoPacket() - Failed to open the temporary file %s.",
    L"AddVideoPacket() - Failed to write the buffer information to temporary file.",
    L"OpenVideoFile() - Video file name doesn't exist.",
    L"OpenVideoFile() - Failed to open the temporary file %s.",
    L"CloseVideoFile() - Video file name doesn't exist.",
};

constexpr PYXPacketStoreTexts c_audioTexts{
    L"AddAudioPacket() - Failed to open the temporary file %s.",
    L"AddAudioPacket() - Failed to write the buffer information to temporary file.",
    L"OpenAudioFile() - Audio file name doesn't exist.",
    L"OpenAudioFile() - Failed to open the temporary file %s.",
    L"CloseAudioFile() - Audio file name doesn't exist.",
};

/// Numbers the groups of the process for their file names; not locked.
pyx_int32 s_gopCounter = 0;

/// The path of the next group's files without their extension, empty without files.
/// Each group takes a number, with files or not.
std::wstring TakeFileName(const std::wstring& tempPath, bool inRam)
{
    s_gopCounter = s_gopCounter + 1;
    if (inRam || tempPath.empty())
    {
        return {};
    }
    const bool endsInSeparator = tempPath.back() == L'\\' || tempPath.back() == L'/';
    return tempPath + (endsInSeparator ? L"Temp" : L"\\Temp") + std::to_wstring(s_gopCounter);
}

std::wstring AddExtension(const std::wstring& fileName, const wchar_t* extension)
{
    return fileName.empty() ? fileName : fileName + extension;
}

} // namespace

PYXRingBufferGOP::PYXRingBufferGOP(PYXContext* pContext, const std::wstring& tempPath, bool inRam,
                                   const PYXGroupMemory& memory)
    : m_spContext(pContext), m_fileName(TakeFileName(tempPath, inRam)),
      m_audio(pContext, inRam, memory.spAudio, AddExtension(m_fileName, L".RBA"), c_audioTexts),
      m_video(pContext, inRam, memory.spVideo, AddExtension(m_fileName, L".RBV"), c_videoTexts)
{
}

PYXRingBufferGOP::~PYXRingBufferGOP()
{
    // Memory goes before the records, whose buffers are the host's.
    m_video.FreeMemory();
    m_audio.FreeMemory();
}

PYX_RESULT PYXRingBufferGOP::AddVideoPacket(PYXBuffer* pVideo)
{
    FAIL_IF_NOT(m_spContext, PYX_NOT_INITIALIZED, L"AddVideoPacket() - Context not initialized");
    FAIL_IF_NOT(pVideo, PYX_INVALID_ARG, L"AddVideoPacket() - Invalid buffer passed in");
    PYXLock lock(this);
    return m_video.Add(pVideo);
}

PYX_RESULT PYXRingBufferGOP::AddAudioPacket(PYXBuffer* pAudio)
{
    FAIL_IF_NOT(m_spContext, PYX_NOT_INITIALIZED, L"AddAudioPacket() - Context not initialized");
    FAIL_IF_NOT(pAudio, PYX_INVALID_ARG, L"AddAudioPacket() - Invalid buffer passed in");
    PYXLock lock(this);
    if (m_video.GetCount() == 0)
    {
        return PYX_NOT_FOUND;
    }
    if (pAudio->GetPts() < m_video.GetFirst()->GetPts())
    {
        return PYX_OUT_OF_RANGE;
    }
    return m_audio.Add(pAudio);
}

PYX_RESULT PYXRingBufferGOP::GetVideoPacket(pyx_int32 idx, PYXBuffer** ppVideo)
{
    FAIL_IF_NOT(m_spContext, PYX_NOT_INITIALIZED, L"GetVideoPacket() - Context not initialized.");
    FAIL_IF_NOT(idx >= 0 && idx < static_cast<pyx_int32>(GetVideoPacketCount()), PYX_INVALID_ARG,
                L"GetVideoPacket() - Invalid index requested.");
    FAIL_IF_NOT(ppVideo, PYX_INVALID_ARG, L"GetVideoPacket() - Invalid pointer passed in.");
    *ppVideo = nullptr;
    PYXLock lock(this);
    return m_video.Read(static_cast<pyx_size>(idx), ppVideo);
}

// Hosts match these texts: they end without a full stop, unlike those for video.
PYX_RESULT PYXRingBufferGOP::GetAudioPacket(pyx_int32 idx, PYXBuffer** ppAudio)
{
    FAIL_IF_NOT(m_spContext, PYX_NOT_INITIALIZED, L"GetAudioPacket() - Context not initialized");
    FAIL_IF_NOT(idx >= 0 && idx < static_cast<pyx_int32>(GetAudioPacketCount()), PYX_INVALID_ARG,
                L"GetAudioPacket() - Invalid index requested");
    FAIL_IF_NOT(ppAudio, PYX_INVALID_ARG, L"GetAudioPacket() - Invalid pointer passed in");
    *ppAudio = nullptr;
    PYXLock lock(this);
    return m_audio.Read(static_cast<pyx_size>(idx), ppAudio);
}

pyx_size PYXRingBufferGOP::GetVideoPacketCount()
{
    PYXLock lock(this);
    return m_video.GetCount();
}

pyx_size PYXRingBufferGOP::GetAudioPacketCount()
{
    PYXLock lock(this);
    return m_audio.GetCount();
}

pyx_int64 PYXRingBufferGOP::GetPts()
{
    PYXLock lock(this);
    return CheckVideo() == PYX_OK ? m_video.GetFirst()->GetPts() : -1;
}

/// Hosts match these texts although they name GetPts() for GetDuration(), too.
PYX_RESULT PYXRingBufferGOP::CheckVideo() const
{
    FAIL_IF_NOT(m_video.GetCount() > 0, PYX_NOT_FOUND, L"GetPts() - Call made when no packets in yet.");
    FAIL_IF_NOT(m_video.GetFirst() && m_video.GetLast(), PYX_NOT_FOUND, L"GetPts() - invalid data packet pointer.");
    return PYX_OK;
}

pyx_int64 PYXRingBufferGOP::GetDuration()
{
    PYXLock lock(this);
    if (CheckVideo() != PYX_OK)
    {
        return -1;
    }
    const pyx_int64 toLast = PYXSubtractTicks(m_video.GetLast()->GetPts(), m_video.GetFirst()->GetPts());
    return PYXAddTicks(toLast, m_video.GetLast()->GetDuration());
}

PYX_RESULT PYXRingBufferGOP::OpenVideoFile(pyx_uint32 mode)
{
    return m_video.Open(mode);
}

PYX_RESULT PYXRingBufferGOP::OpenAudioFile(pyx_uint32 mode)
{
    return m_audio.Open(mode);
}

PYX_RESULT PYXRingBufferGOP::CloseVideoFile()
{
    return m_video.Close();
}

PYX_RESULT PYXRingBufferGOP::CloseAudioFile()
{
    return m_audio.Close();
}
