#pragma once

#include "common/Component.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "common/PropertyStorageExImpl.h"
#include "common/RefCounted.h"
#include "RingBufferCache.h"

#include <atomic>
#include <memory>
#include <span>

/// The muxer of one ring buffer, shared with its inputs, which may outlive it. Set while the component is made, null if
/// there is none; cleared by the component at its end, once the cache is closed.
using PYXSharedMuxer = std::shared_ptr<PYXInterfacePtr<PYXComponent>>;

/// One stream into the ring buffer: carries its description, mirrors it to the
/// muxer, and hands its packets to the cache. Holds no packets itself.
///
/// Threads: the two inputs may be called from different threads, and while the
/// component ends; what they share is guarded by the cache's lock.
/// Lifetime: counted; held by the component and by hosts. An input that is switched
/// off still feeds its component; one whose component has ended returns
/// PYX_UNEXPECTED.
class PYXRingBufferInput : public PYXRefCounted<PYXPropertyStorageExImpl<PYXInput>>
{
public:
    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override;

    /// Forwards the value to the muxer's first input of the same stream type,
    /// then stores it here. What the muxer took and this input refuses stays set
    /// on the muxer. The muxer and observers are called with the cache's lock held.
    PYX_RESULT SetProperty(const wchar_t* name, PYXVariant value) override;

    void OnPropertyChanged(const wchar_t* name) override;

protected:
    /// `endText` is traced at the end, with the number of packets.
    PYXRingBufferInput(std::shared_ptr<PYXRingBufferCache> pCache, PYXSharedMuxer pMuxer,
                       std::span<const PYXPropertyDeclaration> properties, const wchar_t* endText);
    ~PYXRingBufferInput() override;

    /// What SubmitInput does first with a packet of any kind. Null ends the stream: PYX_EOF. PYX_OK without a buffer:
    /// the input is disabled and drops the packet. PYX_UNEXPECTED: the component has ended, or the packet is no buffer.
    PYX_RESULT Accept(PYXData* pData, PYXInterfacePtr<PYXBuffer>* pspBuffer);

    /// Hands a packet to the cache under its lock, which is free again when the result is traced.
    PYX_RESULT Store(PYX_RESULT (PYXRingBufferCache::*pAdd)(PYXBuffer*), PYXBuffer* pBuffer);

private:
    const std::shared_ptr<PYXRingBufferCache> m_pCache;
    const PYXSharedMuxer m_pMuxer;
    const bool m_hasMuxer; // readable without the lock
    const wchar_t* const m_endText;
    std::atomic<bool> m_enabled = true; // copy of "Enabled"
    std::atomic<pyx_uint64> m_packetCount = 0;
};

/// Tells start packets from regular ones by the packet's frame type.
class PYXRingBufferVideoInput final : public PYXRingBufferInput
{
public:
    PYXRingBufferVideoInput(std::shared_ptr<PYXRingBufferCache> pCache, PYXSharedMuxer pMuxer);

    /// Results are those of Accept, of the cache, and of the packet's frame type.
    PYX_RESULT SubmitInput(PYXData* pData) override;
};

/// The cache places audio by time stamp.
class PYXRingBufferAudioInput final : public PYXRingBufferInput
{
public:
    PYXRingBufferAudioInput(std::shared_ptr<PYXRingBufferCache> pCache, PYXSharedMuxer pMuxer);

    /// Results are those of Accept and of the cache.
    PYX_RESULT SubmitInput(PYXData* pData) override;
};
