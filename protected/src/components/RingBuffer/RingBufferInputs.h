#pragma once

#include "common/Component.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "common/PropertyStorageExImpl.h"
#include "common/RefCounted.h"

#include <atomic>
#include <memory>
#include <span>

class PYXRingBufferImpl;

/// An input's way to its component, shared by the component and every input that
/// it ever created; null once the component has ended. A host may hold an input
/// longer than the component does: a switched-off input still feeds the
/// component, and an input whose component is gone answers PYX_UNEXPECTED.
using PYXRingBufferHostLink = std::shared_ptr<std::atomic<PYXRingBufferImpl*>>;

/// One stream into the ring buffer: carries its description, mirrors it to the
/// muxer, and hands its packets to the component. Holds no packets itself.
///
/// Threads: the two inputs may be called from different threads; what they share
/// lies in the component and is guarded by the component's lock.
/// Lifetime: counted; held by the component and by hosts. No packet may be under
/// way while the component ends.
class PYXRingBufferInput : public PYXPropertyStorageExImpl<PYXInput>, public PYXDestructible
{
public:
    // PYXInterface
    pyx_uint32 Acquire() override;
    pyx_uint32 Release() override;
    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override;

    /// Forwards the value to the muxer's first input of the same stream type,
    /// then stores it here. What the muxer took and this input refuses stays set
    /// on the muxer.
    PYX_RESULT SetProperty(const wchar_t* name, PYXVariant value) override;

    void OnPropertyChanged(const wchar_t* name) override;
    virtual pyx_uint32 GetRefCount();

protected:
    PYXRingBufferInput(PYXRingBufferHostLink pHost, std::span<const PYXPropertyDeclaration> properties);

    /// The part of SubmitInput that both kinds share. PYX_OK with `*pspBuffer`
    /// null: the packet is dropped, as a disabled input does. PYX_EOF: null
    /// packet. PYX_UNEXPECTED: no component, or the packet is no buffer.
    /// `*ppHost` is borrowed.
    PYX_RESULT TakePacket(PYXData* pData, PYXRingBufferImpl** ppHost, PYXInterfacePtr<PYXBuffer>* pspBuffer);

    const PYXRingBufferHostLink m_pHost; // holds no reference to the component
    bool m_enabled = true;               // copy of "Enabled"
    pyx_uint64 m_packetCount = 0;

private:
    PYX_RESULT MirrorToMuxer(PYXRingBufferImpl* pHost, const wchar_t* name, const PYXVariant& value, bool* pStore);

    PYXReferenceCount m_count;
};

/// Tells start packets from regular ones by the packet's frame type.
class PYXRingBufferVideoInput final : public PYXRingBufferInput
{
public:
    explicit PYXRingBufferVideoInput(PYXRingBufferHostLink pHost);
    ~PYXRingBufferVideoInput() override;

    PYX_RESULT SubmitInput(PYXData* pData) override;
};

/// Queues audio packets; their time stamps decide where they go.
class PYXRingBufferAudioInput final : public PYXRingBufferInput
{
public:
    explicit PYXRingBufferAudioInput(PYXRingBufferHostLink pHost);
    ~PYXRingBufferAudioInput() override;

    PYX_RESULT SubmitInput(PYXData* pData) override;
};
