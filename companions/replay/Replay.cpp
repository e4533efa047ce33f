#include "replay/Replay.h"

#include "host/HostObject.h"
#include "replay/Interrupt.h"
#include "replay/StreamDetails.h"
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

} // namespace

Outcome Replay::Run()
{
    const Clock::time_point start = Clock::now();
    m_report.exact = m_options.exact;
    m_report.output = m_options.output;
    RETURN_ON_FAILURE(OpenInput());
    RETURN_ON_FAILURE(m_clip.Prepare(m_options.output, m_options.input));
    TempDirectory scratch;
    RETURN_ON_FAILURE(scratch.Make(m_options.temp));
    Say("temporary files in " + PathForUser(scratch.Path()));

    Outcome outcome;
    {
        Session session(m_pObserver);
        RETURN_ON_FAILURE(session.Open(m_options, m_options.output, scratch.Path(), *m_pVideo, m_pAudio.get()));
        RETURN_ON_FAILURE(scratch.Check());
        m_fed = true;
        outcome = Feed(&session);
        if (Outcome finished = Finish(&session); outcome.IsOk())
        {
            outcome = std::move(finished);
        }
        else if (m_report.clip)
        {
            outcome = {outcome.Code(), outcome.Text() + "; what was read until then is saved"};
        }
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
    RETURN_ON_FAILURE(MediaReader::OpenVideo(m_options.input, &m_pVideo));
    if (!m_pVideo)
    {
        return {ExitCode::BadInput, PathForUser(m_options.input) + " has no video"};
    }
    RETURN_ON_FAILURE(CheckContainer(m_options.output, *m_pVideo));
    RETURN_ON_FAILURE(OpenAudio());
    if (const std::string lost = WhatIsNotKept(*m_pVideo, m_options.output); !lost.empty())
    {
        Warn(lost);
    }
    Say("video: " + Describe(*m_pVideo));
    Say(m_pAudio ? "audio: " + Describe(*m_pAudio) : "no audio");
    if (const unsigned others = m_pVideo->OtherStreams() - (m_pAudio ? 1 : 0); others > 0)
    {
        Say(std::to_string(others) + " more streams are left out");
    }
    return {};
}

/// Audio that cannot be carried does not cost the pictures.
Outcome Replay::OpenAudio()
{
    if (m_options.audio.none)
    {
        return {};
    }
    std::string leftOut;
    RETURN_ON_FAILURE(MediaReader::OpenAudio(m_options.input, m_options.audio.track, &m_pAudio, &leftOut));
    if (!leftOut.empty())
    {
        Warn(leftOut);
    }
    if (!m_pAudio)
    {
        return {};
    }
    m_pAudio->StayTogetherWith(*m_pVideo);
    return CheckContainer(m_options.output, *m_pAudio);
}

Outcome Replay::Feed(Session* pSession)
{
    LiveOrder order(m_pVideo.get(), m_pAudio.get());
    Progress progress(m_options.progress, m_pVideo->FileDuration());
    const Pace pace(m_options.realtime);
    MediaPacket packet;
    while (!IsInterrupted() && order.Next(&packet) == ReadResult::Packet)
    {
        pace.WaitFor(order.Elapsed());
        if (packet.video && pSession->TakenIn().videoPackets == 0)
        {
            m_report.origin = packet.pts;
        }
        if (Outcome outcome = pSession->Submit(packet); !outcome.IsOk())
        {
            return outcome;
        }
        progress.Show(order.Elapsed(), pSession->TakenIn().bytes);
    }
    progress.Clear();
    WarnOfLosses(order, pSession->TakenIn());
    if (const std::string why = WhyBroken(order); !why.empty())
    {
        return {ExitCode::BadInput,
                PathForUser(m_options.input) + " is broken after " + FormatTime(order.Elapsed()) + ": " + why};
    }
    return {};
}

std::string Replay::WhyBroken(const LiveOrder& order) const
{
    if (IsInterrupted() || !order.BrokenText().empty())
    {
        return order.BrokenText();
    }
    // Some containers do not notice that they are cut off. The length that such a file tells was that of all streams.
    constexpr pyx_int64 tolerance = 2 * PYX_TICKS_PER_SECOND;
    const bool allRead = m_pVideo->OtherStreams() == (m_pAudio ? 1 : 0);
    return allRead && m_pVideo->ToldEnd() > order.End() + tolerance
               ? "it should be " + FormatTime(m_pVideo->FileDuration()) + " long"
               : "";
}

void Replay::WarnOfLosses(const LiveOrder& order, const Intake& intake)
{
    if (const unsigned damages = m_pVideo->Damages() + (m_pAudio ? m_pAudio->Damages() : 0); damages > 0)
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

void Replay::WarnOfMissing()
{
    const pyx_int64 missing = m_report.stretch.newest - m_report.stretch.to;
    if (missing > PYX_TICKS_PER_SECOND)
    {
        Warn("the newest " + FormatSeconds(static_cast<double>(missing) / PYX_TICKS_PER_SECOND, 1) +
             " s are not in the clip: --exact cuts it " + std::to_string(m_options.duration) +
             " s after its first picture");
    }
}

Outcome Replay::Finish(Session* pSession)
{
    const Clock::time_point start = Clock::now();
    Saved saved;
    const Outcome written = pSession->Save(&saved);
    m_report.in = pSession->TakenIn();
    RETURN_ON_FAILURE(written);
    Say("write-out took " + FormatSeconds(std::chrono::duration<double>(Clock::now() - start).count(), 2) + " s");
    for (const std::string& warning : saved.warnings)
    {
        Warn(warning);
    }
    if (!m_clip.IsNew())
    {
        return {ExitCode::NothingKept, "no group of pictures was kept, so there is no clip: a group starts with a key "
                                       "picture, and the input has none"};
    }
    ClipContents contents;
    RETURN_ON_FAILURE(m_clip.ReadBack(&contents));
    m_report.clip = contents;
    m_report.stretch = std::move(saved.stretch);
    if (m_pObserver)
    {
        m_pObserver->OnSaved(m_report.stretch);
    }
    WarnOfMissing();
    return {};
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
