#pragma once

#include "replay/LiveOrder.h"
#include "replay/Progress.h"
#include "replay/Report.h"
#include "replay/TempDirectory.h"

/// One run of the program: opens the input, feeds the replay buffer, saves and
/// checks the clip.
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
    Outcome OpenAudio();
    Outcome Feed(Session* pSession);
    Outcome Finish(Session* pSession);
    void Say(const std::string& text) const;
    void Warn(const std::string& text);
    std::string WhyBroken(const LiveOrder& order) const;
    void WarnOfLosses(const LiveOrder& order, const Intake& intake);
    void WarnOfMissing();

    const Options& m_options;
    SessionObserver* const m_pObserver;
    std::unique_ptr<MediaReader> m_pVideo;
    std::unique_ptr<MediaReader> m_pAudio; // null without audio
    ClipFile m_clip;
    bool m_fed = false;
    Report m_report;
};
