#pragma once

#include "common/Component.h"
#include "common/HostContract.h"
#include "common/PropertyStorageExImpl.h"
#include "common/RefCounted.h"
#include "muxer/MuxSession.h"

#include <memory>

/// An input of the muxer: the description of one stream as properties, and its
/// packets, which go on to the session. Beside the framework's properties there
/// are those of media/ClipProperties.h.
///
/// "Enabled" is the producer's own switch and kept for it: a packet that reaches
/// the muxer is written.
/// Threads: any. Lifetime: counted; it may outlive the component, which
/// withdraws it from the session, and then refuses packets.
class PYXMuxerInput final : public PYXRefCounted<PYXPropertyStorageExImpl<PYXInput>>
{
public:
    PYXMuxerInput(StreamKind kind, std::shared_ptr<MuxSession> spSession);

    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override;

    /// Takes a copy of the packet; null ends the stream.
    /// PYX_UNEXPECTED: not a buffer. PYX_INVALID_ARG: no bytes, or too many.
    /// Other results are the session's.
    PYX_RESULT SubmitInput(PYXData* pData) override;

private:
    ~PYXMuxerInput() override
    {
        ReleaseValues(); // they may call back
    }

    PYX_RESULT CopyPacket(PYXBuffer* pBuffer, PacketPtr* pspPacket) const;

    const StreamKind m_kind;
    const std::shared_ptr<MuxSession> m_spSession;
};
