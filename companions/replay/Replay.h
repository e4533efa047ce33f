#pragma once

#include "recorder/Recorder.h"
#include "replay/input/MediaInput.h"
#include "replay/Progress.h"
#include "replay/report/Report.h"

#include <memory>
#include <mutex>

/// One run of the program: opens the input, feeds the recorder, saves and checks
/// the clips: one at the end, and one whenever it is asked for meanwhile.
///
/// Threads: Run() is the caller's. It starts one that takes requests, so that they are heard while the input stalls;
/// the recorder's reports the clips that are saved meanwhile.
class Replay
{
public:
    /// `options` are borrowed.
    explicit Replay(const Options& options) : m_options(options), m_progress(options.progress)
    {
    }

    /// A failure may come with a clip: what was kept up to there.
    Outcome Run();

    /// After Run().
    const Report& Result() const
    {
        return m_report;
    }

private:
    using Clock = std::chrono::steady_clock;

    Outcome OpenInput();
    PYXRecorderSettings Settings() const;
    Outcome Record();
    void UseForSaves(PYXRecorder* pRecorder);
    Outcome Open(std::unique_ptr<PYXRecorder>* ppRecorder, const PYXRecorderSettings& settings);
    Outcome BeginStretch(std::unique_ptr<PYXRecorder>* ppRecorder, const MediaPacket& first);
    Outcome Feed(std::unique_ptr<PYXRecorder>* ppRecorder);
    Outcome Submit(PYXRecorder* pRecorder, const MediaPacket& packet);
    PYX_RESULT SubmitHidden(PYXRecorder* pRecorder, const MediaPacket& packet) const;
    void BeginSave();
    std::wstring NextPath();
    Outcome TakeClip(const PYXSavedClip& clip);
    Outcome CopyLastClip();
    void NoteFailedSave(const Outcome& failure, const char* consequence);
    std::string WhyBroken(const LiveOrder& order) const;
    void WarnOfLosses(const LiveOrder& order, pyx_uint64 lateAudio);
    void WarnOfMissing(const PYXSavedClip& clip, const ClipContents& contents);
    void Warn(const std::string& text);
    void Print(const std::string& text, bool wanted = true);

    const Options& m_options;
    MediaInput m_input;

    std::recursive_mutex m_sync; // of what follows
    Progress m_progress;
    PYXRecorder* m_pRecorder = nullptr; // while it takes packets
    Clock::time_point m_lastPacket;     // when it came
    unsigned m_saves = 0;               // the number given to a clip last
    Outcome m_failedSave;               // the first of the numbered ones
    bool m_hasOrigin = false;           // of the report
    bool m_hasHidden = false;           // pictures that are not shown
    Report m_report;
};
