#include "RingBufferInputs.h"

#include "common/KeyPacket.h"
#include "common/PropertyNames.h"
#include "common/PropertyReader.h"
#include "common/StreamProperties.h"
#include "RingBufferTrace.h"

#include <cwchar>
#include <utility>

namespace
{

constexpr const PYXTraceSource& c_traceSource = c_ringBufferTraceSource;

/// Sets a property on the muxer's first input of the stream type; without such an input nothing happens. `*pIsNull`:
/// the muxer has handed out a null input, and nothing more is to be done.
PYX_RESULT MirrorProperty(const PYXInterfacePtr<PYXComponent>& spMuxer, pyx_int64 streamType, const wchar_t* name,
                          const PYXVariant& value, bool* pIsNull)
{
    const auto spMuxerEx = spMuxer.Query<PYXComponentEx>();
    FAIL_IF_NOT(spMuxerEx, PYX_NO_INTERFACE, L"Muxer is of invalid type");
    for (pyx_int32 i = 0; i < spMuxerEx->GetInputCount(); ++i)
    {
        PYXInterfacePtr<PYXInput> spInput;
        PASS_ON_FAILURE(spMuxerEx->GetInput(i, spInput.Out()), L"Muxer has invalid input stream");
        *pIsNull = !spInput;
        FAIL_IF_NOT(spInput, PYX_OK, L"Muxer input stream is NULL"); // Hosts rely on this success.
        pyx_int64 muxerStreamType = 0;
        PASS_ON_FAILURE(PYXReadProperty(spInput.Get(), PYX_PROPERTY_STREAM_TYPE, &muxerStreamType),
                        L"Muxer input GetProperty() failed");
        if (muxerStreamType == streamType)
        {
            PASS_ON_FAILURE(spInput->SetProperty(name, value), L"Unable to set property for muxer");
            return PYX_OK;
        }
    }
    return PYX_OK;
}

} // namespace

PYXRingBufferInput::PYXRingBufferInput(std::shared_ptr<PYXRingBufferCache> pCache, PYXSharedMuxer pMuxer,
                                       std::span<const PYXPropertyDeclaration> properties, const wchar_t* endText)
    : m_pCache(std::move(pCache)), m_pMuxer(std::move(pMuxer)), m_hasMuxer(*m_pMuxer), m_endText(endText)
{
    for (const PYXPropertyDeclaration& property : properties)
    {
        DeclareProperty(property);
    }
}

PYXRingBufferInput::~PYXRingBufferInput()
{
    TRACE_INFO(m_endText, static_cast<pyx_int32>(m_packetCount.load()));
    ReleaseValues();
}

PYX_RESULT PYXRingBufferInput::QueryInterface(const PYXGuid& id, void** out)
{
    return PYXQueryInterface<PYXInterface, PYXPropertyStorage, PYXPropertyStorageEx, PYXInput>(
        static_cast<PYXInput*>(this), id, out);
}

PYX_RESULT PYXRingBufferInput::SetProperty(const wchar_t* name, PYXVariant value)
{
    FAIL_IF_NOT(m_pCache->IsOpen(), PYX_UNEXPECTED, L"SetProperty() - Host not Initialized");
    FAIL_IF_NOT(m_hasMuxer, PYX_NOT_INITIALIZED, L"SetProperty() - Internal component not initialized");
    PYXRingBufferCache& cache = *m_pCache;
    PYXLock lock(&cache);
    if (!cache.IsOpen())
    {
        return PYX_UNEXPECTED; // the component has ended meanwhile
    }
    pyx_int64 streamType = 0;
    PASS_ON_FAILURE(PYXReadProperty(this, PYX_PROPERTY_STREAM_TYPE, &streamType), L"SetProperty() failed");
    bool isNull = false;
    PASS_ON_FAILURE_SILENTLY(MirrorProperty(*m_pMuxer, streamType, name, value, &isNull));
    if (isNull)
    {
        return PYX_OK;
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

PYX_RESULT PYXRingBufferInput::Accept(PYXData* pData, PYXInterfacePtr<PYXBuffer>* pspBuffer)
{
    FAIL_IF_NOT(m_pCache->IsOpen(), PYX_UNEXPECTED, L"SubmitInput() - Host not Initialized");
    if (!pData)
    {
        return PYX_EOF;
    }
    if (m_enabled)
    {
        ++m_packetCount; // counts the packets that fail below too
        *pspBuffer = PYXQuery<PYXBuffer>(pData);
        FAIL_IF_NOT(*pspBuffer, PYX_UNEXPECTED, L"SubmitInput() - invalid pointer type");
    }
    return PYX_OK;
}

PYX_RESULT PYXRingBufferInput::Store(PYX_RESULT (PYXRingBufferCache::*pAdd)(PYXBuffer*), PYXBuffer* pBuffer)
{
    PYXRingBufferCache& cache = *m_pCache;
    PYXLock lock(&cache);
    return cache.IsOpen() ? (cache.*pAdd)(pBuffer) : PYX_UNEXPECTED; // the component may have ended meanwhile
}

PYXRingBufferVideoInput::PYXRingBufferVideoInput(std::shared_ptr<PYXRingBufferCache> pCache, PYXSharedMuxer pMuxer)
    : PYXRingBufferInput(std::move(pCache), std::move(pMuxer), PYX_VIDEO_STREAM_PROPERTIES,
                         L"Video stream - packets written %d")
{
}

PYX_RESULT PYXRingBufferVideoInput::SubmitInput(PYXData* pData)
{
    PYXInterfacePtr<PYXBuffer> spBuffer;
    PASS_ON_FAILURE_SILENTLY(Accept(pData, &spBuffer));
    if (!spBuffer)
    {
        return PYX_OK;
    }
    bool isStart = false;
    PASS_ON_FAILURE(PYXReadIsKeyPacket(spBuffer.Get(), &isStart), L"SubmitInput() unable to get video frame type");
    if (isStart)
    {
        PASS_ON_FAILURE(Store(&PYXRingBufferCache::AddVideoStartPacket, spBuffer.Get()),
                        L"SubmitInput() failed to store the start packet");
        return PYX_OK;
    }
    PASS_ON_FAILURE(Store(&PYXRingBufferCache::AddVideoRegularPacket, spBuffer.Get()),
                    L"SubmitInput() failed to store the regular packet");
    return PYX_OK;
}

PYXRingBufferAudioInput::PYXRingBufferAudioInput(std::shared_ptr<PYXRingBufferCache> pCache, PYXSharedMuxer pMuxer)
    : PYXRingBufferInput(std::move(pCache), std::move(pMuxer), PYX_AUDIO_STREAM_PROPERTIES,
                         L"Audio stream - packets written %d")
{
}

PYX_RESULT PYXRingBufferAudioInput::SubmitInput(PYXData* pData)
{
    PYXInterfacePtr<PYXBuffer> spBuffer;
    PASS_ON_FAILURE_SILENTLY(Accept(pData, &spBuffer));
    if (spBuffer)
    {
        PASS_ON_FAILURE(Store(&PYXRingBufferCache::AddAudioPacket, spBuffer.Get()),
                        L"SubmitInput() failed to store the audio packet");
    }
    return PYX_OK;
}
