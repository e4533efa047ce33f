#pragma once

#include "common/Component.h"
#include "host/HostContext.h"
#include "replay/input/MediaReader.h"
#include "replay/KeptGroups.h"
#include "replay/Module.h"
#include "replay/Options.h"
#include "replay/SessionObserver.h"

/// What went into the replay buffer.
struct Intake
{
    pyx_uint64 videoPackets = 0;
    pyx_uint64 audioPackets = 0;
    pyx_uint64 bytes = 0;
    pyx_uint64 groups = 0;    ///< start packets
    pyx_uint64 lateAudio = 0; ///< audio packets that came after their group's store was closed
};

/// What a save has to tell.
struct Saved
{
    SavedStretch stretch;
    std::vector<std::string> warnings; ///< for the user, a line each
};

/// One use of the replay buffer, from loading the module to the saved clip: the
/// part of this program that a host team reads first.
///
///     Open:    load the module, make the component, set it up, describe the streams
///     Submit:  hand over one packet
///     Close:   name the clip, end the streams
///     Write:   terminate, which writes the clip
///
/// A component is told to keep whole groups of the last `Duration` seconds, and
/// writes `Duration` seconds from the first of them on. That cuts off the newest
/// pictures, so unless the exact length is asked for, the session raises
/// `Duration` for the write-out: then nothing is cut.
///
/// While a component writes its clip, packets would have to wait. A host that goes
/// on meanwhile has two sessions and hands over from one to the other: see Recorder.
///
/// Threads: all calls come from one thread, which also ends the session; only
/// Write() may be called by another, while that one feeds another session. A host
/// with an encoder thread per stream calls each input from its own thread.
class Session
{
public:
    /// The observer is borrowed and may be null.
    explicit Session(SessionObserver* pObserver) : m_pObserver(pObserver)
    {
    }

    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// `scratch` is a directory of this session's own: the component removes
    /// everything in it. Without audio `pAudio` is null. Both readers are used
    /// during the call only.
    Outcome Open(const Options& options, const std::wstring& scratch, const MediaReader& video,
                 const MediaReader* pAudio);

    /// A failure means that the component stored the packet not or not wholly;
    /// what it holds up to there is whole, so the caller stops and saves.
    Outcome Submit(const MediaPacket& packet);

    /// The end of the packets: makes what is kept fit to be written, and tells
    /// what that is. No groups in `*pSaved`: nothing is kept, and Write() will
    /// succeed and write nothing.
    Outcome Close(const std::wstring& output, Saved* pSaved);

    /// Once, after Close(). What is lost on the way is added to `*pSaved`. The
    /// component holds nothing any more, even after a failure.
    Outcome Write(Saved* pSaved);

    /// How long the component took for the packet submitted last.
    std::chrono::nanoseconds LastSubmit() const
    {
        return m_taken;
    }

    /// False before the first key picture.
    bool HoldsPictures() const
    {
        return !m_groups.All().empty();
    }

    const Intake& TakenIn() const
    {
        return m_intake;
    }

private:
    Outcome SetUp();
    Outcome FindInput(pyx_int64 streamType, PYXInterfacePtr<PYXInput>* pspInput);
    Outcome KeepSeconds(pyx_int64 seconds);
    Outcome Stored(PYX_RESULT result) const;
    PYX_RESULT SubmitTimed(PYXInput* pInput, PYXBuffer* pBuffer);
    PYX_RESULT SubmitVideo(std::span<const pyx_uint8> bytes, pyx_int64 pts, pyx_int64 duration, bool key);
    PYX_RESULT SubmitAudio(std::span<const pyx_uint8> bytes, pyx_int64 pts, pyx_int64 duration);
    Outcome PrepareGroup(const MediaPacket& packet);
    Outcome FillSilentGroup(pyx_int64 pts);
    void Note(const MediaPacket& packet);
    Outcome Prepare(Saved* pSaved);
    void Describe(Saved* pSaved) const;
    Outcome CloseOnlyGroup();
    Outcome LeaveAudioOut();
    std::string WhyNotWritten(PYX_RESULT result) const;

    SessionObserver* const m_pObserver;

    // In this order: the component goes before its module, the context after the component.
    PYXInterfacePtr<HostContext> m_spContext;
    Module m_module;
    PYXInterfacePtr<PYXComponentEx> m_spComponent;
    PYXInterfacePtr<PYXInput> m_spVideo;
    PYXInterfacePtr<PYXInput> m_spAudio; // null without audio

    const CodecRow* m_pVideoCodec = nullptr;
    std::wstring m_output;
    std::wstring m_scratch;
    bool m_ram = false;
    bool m_exact = false;
    pyx_int64 m_asked = 0;              // seconds
    pyx_int64 m_seconds = 0;            // the component's "Duration" now
    std::chrono::nanoseconds m_taken{}; // by the last SubmitInput
    KeptGroups m_groups;
    Intake m_intake;
};
