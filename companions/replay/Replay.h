#pragma once

#include "recorder/Recorder.h"
#include "replay/Clip.h"
#include "replay/input/MediaInput.h"
#include "replay/Progress.h"
#include "replay/report/Report.h"

#include <atomic>
#include <memory>
#include <mutex>

/// One run of the program: opens the input, feeds the recorder, saves and checks
/// the clips: one at the end, and one whenever it is asked for meanwhile.
///
/// Threads: Run() is the caller's; while it reads, one of its own takes requests, so that they are heard while the
/// input stalls, and the recorder's reports its clips.
class Replay
{
public:
    /// `options` are borrowed.
    explicit Replay(const Options& options) : m_options(options)
    {
    }

    /// A failure may come with a clip: what was kept up to there.
    Outcome Run();

    /// Whether packets went in, so that there is something to report.
    bool HasReport() const
    {
        return m_fed;
    }

    const Report& Result() const
    {
        return m_report;
    }

private:
    using Clock = std::chrono::steady_clock;

    Outcome OpenInput();
    PYXRecorderSettings Settings() const;
    Outcome Feed(PYXRecorder* pRecorder);
    Outcome Submit(PYXRecorder* pRecorder, const MediaPacket& packet);
    PYX_RESULT SubmitHidden(PYXRecorder* pRecorder, const MediaPacket& packet) const;
    bool IsSaveDue(pyx_int64 elapsed);
    void BeginSave(PYXRecorder* pRecorder);
    unsigned NextNumber() const;
    void TakeClip(const PYXSavedClip& clip);
    Outcome CopyLastClip();
    Outcome Conclude(const Outcome& fed);
    void Say(const std::string& text);
    void Warn(const std::string& text);
    void Print(const std::string& text);
    void ClearProgress();
    void WarnOfMissing(const PYXSavedClip& clip, const ClipContents& contents);
    std::string WhyBroken(const LiveOrder& order) const;
    void WarnOfLosses(const LiveOrder& order, pyx_uint64 lateAudio);

    const Options& m_options;
    MediaInput m_input;
    bool m_hasOrigin = false;     // of the report
    bool m_hasHidden = false;     // pictures that are not shown
    std::size_t m_nextSaveAt = 0; // in the option's list
    bool m_fed = false;
    std::atomic<Clock::rep> m_lastPacket{0}; // when it came

    std::recursive_mutex m_sync;     // of what follows
    Progress* m_pProgress = nullptr; // while there is one
    unsigned m_saves = 0;            // the number given to a clip last
    Outcome m_failedSave;            // the first of the numbered ones
    Outcome m_lastSave;              // of the clip at the end
    Report m_report;
};
