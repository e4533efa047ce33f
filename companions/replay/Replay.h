#pragma once

#include "common/Handles.h"
#include "recorder/Recorder.h"
#include "replay/input/MediaInput.h"
#include "replay/Progress.h"
#include "replay/report/Report.h"

#include <memory>
#include <mutex>

/// One run of the program: opens the input, feeds the recorder, saves and checks the clips.
///
/// Threads: Run() is called once. It starts a thread that takes requests, so that they are heard while the input
/// stalls; clips that are saved before the end are reported on the recorder's thread.
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
    Outcome Open(std::unique_ptr<PYXRecorder>* ppRecorder, const PYXRecorderSettings& settings);
    Outcome Feed();
    Outcome BeginStretch(const MediaPacket& first);
    PYXRecorder* RecorderFor(const MediaPacket& packet);
    void EndLeaving();
    Outcome Submit(PYXRecorder* pRecorder, const MediaPacket& packet);
    PYX_RESULT SubmitHidden(PYXRecorder* pRecorder, const MediaPacket& packet) const;
    void BeginSave();
    std::wstring NextPath();
    Outcome TakeClip(const PYXSavedClip& clip);
    Outcome CopyLastClip();
    void NoteFailedSave(const Outcome& failure, const char* consequence);
    void Warn(const std::string& text);
    void Print(const std::string& text, bool wanted = true);

    const Options& m_options;
    MediaInput m_input;
    std::unique_ptr<PYXRecorder> m_pLeaving; // of the stretch before; null: it is complete
    std::wstring m_leavingPath;              // path of its clip; empty: a save that is waiting writes it
    pyx_int64 m_seam = 0;                    // audio before it belongs to that stretch
    pyx_uint64 m_lateAudio = 0;              // packets that earlier stretches lost

    std::recursive_mutex m_sync; // of what follows
    Progress m_progress;
    std::unique_ptr<PYXRecorder> m_pRecorder;      // replaced, and asked to save, only under the lock
    bool m_hasEnded = false;                       // nothing is saved any more
    Clock::time_point m_lastPacket = Clock::now(); // when it came
    unsigned m_saves = 0;                          // the number given to a clip last
    std::vector<PYXFileOwner> m_numbers;           // mutexes, that tell other runs which are taken
    Outcome m_failedSave;                          // the first of the numbered ones
    bool m_hasOrigin = false;                      // of the report
    bool m_hasHidden = false;                      // pictures that are not shown
    Report m_report;
};
