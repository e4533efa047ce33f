#include "replay/Replay.h"

#include "host/HostObject.h"
#include "replay/input/StreamDetails.h"
#include "replay/Interrupt.h"
#include "replay/Text.h"

#include <chrono>
#include <cstdio>
#include <cwchar>
#include <thread>

namespace
{

using Clock = std::chrono::steady_clock;

/// Holds packets back until their moment has come, counted from the first one.
class Pace
{
public:
    explicit Pace(bool active) : m_active(active)
    {
    }

    void WaitFor(pyx_int64 elapsed) const
    {
        using Ticks = std::chrono::duration<pyx_int64, std::ratio<1, PYX_TICKS_PER_SECOND>>;
        constexpr auto slice = std::chrono::milliseconds(50); // how late an interruption is noticed
        const Clock::time_point due = m_start + std::chrono::duration_cast<Clock::duration>(Ticks(elapsed));
        while (m_active && !IsInterrupted() && Clock::now() < due)
        {
            std::this_thread::sleep_until(std::min(due, Clock::now() + slice));
        }
    }

private:
    bool m_active;
    Clock::time_point m_start = Clock::now();
};

std::string Describe(const MediaReader& reader)
{
    const AVCodecParameters& parameters = reader.Parameters();
    if (parameters.codec_type == AVMEDIA_TYPE_VIDEO)
    {
        return std::string(reader.Codec().name) + " " + std::to_string(parameters.width) + "x" +
               std::to_string(parameters.height);
    }
    return std::string(reader.Codec().name) + " " + std::to_string(parameters.sample_rate) + " Hz, " +
           std::to_string(parameters.ch_layout.nb_channels) + " channels";
}

/// Before anything is read, what the muxer would otherwise refuse in the end.
Outcome CheckContainer(const std::wstring& output, const MediaReader& reader)
{
    const bool mov = output.size() > 4 && _wcsicmp(output.c_str() + output.size() - 4, L".mov") == 0;
    if (mov && !reader.Codec().inMov)
    {
        return {ExitCode::BadUsage,
                "a .mov file cannot hold " + std::string(reader.Codec().name) + ", an .mp4 or .mkv file can"};
    }
    return {};
}

/// "clip.mp4" and 2 make "clip-2.mp4".
std::wstring Numbered(const std::wstring& path, unsigned number)
{
    const std::size_t ending = path.find_last_of(L'.');
    return path.substr(0, ending) + L"-" + std::to_wstring(number) + path.substr(ending);
}

} // namespace

Outcome Replay::Run()
{
    const Clock::time_point start = Clock::now();
    m_report.exact = m_options.exact;
    RETURN_ON_FAILURE(OpenInput());
    RETURN_ON_FAILURE(ClipFile().Prepare(m_options.output, m_options.input)); // before hours of video are read
    Outcome outcome;
    {
        Recorder recorder(m_options, *m_input.pVideo, m_input.pAudio.get(), m_pObserver,
                          [this](::Take* pTake) { Take(pTake); });
        RETURN_ON_FAILURE(recorder.Open());
        m_fed = true;
        outcome = Feed(&recorder);
        recorder.Finish(m_options.output);
        m_report.in = recorder.TakenIn();
        if (m_saves > 0)
        {
            m_report.longestSubmit = {recorder.LongestSubmitWhileSaving(), recorder.LongestSubmitOtherwise()};
        }
        outcome = Conclude(outcome);
    }
    if (HostObject::Alive() != 0)
    {
        Warn(std::to_string(HostObject::Alive()) + " objects of the host are still referenced");
    }
    m_report.secondsTaken = std::chrono::duration<double>(Clock::now() - start).count();
    return outcome;
}

Outcome Replay::OpenInput()
{
    RETURN_ON_FAILURE(MediaReader::Open(m_options.input, m_options.audio, &m_input));
    for (const std::string& warning : m_input.warnings)
    {
        Warn(warning);
    }
    RETURN_ON_FAILURE(CheckContainer(m_options.output, *m_input.pVideo));
    RETURN_ON_FAILURE(m_input.pAudio ? CheckContainer(m_options.output, *m_input.pAudio) : Outcome());
    if (const std::string lost = WhatIsNotKept(*m_input.pVideo, m_options.output); !lost.empty())
    {
        Warn(lost);
    }
    Say("video: " + Describe(*m_input.pVideo));
    Say(m_input.pAudio ? "audio: " + Describe(*m_input.pAudio) : "no audio");
    if (const unsigned others = m_input.pVideo->OtherStreams() - (m_input.pAudio ? 1 : 0); others > 0)
    {
        Say(std::to_string(others) + " more streams are left out");
    }
    return {};
}

Outcome Replay::Feed(Recorder* pRecorder)
{
    LiveOrder order(m_input.pVideo.get(), m_input.pAudio.get());
    Progress progress(m_options.progress, m_input.pVideo->FileDuration());
    const Pace pace(m_options.realtime);
    MediaPacket packet;
    while (!IsInterrupted() && order.Next(&packet) == ReadResult::Packet)
    {
        pace.WaitFor(order.Elapsed());
        if (packet.video && !packet.hidden && !m_hasOrigin)
        {
            m_report.origin = packet.pts;
            m_hasOrigin = true;
        }
        if (IsSaveDue(order.Elapsed()))
        {
            progress.Clear();
            BeginSave(pRecorder);
        }
        RETURN_ON_FAILURE(pRecorder->Submit(std::move(packet)));
        progress.Show(order.Elapsed(), pRecorder->TakenIn().bytes);
    }
    progress.Clear();
    if (const std::size_t missed = m_options.saveAt.size() - m_nextSaveAt; missed > 0 && !IsInterrupted())
    {
        Warn(std::to_string(missed) + (missed == 1 ? " time" : " times") +
             " of --save-at lie behind the end of the input");
    }
    WarnOfLosses(order, pRecorder->TakenIn());
    if (const std::string why = WhyBroken(order); !why.empty())
    {
        return {ExitCode::BadInput,
                PathForUser(m_options.input) + " is broken after " + FormatTime(order.Elapsed()) + ": " + why};
    }
    return {};
}

