#include "RingBufferInputs.h"

#include "RingBufferImpl.h"

#include "common/PropertyReader.h"
#include "common/StreamProperties.h"
#include "common/Trace.h"

#include <cwchar>
#include <utility>

namespace
{

constexpr const PYXTraceSource& c_traceSource = c_ringBufferTraceSource;

/// The frame-type properties of the encoders, in the order in which they are
/// asked for, and how many of their lowest values start a group.
struct FrameTypeProperty
{
    const wchar_t* name;
    pyx_uint64 startTypes;
};

constexpr FrameTypeProperty c_frameTypes[] = {
    {PYX_PROPERTY_OUTPUT_DATA_TYPE, 2},
    {PYX_PROPERTY_HEVC_OUTPUT_DATA_TYPE, 2},
    {PYX_PROPERTY_AV1_OUTPUT_FRAME_TYPE, 1},
};

/// The first property that can be read decides. Fails with the first read's
/// result when none can.
PYX_RESULT ReadIsStartPacket(PYXBuffer* pBuffer, bool* pIsStart)
{
    PYX_RESULT firstResult = PYX_OK;
    for (const FrameTypeProperty& property : c_frameTypes)
    {
        pyx_int64 type = 2;
        const PYX_RESULT result = PYXReadProperty(pBuffer, property.name, &type);
        if (result == PYX_OK)
        {
            *pIsStart = static_cast<pyx_uint64>(type) < property.startTypes; // a negative type is a huge one
            return PYX_OK;
        }
        if (firstResult == PYX_OK)
        {
            firstResult = result;
        }
    }
    return firstResult;
}

} // namespace

PYXRingBufferInput::PYXRingBufferInput(PYXRingBufferHostLink pHost, std::span<const PYXPropertyDeclaration> properties)
    : m_pHost(std::move(pHost))
{
    for (const PYXPropertyDeclaration& property : properties)
    {
        DeclareProperty(property);
    }
}

pyx_uint32 PYXRingBufferInput::Acquire()
{
    return m_count.Increment();
}

pyx_uint32 PYXRingBufferInput::Release()
{
    const pyx_uint32 count = m_count.Decrement();
    if (count == 0)
    {
        delete this;
    }
    return count;
}

pyx_uint32 PYXRingBufferInput::GetRefCount()
{
    return m_count.Get();
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
    PYXRingBufferImpl* const pHost = *m_pHost;
    FAIL_IF_NOT(pHost != nullptr, PYX_UNEXPECTED, L"SetProperty() - Host not Initialized");
    FAIL_IF_NOT(pHost->GetMuxer(), PYX_NOT_INITIALIZED, L"SetProperty() - Internal component not initialized");
    PYXLock lock(pHost->GetSync());
    bool store = true;
    if (const PYX_RESULT result = MirrorToMuxer(pHost, name, value, &store); result != PYX_OK || !store)
    {
        return result;
    }
    FAIL_IF_NOT(name != nullptr, PYX_INVALID_POINTER, L"invalid pointer : name");
    return PYXPropertyStorageExImpl::SetProperty(name, value);
}

