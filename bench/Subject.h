#pragma once

#include "bench/PacketSource.h"
#include "bench/Require.h"
#include "common/Component.h"
#include "common/InterfacePtr.h"
#include "host/HostContext.h"

#include <string>

/// Where a cache keeps the packets' bytes.
enum class Storage
{
    Files,
    Memory,
};

/// One ring buffer with both inputs, ready for packets. The module is loaded at
/// first use, as a host does it: by its file name from the program's folder, where
/// the muxer that does nothing and the runtime library are too.
class Subject
{
public:
    /// `storage` Files: its files are in ModuleDirectory(). Memory: without a
    /// temporary directory, so nothing is written out at the end.
    Subject(Storage storage, pyx_int64 seconds);
    Subject(const Subject&) = delete;
    Subject& operator=(const Subject&) = delete;

    void Take(const Packet& packet)
    {
        PYXInput* const pInput = (packet.kind == PacketKind::Audio ? m_spAudio : m_spVideo).Get();
        m_failures |= pInput->SubmitInput(packet.pBuffer);
    }

    /// Ends the run if any packet was refused so far.
    void RequireAllTaken() const
    {
        Require(m_failures == 0, "a packet was refused");
    }

    /// Changes how many seconds are kept.
    void Keep(pyx_int64 seconds);

    /// Empties the cache.
    void Init();

    PYXContext* Context()
    {
        return m_spContext.Get();
    }

private:
    PYXInterfacePtr<HostContext> m_spContext = HostContext::Create();
    PYXInterfacePtr<PYXComponentEx> m_spComponent;
    PYXInterfacePtr<PYXInput> m_spVideo;
    PYXInterfacePtr<PYXInput> m_spAudio;
    int m_failures = 0; // PYX_OK is 0
};
