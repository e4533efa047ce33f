#pragma once

#include "replay/input/LiveOrder.h"
#include "replay/Progress.h"
#include "replay/Recorder.h"
#include "replay/report/Report.h"

/// One run of the program: opens the input, feeds the replay buffer, saves and
/// checks the clips: one at the end, and one whenever it is asked for meanwhile.
class Replay
{
public:
    /// The observer is borrowed and may be null.
    Replay(const Options& options, SessionObserver* pObserver) : m_options(options), m_pObserver(pObserver)
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
    Outcome OpenInput();
    Outcome Feed(Recorder* pRecorder);
    bool IsSaveDue(pyx_int64 elapsed);
    void BeginSave(Recorder* pRecorder);
    void Take(::Take* pTake);
    void TakeFailure(const ::Take& take);
    Outcome Conclude(const Outcome& fed);
    void Say(const std::string& text) const;
    void WarnOfFailure(const std::wstring& output, const Outcome& outcome);
    void Warn(const std::string& text);
    std::string WhyBroken(const LiveOrder& order) const;
    void WarnOfLosses(const LiveOrder& order, const Intake& intake);
    void WarnOfMissing(const SavedStretch& stretch);

    const Options& m_options;
    SessionObserver* const m_pObserver;
    MediaInput m_input;
    bool m_hasOrigin = false;     // of the report
    std::size_t m_nextSaveAt = 0; // in the option's list
    unsigned m_saves = 0;         // numbers given to clips
    Outcome m_failedSave;         // the first of the numbered ones
    Outcome m_lastSave;           // of the clip at the end
    bool m_fed = false;
    Report m_report;
};