/// Sets the value on the muxer's first input of the same stream type. A null
/// input among those before it ends everything: `*pStore` becomes false, and the
/// caller answers PYX_OK without storing. That success is part of the contract.
PYX_RESULT PYXRingBufferInput::MirrorToMuxer(PYXRingBufferImpl* pHost, const wchar_t* name, const PYXVariant& value,
                                             bool* pStore)
{
    pyx_int64 streamType = 0;
    PASS_ON_FAILURE(PYXReadProperty(this, PYX_PROPERTY_STREAM_TYPE, &streamType), L"SetProperty() failed");
    const auto spMuxerEx = pHost->GetMuxer().Query<PYXComponentEx>();
    FAIL_IF_NOT(spMuxerEx, PYX_NO_INTERFACE, L"Muxer is of invalid type");

    for (pyx_int32 i = 0; i < spMuxerEx->GetInputCount(); ++i)
    {
        PYXInterfacePtr<PYXInput> spInput;
        PASS_ON_FAILURE(spMuxerEx->GetInput(i, spInput.Out()), L"Muxer has invalid input stream");
        *pStore = static_cast<bool>(spInput);
        FAIL_IF_NOT(spInput, PYX_OK, L"Muxer input stream is NULL");
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

void PYXRingBufferInput::OnPropertyChanged(const wchar_t* name)
{
    PYXRingBufferImpl* const pHost = *m_pHost;
    if (pHost && wcscmp(name, PYX_PROPERTY_ENABLED) == 0)
    {
        PYXLock lock(pHost->GetSync());
        PYXReadProperty(this, PYX_PROPERTY_ENABLED, &m_enabled);
    }
}

PYX_RESULT PYXRingBufferInput::TakePacket(PYXData* pData, PYXRingBufferImpl** ppHost,
                                          PYXInterfacePtr<PYXBuffer>* pspBuffer)
{
    *ppHost = *m_pHost;
    FAIL_IF_NOT(*ppHost != nullptr, PYX_UNEXPECTED, L"SubmitInput() - Host not Initialized");
    if (!pData)
    {
        return PYX_EOF;
    }
    if (!m_enabled)
    {
        return PYX_OK;
    }
    ++m_packetCount; // counts the packets that fail below too
    void* pBuffer = nullptr;
    FAIL_IF_NOT(pData->QueryInterface(PYXBuffer::c_id, &pBuffer) == PYX_OK && pBuffer, PYX_UNEXPECTED,
                L"SubmitInput() - invalid pointer type");
    *pspBuffer->Out() = static_cast<PYXBuffer*>(pBuffer);
    return PYX_OK;
}

PYXRingBufferVideoInput::PYXRingBufferVideoInput(PYXRingBufferHostLink pHost)
    : PYXRingBufferInput(std::move(pHost), PYX_VIDEO_STREAM_PROPERTIES)
{
}

PYXRingBufferVideoInput::~PYXRingBufferVideoInput()
{
    Trace(c_traceSource.source, __LINE__, PYX_TRACE_INFO, c_traceSource.scope, 1, L"Video stream - packets written %d",
          static_cast<pyx_int32>(m_packetCount));
}

PYX_RESULT PYXRingBufferVideoInput::SubmitInput(PYXData* pData)
{
    PYXRingBufferImpl* pHost = nullptr;
    PYXInterfacePtr<PYXBuffer> spBuffer;
    if (const PYX_RESULT result = TakePacket(pData, &pHost, &spBuffer); result != PYX_OK || !spBuffer)
    {
        return result;
    }
    bool isStart = false;
    PASS_ON_FAILURE(ReadIsStartPacket(spBuffer.Get(), &isStart), L"SubmitInput() unable to get video frame type");
    if (isStart)
    {
        PASS_ON_FAILURE(pHost->AddVideoStartPacket(spBuffer.Get()), L"SubmitInput() failed to store the start packet");
    }
    else
    {
        PASS_ON_FAILURE(pHost->AddVideoRegularPacket(spBuffer.Get()),
                        L"SubmitInput() failed to store the regular packet");
    }
    return PYX_OK;
}

PYXRingBufferAudioInput::PYXRingBufferAudioInput(PYXRingBufferHostLink pHost)
    : PYXRingBufferInput(std::move(pHost), PYX_AUDIO_STREAM_PROPERTIES)
{
}

PYXRingBufferAudioInput::~PYXRingBufferAudioInput()
{
    Trace(c_traceSource.source, __LINE__, PYX_TRACE_INFO, c_traceSource.scope, 1, L"Audio stream - packets written %d",
          static_cast<pyx_int32>(m_packetCount));
}

PYX_RESULT PYXRingBufferAudioInput::SubmitInput(PYXData* pData)
{
    PYXRingBufferImpl* pHost = nullptr;
    PYXInterfacePtr<PYXBuffer> spBuffer;
    if (const PYX_RESULT result = TakePacket(pData, &pHost, &spBuffer); result != PYX_OK || !spBuffer)
    {
        return result;
    }
    PASS_ON_FAILURE(pHost->AddAudioPacket(spBuffer.Get()), L"SubmitInput() failed to store the audio packet");
    return PYX_OK;
}
