#pragma once

#include "common/Component.h"
#include "host/HostContext.h"
#include "replay/MediaReader.h"
#include "replay/Module.h"
#include "replay/Options.h"
#include "replay/Outcome.h"

#include <vector>

/// What went into the replay buffer.
struct Intake
{
    pyx_uint64 videoPackets = 0;
    pyx_uint64 audioPackets = 0;
    pyx_uint64 bytes = 0;
    pyx_uint64 groups = 0;    ///< start packets
    pyx_uint64 lateAudio = 0; ///< sound packets that came after their group's store was closed
};

/// One use of the replay buffer, from loading the module to the saved clip: the
/// part of this program that a host team reads first.
///
///     Open:    load the module, make the component, set it up, describe the streams
///     Submit:  hand over one packet
///     Save:    end the streams and terminate, which writes the clip
///
/// Threads: one. A host with an encoder thread per stream calls each input from
/// its own thread.
class Session
{
public:
    Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// `scratch` is a directory of this program's own: the component removes
    /// everything in it. Without sound `pAudio` is null. Both readers are used
    /// during the call only.
    Outcome Open(const Options& options, const std::wstring& scratch, const MediaReader& video,
                 const MediaReader* pAudio);

    /// A failure means that the component stored the packet not or not wholly;
    /// what it holds up to there is whole, so the caller stops and saves.
    Outcome Submit(const MediaPacket& packet);

    /// Nothing was written, and that is a success, when no completed group was
    /// kept.
    Outcome Save();

    const Intake& TakenIn() const
    {
        return m_intake;
    }

private:
    /// A group of pictures as the host saw it: whether any sound fell into it.
    struct Group
    {
        pyx_int64 pts;
        bool hasSound;
    };

    Outcome SetUp(const Options& options, const std::wstring& scratch, bool hasSound);
    Outcome FindInput(pyx_int64 streamType, PYXInterfacePtr<PYXInput>* pspInput);
    Outcome DescribeVideo(const MediaReader& video);
    Outcome DescribeAudio(const MediaReader& audio);
    void Note(const MediaPacket& packet);
    bool KeptGroupWithoutSound() const;

    // In this order: the component goes before its module, the context after the component.
    PYXInterfacePtr<HostContext> m_spContext;
    Module m_module;
    PYXInterfacePtr<PYXComponentEx> m_spComponent;
    PYXInterfacePtr<PYXInput> m_spVideo;
    PYXInterfacePtr<PYXInput> m_spAudio; // null without sound

    const CodecRow* m_pVideoCodec = nullptr;
    bool m_ram = false;
    std::string m_outputForUser;
    pyx_int64 m_durationTicks = 0;
    pyx_int64 m_videoEnd = 0;
    std::vector<Group> m_groups; // all of the input, oldest first
    Intake m_intake;
};