bool Replay::IsSaveDue(pyx_int64 elapsed)
{
    bool due = TakeSaveRequest();
    for (; m_nextSaveAt < m_options.saveAt.size() && m_options.saveAt[m_nextSaveAt] <= elapsed; ++m_nextSaveAt)
    {
        due = true;
    }
    return due;
}

/// A save that fails does not end the recording.
void Replay::BeginSave(Recorder* pRecorder)
{
    const std::wstring output = Numbered(m_options.output, m_saves + 1);
    bool begun = false;
    Outcome outcome = pRecorder->Save(output, &begun);
    if (!outcome.IsOk())
    {
        Warn("no clip is saved, recording goes on: " + outcome.Text());
        const bool lost = outcome.Code() != ExitCode::NothingKept; // else there was nothing to lose
        m_failedSave = lost && m_failedSave.IsOk() ? std::move(outcome) : m_failedSave;
    }
    else if (!begun)
    {
        Warn("a clip that was asked for before is not begun yet and serves this request too");
    }
    m_saves += begun ? 1 : 0;
}

/// A clip is written, or has failed.
void Replay::Take(::Take* pTake)
{
    for (const std::string& warning : pTake->saved.warnings)
    {
        Warn(warning);
    }
    if (!pTake->outcome.IsOk())
    {
        TakeFailure(*pTake);
        return;
    }
    Say("saved " + PathForUser(pTake->output) + " in " + FormatSeconds(pTake->secondsTaken, 2) + " s");
    WarnOfMissing(pTake->saved.stretch);
    if (m_pObserver)
    {
        m_pObserver->OnSaved(pTake->saved.stretch);
    }
    m_report.clips.push_back({pTake->output, pTake->contents, std::move(pTake->saved.stretch)});
}

/// A save on the way is told of at once. The clip at the end is the run's own, and so is its failure.
void Replay::TakeFailure(const ::Take& take)
{
    if (take.output == m_options.output)
    {
        m_lastSave = take.outcome;
        return;
    }
    WarnOfFailure(take.output, take.outcome);
    m_failedSave = m_failedSave.IsOk() ? take.outcome : m_failedSave;
}

/// How the run ends: with what stopped the feeding, else with a clip that failed.
Outcome Replay::Conclude(const Outcome& fed)
{
    if (fed.IsOk())
    {
        return m_lastSave.IsOk() ? m_failedSave : m_lastSave;
    }
    if (!m_lastSave.IsOk())
    {
        WarnOfFailure(m_options.output, m_lastSave);
    }
    return m_report.clips.empty() ? fed : Outcome(fed.Code(), fed.Text() + "; what was read until then is saved");
}

std::string Replay::WhyBroken(const LiveOrder& order) const
{
    if (IsInterrupted() || !order.BrokenText().empty())
    {
        return order.BrokenText();
    }
    // Some containers do not notice that they are cut off. The length that such a file tells was that of all streams.
    constexpr pyx_int64 tolerance = 2 * PYX_TICKS_PER_SECOND;
    const bool allRead = m_input.pVideo->OtherStreams() == (m_input.pAudio ? 1 : 0);
    return allRead && m_input.pVideo->AnnouncedEnd() > order.End() + tolerance
               ? "it should be " + FormatTime(m_input.pVideo->FileDuration()) + " long"
               : "";
}

void Replay::WarnOfLosses(const LiveOrder& order, const Intake& intake)
{
    if (const unsigned damages = m_input.pVideo->Damages() + (m_input.pAudio ? m_input.pAudio->Damages() : 0);
        damages > 0)
    {
        Warn("the input is damaged in " + std::to_string(damages) + (damages == 1 ? " place" : " places") +
             ", reading went on behind");
    }
    if (IsInterrupted())
    {
        Warn("interrupted, saving what is kept");
    }
    if (order.DroppedAudio() > PYX_TICKS_PER_SECOND)
    {
        Warn("the last " + FormatSeconds(static_cast<double>(order.DroppedAudio()) / PYX_TICKS_PER_SECOND, 1) +
             " s of the audio are left out, because the video ends there");
    }
    if (intake.lateAudio > 0)
    {
        Warn(std::to_string(intake.lateAudio) + " audio packets came too late for their group; --ram keeps such");
    }
}

void Replay::WarnOfMissing(const SavedStretch& stretch)
{
    const pyx_int64 missing = stretch.newest - stretch.to;
    if (missing > PYX_TICKS_PER_SECOND)
    {
        Warn("the newest " + FormatSeconds(static_cast<double>(missing) / PYX_TICKS_PER_SECOND, 1) +
             " s are not in the clip: --exact cuts it " + std::to_string(m_options.duration) +
             " s after its first picture");
    }
}

void Replay::WarnOfFailure(const std::wstring& output, const Outcome& outcome)
{
    Warn("the clip " + PathForUser(output) + " is not saved: " + outcome.Text());
}

void Replay::Warn(const std::string& text)
{
    std::fprintf(stderr, "replay: warning: %s\n", text.c_str());
    m_report.warnings.push_back(text);
}

void Replay::Say(const std::string& text) const
{
    if (m_options.verbose)
    {
        std::fprintf(stderr, "replay: %s\n", text.c_str());
    }
}
