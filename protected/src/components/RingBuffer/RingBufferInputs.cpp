#include "RingBufferInputs.h"

#include "common/KeyPacket.h"
#include "common/PropertyNames.h"
#include "common/PropertyReader.h"
#include "common/StreamProperties.h"
#include "RingBufferTrace.h"

#include <cwchar>
#include <optional>
#include <utility>

namespace
{

constexpr const PYXTraceSource& c_traceSource = c_ringBufferTraceSource;

} // namespace

PYXRingBufferInput::PYXRingBufferInput(std::shared_ptr<PYXRingBufferCache> pCache,
                                       std::shared_ptr<PYXRingBufferMuxer> pMuxer,
                                       std::span<const PYXPropertyDeclaration> properties, const wchar_t* endText)
    : m_pCache(std::move(pCache)), m_pMuxer(std::move(pMuxer)), m_endText(endText)
{
    for (const PYXPropertyDeclaration& property : properties)
    {
        DeclareProperty(property);
    }
}

PYXRingBufferInput::~PYXRingBufferInput()
{
    TRACE_INFO(m_endText, static_cast<pyx_int32>(m_packetCount.load()));
}

PYX_RESULT PYXRingBufferInput::QueryInterface(const PYXGuid& id, void** out)
{
    if (id == PYXInput::c_id || id == PYXInterface::c_id)
    {
        *out = static_cast<PYXInput*>(this);
        Acquire();
        return PYX_OK;
    }
    return PYXPropertyStorageExImpl::QueryInterface(id, out);
}

PYX_RESULT PYXRingBufferInput::SetProperty(const wchar_t* name, PYXVariant value)
{
    PYXLock lock(m_pCache.get());
    FAIL_IF_NOT(m_pCache->IsOpen(), PYX_UNEXPECTED, L"SetProperty() - Host not Initialized");
    FAIL_IF_NOT(m_pMuxer->Get(), PYX_NOT_INITIALIZED, L"SetProperty() - Internal component not initialized");
    pyx_int64 streamType = 0;
    PASS_ON_FAILURE(PYXReadProperty(this, PYX_PROPERTY_STREAM_TYPE, &streamType), L"SetProperty() failed");
    if (const std::optional<PYX_RESULT> answer = m_pMuxer->MirrorProperty(streamType, name, value))
    {
        return *answer;
    }
    FAIL_IF_NOT(name != nullptr, PYX_INVALID_POINTER, L"invalid pointer : name");
    return PYXPropertyStorageExImpl::SetProperty(name, value);
}

void PYXRingBufferInput::OnPropertyChanged(const wchar_t* name)
{
    if (wcscmp(name, PYX_PROPERTY_ENABLED) == 0)
    {
        PYXLock lock(m_pCache.get());
        m_enabled = PYXReadPropertyOr<bool>(this, PYX_PROPERTY_ENABLED, m_enabled);
    }
}

PYX_RESULT PYXRingBufferInput::SubmitInput(PYXData* pData)
{
    PASS_ON_FAILURE_SILENTLY(CheckOpen());
    if (!pData)
    {
        return PYX_EOF;
    }
    if (!m_enabled)
    {
        return PYX_OK;
    }
    ++m_packetCount; // counts the packets that fail below too
    PYXInterfacePtr<PYXBuffer> spBuffer;
    void* pBuffer = nullptr;
    if (pData->QueryInterface(PYXBuffer::c_id, &pBuffer) == PYX_OK)
    {
        *spBuffer.Out() = static_cast<PYXBuffer*>(pBuffer);
    }
    FAIL_IF_NOT(spBuffer, PYX_UNEXPECTED, L"SubmitInput() - invalid pointer type");
    return StorePacket(spBuffer.Get());
}

PYX_RESULT PYXRingBufferInput::CheckOpen() const
{
    FAIL_IF_NOT(m_pCache->IsOpen(), PYX_UNEXPECTED, L"SubmitInput() - Host not Initialized");
    return PYX_OK;
}

PYXRingBufferVideoInput::PYXRingBufferVideoInput(std::shared_ptr<PYXRingBufferCache> pCache,
                                                 std::shared_ptr<PYXRingBufferMuxer> pMuxer)
    : PYXRingBufferInput(std::move(pCache), std::move(pMuxer), PYX_VIDEO_STREAM_PROPERTIES,
                         L"Video stream - packets written %d")
{
}

PYX_RESULT PYXRingBufferVideoInput::StorePacket(PYXBuffer* pBuffer)
{
    bool isStart = false;
    PASS_ON_FAILURE(PYXReadIsKeyPacket(pBuffer, &isStart), L"SubmitInput() unable to get video frame type");
    PYXLock lock(m_pCache.get());
    PASS_ON_FAILURE_SILENTLY(CheckOpen()); // the component may have ended meanwhile
    if (isStart)
    {
        PASS_ON_FAILURE(m_pCache->AddVideoStartPacket(pBuffer), L"SubmitInput() failed to store the start packet");
        return PYX_OK;
    }
    PASS_ON_FAILURE(m_pCache->AddVideoRegularPacket(pBuffer), L"SubmitInput() failed to store the regular packet");
    return PYX_OK;
}

PYXRingBufferAudioInput::PYXRingBufferAudioInput(std::shared_ptr<PYXRingBufferCache> pCache,
                                                 std::shared_ptr<PYXRingBufferMuxer> pMuxer)
    : PYXRingBufferInput(std::move(pCache), std::move(pMuxer), PYX_AUDIO_STREAM_PROPERTIES,
                         L"Audio stream - packets written %d")
{
}

PYX_RESULT PYXRingBufferAudioInput::StorePacket(PYXBuffer* pBuffer)
{
    PYXLock lock(m_pCache.get());
    PASS_ON_FAILURE_SILENTLY(CheckOpen()); // the component may have ended meanwhile
    PASS_ON_FAILURE(m_pCache->AddAudioPacket(pBuffer), L"SubmitInput() failed to store the audio packet");
    return PYX_OK;
}
