#pragma once

#include "common/Component.h"
#include "recorder/KeptGroups.h"
#include "recorder/Module.h"
#include "recorder/PrivateDirectory.h"
#include "recorder/Recorder.h"

#include <utility>

class PYXRecorderContext;

/// One use of a component, from making it to its clip:
///
///     Open:     make the component, set it up, describe the streams
///     Submit:   hand over packets
///     Write:    terminate, which writes the clip; again after a failure
///
/// A component is told to keep whole groups of the last `Duration` seconds, and
/// writes `Duration` seconds from the first of them on. That cuts off the newest
/// pictures, so unless the exact length is asked for, the session raises
/// `Duration` for the write-out: then nothing is cut.
///
/// Threads: one at a time; Stop() and the progress at any time.
class PYXRecorderSession
{
public:
    /// Both are borrowed: they stay as they are, and outlive the session.
    PYXRecorderSession(const PYXRecorderSettings& settings, const PYXRecorderModule& module);
    PYXRecorderSession(const PYXRecorderSession&) = delete;
    PYXRecorderSession& operator=(const PYXRecorderSession&) = delete;

    /// Drops what is kept.
    ~PYXRecorderSession();

    /// Results as of PYXRecorder::Open.
    PYXStatus Open();

    /// As PYXRecorder::SubmitVideo; `isKey` is what the packet's kind says.
    PYX_RESULT SubmitVideo(PYXBuffer* pPacket, bool isKey);

    /// Before the first picture it is dropped. PYX_FILE_NOT_OPEN, also in memory mode: the packet came too late and is
    /// lost, the session goes on.
    PYX_RESULT SubmitAudio(PYXBuffer* pPacket);

    const PYXKeptGroups& Groups() const
    {
        return m_groups;
    }

    /// No packets are submitted any more. Fills in `*pClip` but for its id, path and canRetry. After a success the
    /// session holds nothing; after a failure everything, and Write() may be called again, with another path.
    PYXStatus Write(const std::wstring& path, pyx_int64 seconds, PYXSavedClip* pClip);

    /// A write-out that is under way, and each one from now on, fails at its next packet.
    void Stop();

    /// Packets that the last write-out has handed to the muxer, and all that it hands over.
    std::pair<pyx_uint64, pyx_uint64> Progress() const;

private:
    PYXStatus SetUp();
    PYXStatus FindInput(pyx_int64 streamType, PYXInterfacePtr<PYXInput>* pspInput);
    PYX_RESULT KeepSeconds(pyx_int64 seconds);
    PYX_RESULT CloseOnlyGroup();
    PYX_RESULT LeaveAudioOut();
    void KeepToBudget();
    PYX_RESULT Prepare(pyx_int64 seconds);
    pyx_uint64 RoomNeeded() const;
    void Describe(PYXSavedClip* pClip) const;
    PYX_RESULT Terminate(const std::wstring& path, PYXSavedClip* pClip);
    PYXStatus WhyNotWritten(const std::wstring& path, PYX_RESULT result) const;

    const PYXRecorderSettings& m_settings;
    const PYXRecorderModule& m_module;

    // In this order: the component is released before its directory and its context.
    PYXInterfacePtr<PYXRecorderContext> m_spContext;
    PYXPrivateDirectory m_directory;
    PYXInterfacePtr<PYXComponentEx> m_spComponent;
    PYXInterfacePtr<PYXInput> m_spVideo;
    PYXInterfacePtr<PYXInput> m_spAudio; // null without audio, and when the clip does not get it

    pyx_int64 m_seconds = 0;      // the component's "Duration" now
    PYX_RESULT m_broken = PYX_OK; // why the rest of the newest group is refused
    bool m_isFinal = false;       // see Prepare
    PYXKeptGroups m_groups;
};
