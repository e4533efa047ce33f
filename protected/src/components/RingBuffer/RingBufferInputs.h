#pragma once

#include "common/Component.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "common/PropertyStorageExImpl.h"
#include "common/RefCounted.h"
#include "common/RuntimeLoader.h"
#include "RingBufferCache.h"
#include "RingBufferMuxer.h"

#include <atomic>
#include <memory>
#include <span>

/// One stream into the ring buffer: carries its description, mirrors it to the
/// muxer, and hands its packets to the cache. Holds no packets itself.
///
/// Threads: the two inputs may be called from different threads, and while the
/// component ends; what they share is guarded by the cache's lock.
/// Lifetime: counted; held by the component and by hosts. An input that is switched
/// off still feeds its component; one whose component has ended answers
/// PYX_UNEXPECTED.
class PYXRingBufferInput : public PYXRefCounted<PYXPropertyStorageExImpl<PYXInput>>
{
public:
    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override;

    /// Forwards the value to the muxer's first input of the same stream type,
    /// then stores it here. What the muxer took and this input refuses stays set
    /// on the muxer. Holds the cache's lock to the end: the muxer and observers are
    /// called under it.
    PYX_RESULT SetProperty(const wchar_t* name, PYXVariant value) override;

    /// Null ends the stream: PYX_EOF. A disabled input drops its packets and
    /// answers PYX_OK. PYX_UNEXPECTED: the component has ended, or the packet is no
    /// buffer. Others are the cache's.
    PYX_RESULT SubmitInput(PYXData* pData) override;

    void OnPropertyChanged(const wchar_t* name) override;

protected:
    /// `endText` is traced at the end, with the number of packets.
    PYXRingBufferInput(std::shared_ptr<PYXRingBufferCache> pCache, std::shared_ptr<PYXRingBufferMuxer> pMuxer,
                       std::span<const PYXPropertyDeclaration> properties, const wchar_t* endText);
    ~PYXRingBufferInput() override;

    /// The kind's own step of SubmitInput: stores a packet that is wanted.
    virtual PYX_RESULT StorePacket(PYXBuffer* pBuffer) = 0;

    /// PYX_UNEXPECTED (traced) once the component has ended. To rely on PYX_OK, hold
    /// the cache's lock.
    PYX_RESULT CheckOpen() const;

    const std::shared_ptr<PYXRingBufferCache> m_pCache;

private:
    const std::shared_ptr<PYXRingBufferMuxer> m_pMuxer;
    const wchar_t* const m_endText;
    const PYXRuntimeReference m_runtime; // an input traces at its end, and may outlive its component
    std::atomic<bool> m_enabled = true;  // copy of "Enabled"
    std::atomic<pyx_uint64> m_packetCount = 0;
};

/// Tells start packets from regular ones by the packet's frame type.
class PYXRingBufferVideoInput final : public PYXRingBufferInput
{
public:
    PYXRingBufferVideoInput(std::shared_ptr<PYXRingBufferCache> pCache, std::shared_ptr<PYXRingBufferMuxer> pMuxer);

private:
    PYX_RESULT StorePacket(PYXBuffer* pBuffer) override;
};

/// The cache places audio by time stamp.
class PYXRingBufferAudioInput final : public PYXRingBufferInput
{
public:
    PYXRingBufferAudioInput(std::shared_ptr<PYXRingBufferCache> pCache, std::shared_ptr<PYXRingBufferMuxer> pMuxer);

private:
    PYX_RESULT StorePacket(PYXBuffer* pBuffer) override;
};
