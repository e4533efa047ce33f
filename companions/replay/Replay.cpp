#include "replay/Replay.h"

#include "common/KeyPacket.h"
#include "host/HostBuffer.h"
#include "host/HostObject.h"
#include "media/ClipProperties.h"
#include "recorder/Reasons.h"
#include "replay/Completed.h"
#include "replay/input/Describe.h"
#include "replay/Interrupt.h"
#include "replay/Text.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cwchar>
#include <filesystem>
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

Outcome NotWritten(const std::wstring& path, const PYXStatus& why)
{
    return {ExitCode::CannotWrite, "the clip could not be written to " + PathForUser(path) + ": " + why.text};
}

/// What became of a clip, and what is in it.
Outcome Check(const PYXSavedClip& clip, ClipContents* pContents)
{
    if (clip.status.IsOk())
    {
        return ReadClip(clip.path, pContents);
    }
    return clip.status.result == PYX_NOT_FOUND ? Outcome(ExitCode::NothingKept, clip.status.text)
                                               : NotWritten(clip.path, clip.status);
}

} // namespace

Outcome Replay::Run()
{
    const Clock::time_point start = Clock::now();
    m_report.exact = m_options.exact;
    RETURN_ON_FAILURE(OpenInput());
    RETURN_ON_FAILURE(CheckClip(m_options.output, m_options.input)); // before hours of video are read
    Outcome outcome;
    {
        PYXRecorder recorder;
        if (const PYXStatus opened = recorder.Open(Settings()); !opened.IsOk())
        {
            return opened.result == PYX_FILE_NOT_OPEN
                       ? Outcome(ExitCode::CannotWrite, "cannot write to the temporary directory " +
                                                            PathForUser(m_options.temp) + ": " + opened.text)
                       : Outcome(ExitCode::Failed, opened.text);
        }
        m_fed = true;
        outcome = Feed(&recorder);
        recorder.End({.path = m_options.output, .onSaved = [this](const PYXSavedClip& clip) { TakeClip(clip); }});
        if (m_lastSave.Code() == ExitCode::NothingKept && !m_report.clips.empty())
        {
            m_lastSave = CopyLastClip();
        }
        outcome = Conclude(outcome);
    }
    m_report.savedMeanwhile = m_saves > 0;
    if (HostObject::Alive() != 0)
    {
        Warn(std::to_string(HostObject::Alive()) + " objects of the host are still referenced");
    }
    m_report.secondsTaken = std::chrono::duration<double>(Clock::now() - start).count();
    return outcome;
}

PYXRecorderSettings Replay::Settings() const
{
    PYXRecorderSettings settings;
    settings.folder = m_options.temp;
    settings.inMemory = m_options.ram;
    settings.seconds = m_options.duration;
    settings.exact = m_options.exact;
    settings.video = DescribeVideo(m_input.Video());
    settings.spMore = DescribeClip(m_input.Video(), m_options.faststart);
    if (m_input.Audio())
    {
        settings.audio = DescribeAudio(*m_input.Audio());
    }
    return settings;
}

Outcome Replay::OpenInput()
{
    RETURN_ON_FAILURE(m_input.Open(m_options.input, m_options.audio));
    for (const std::string& warning : m_input.Warnings())
    {
        Warn(warning);
    }
    RETURN_ON_FAILURE(CheckContainer(m_options.output, m_input.Video()));
    RETURN_ON_FAILURE(m_input.Audio() ? CheckContainer(m_options.output, *m_input.Audio()) : Outcome());
    if (const std::string lost = WhatIsNotKept(m_input.Video(), m_options.output); !lost.empty())
    {
        Warn(lost);
    }
    Say("video: " + Describe(m_input.Video()));
    Say(m_input.Audio() ? "audio: " + Describe(*m_input.Audio()) : "no audio");
    if (const unsigned others = m_input.OtherStreams(); others > 0)
    {
        Say(std::to_string(others) + " more streams are left out");
    }
    return {};
}

Outcome Replay::Feed(PYXRecorder* pRecorder)
{
    LiveOrder order(&m_input, m_input.Audio() != nullptr);
    Progress progress(m_options.progress, m_input.FileDuration());
    {
        const std::lock_guard lock(m_sync);
        m_pProgress = &progress;
    }
    Outcome stored;
    {
        const std::jthread requests([this, pRecorder](const std::stop_token& stop) {
            for (; !stop.stop_requested(); std::this_thread::sleep_for(std::chrono::milliseconds(50)))
            {
                if (TakeSaveRequest())
                {
                    BeginSave(pRecorder);
                }
            }
        });
        const Pace pace(m_options.realtime);
        MediaPacket packet;
        while (stored.IsOk() && !IsInterrupted() && order.Next(&packet))
        {
            pace.WaitFor(order.Elapsed());
            m_lastPacket = Clock::now().time_since_epoch().count();
            if (IsSaveDue(order.Elapsed()))
            {
                BeginSave(pRecorder);
            }
            stored = Submit(pRecorder, packet);
            const std::lock_guard lock(m_sync);
            progress.Show(order.Elapsed(), m_report.in.bytes);
        }
    }
    {
        const std::lock_guard lock(m_sync);
        progress.Clear();
        m_pProgress = nullptr;
    }
    RETURN_ON_FAILURE(stored);
    if (const std::size_t missed = m_options.saveAt.size() - m_nextSaveAt; missed > 0 && !IsInterrupted())
    {
        Warn(std::to_string(missed) + (missed == 1 ? " time" : " times") + " of --save-at come after the input's end");
    }
    WarnOfLosses(order, pRecorder->Look().packetsLate);
    if (const std::string why = WhyBroken(order); !why.empty())
    {
        return {ExitCode::BadInput,
                PathForUser(m_options.input) + " is broken after " + FormatTime(order.Elapsed()) + ": " + why};
    }
    return {};
}

Outcome Replay::Submit(PYXRecorder* pRecorder, const MediaPacket& packet)
{
    if (packet.video && !packet.hidden)
    {
        const bool isFirst = !std::exchange(m_hasOrigin, true);
        m_report.origin = isFirst || (m_hasHidden && packet.pts < m_report.origin) ? packet.pts : m_report.origin;
    }
    if (packet.newStretch)
    {
        Warn("after " + FormatTime(packet.pts - m_report.origin) +
             " the pictures have another size, or the input has a cut: players may not show a clip of both sides");
    }
    m_hasHidden = m_hasHidden || (packet.video && packet.hidden);
    const Clock::time_point start = Clock::now();
    const PYX_RESULT result = packet.video && packet.hidden ? SubmitHidden(pRecorder, packet)
                              : packet.video
                                  ? pRecorder->SubmitVideo(packet.Bytes(), packet.pts, packet.duration, packet.key)
                                  : pRecorder->SubmitAudio(packet.Bytes(), packet.pts, packet.duration);
    const std::chrono::nanoseconds taken = Clock::now() - start;
    if (result != PYX_OK)
    {
        const std::string why = "a packet could not be stored: " + pRecorder->Explain(result);
        return {m_options.ram ? ExitCode::Failed : ExitCode::CannotWrite, why};
    }
    const PYXRecorderLook look = pRecorder->Look();
    const std::lock_guard lock(m_sync);
    std::chrono::nanoseconds& longest =
        look.savesWaiting > 0 ? m_report.longestSubmit.whileSaving : m_report.longestSubmit.otherwise;
    longest = std::max(longest, taken);
    m_report.in.bytes += packet.Bytes().size();
    ++(packet.video ? m_report.in.videoPackets : m_report.in.audioPackets);
    m_report.timeline.Add(packet, look, taken);
    return {};
}

PYX_RESULT Replay::SubmitHidden(PYXRecorder* pRecorder, const MediaPacket& packet) const
{
    const PYXInterfacePtr<HostBuffer> spBuffer = HostBuffer::Create(packet.Bytes().size());
    if (!spBuffer)
    {
        return PYX_OUT_OF_MEMORY;
    }
    std::ranges::copy(packet.Bytes(), static_cast<pyx_uint8*>(spBuffer->GetNative()));
    spBuffer->SetPts(packet.pts);
    spBuffer->SetDuration(packet.duration);
    PASS_ON_FAILURE_SILENTLY(PYXMarkVideoPacket(spBuffer.Get(), m_input.Video().Codec().number, packet.key));
    PASS_ON_FAILURE_SILENTLY(spBuffer->SetProperty(PYX_PROPERTY_NOT_SHOWN, PYXVariantFromBool(true)));
    return pRecorder->SubmitVideo(spBuffer.Get());
}

bool Replay::IsSaveDue(pyx_int64 elapsed)
{
    bool due = false;
    for (; m_nextSaveAt < m_options.saveAt.size() && m_options.saveAt[m_nextSaveAt] <= elapsed; ++m_nextSaveAt)
    {
        due = true;
    }
    return due;
}

/// A save that fails does not end the recording.
void Replay::BeginSave(PYXRecorder* pRecorder)
{
    const std::lock_guard lock(m_sync);
    const PYXRecorderLook look = pRecorder->Look();
    if (look.groups == 0)
    {
        Warn("no clip is saved, recording goes on: nothing is kept yet");
        return;
    }
    if (look.savesForPicture > 0)
    {
        Warn("a clip that was asked for before is not begun yet and serves this request too");
        return;
    }
    const unsigned number = NextNumber();
    const std::wstring output = Numbered(m_options.output, number);
    const PYXStatus status =
        pRecorder->Save({.path = output, .onSaved = [this](const PYXSavedClip& clip) { TakeClip(clip); }});
    if (!status.IsOk())
    {
        const Outcome failure = NotWritten(output, status);
        Warn(failure.Text() + "; recording goes on");
        m_failedSave = m_failedSave.IsOk() ? failure : m_failedSave;
        return;
    }
    m_saves = number;
    const auto silence = Clock::now().time_since_epoch() - Clock::duration(m_lastPacket);
    Print("saving " + PathForUser(output) + " at the next key picture" +
          (silence > std::chrono::seconds(1) ? ", when the input goes on: it has stalled" : ""));
}

/// The next one that no file has.
unsigned Replay::NextNumber() const
{
    unsigned number = m_saves + 1;
    for (std::error_code unknown; std::filesystem::exists(Numbered(m_options.output, number), unknown);)
    {
        ++number;
    }
    return number;
}

/// A clip is written, or has failed. On the recorder's thread.
void Replay::TakeClip(const PYXSavedClip& clip)
{
    const bool isLast = clip.id == 0;
    ClipContents contents;
    const Outcome outcome = Check(clip, &contents);
    const std::lock_guard lock(m_sync);
    for (const std::string& warning : clip.warnings)
    {
        Warn(warning);
    }
    Outcome& failure = isLast ? m_lastSave : m_failedSave;
    failure = failure.IsOk() ? outcome : failure;
    if (outcome.IsOk())
    {
        const std::string text =
            "saved " + PathForUser(clip.path) + " in " + FormatSeconds(clip.secondsTaken, 2) + " s";
        isLast ? Say(text) : Print(text);
        WarnOfMissing(clip, contents);
        ListCompleted(clip.path);
        m_report.clips.push_back({clip, contents});
        m_report.clips.back().clip.from = std::max(clip.from, m_report.origin);
    }
    else if (!isLast)
    {
        Warn(outcome.Text());
    }
}

/// A save that waited for its key picture at the end took all that was kept.
Outcome Replay::CopyLastClip()
{
    ReportedClip last = m_report.clips.back();
    const std::wstring first = std::exchange(last.clip.path, m_options.output);
    if (!CopyFileW(first.c_str(), m_options.output.c_str(), FALSE))
    {
        return NotWritten(m_options.output, {PYX_FILE_NOT_OPEN, PYXSystemText(GetLastError())});
    }
    Print("nothing came after " + PathForUser(first) + ", so " + PathForUser(m_options.output) + " is the same");
    ListCompleted(m_options.output);
    m_report.clips.push_back(last);
    return {};
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
        Warn(m_lastSave.Text());
    }
    return m_report.clips.empty() ? fed : Outcome(fed.Code(), fed.Text() + "; what was read until then is saved");
}

std::string Replay::WhyBroken(const LiveOrder& order) const
{
    if (IsInterrupted() || !m_input.BrokenText().empty())
    {
        return m_input.BrokenText();
    }
    // Some containers do not notice that they are cut off. The length that such a file tells was that of all streams.
    constexpr pyx_int64 tolerance = 2 * PYX_TICKS_PER_SECOND;
    return m_input.OtherStreams() == 0 && m_input.AnnouncedEnd() > order.End() + tolerance
               ? "it should be " + FormatTime(m_input.FileDuration()) + " long"
               : "";
}

void Replay::WarnOfLosses(const LiveOrder& order, pyx_uint64 lateAudio)
{
    if (const unsigned damages = m_input.Damages(); damages > 0)
    {
        Warn("the input is damaged in " + std::to_string(damages) + (damages == 1 ? " place" : " places") +
             ", reading went on after it");
    }
    if (IsInterrupted())
    {
        Warn("interrupted, saving what is kept");
    }
    if (m_input.BrokenText().empty() && order.DroppedAudio() > PYX_TICKS_PER_SECOND)
    {
        Warn("the last " + FormatSeconds(static_cast<double>(order.DroppedAudio()) / PYX_TICKS_PER_SECOND, 1) +
             " s of the audio are left out, because the video ends there");
    }
    if (lateAudio > 0)
    {
        Warn(std::to_string(lateAudio) + " audio packets came too late for their group; --ram keeps such");
    }
}

void Replay::WarnOfMissing(const PYXSavedClip& clip, const ClipContents& contents)
{
    const pyx_uint64 written = contents.videoPackets + contents.audioPackets;
    if (!m_options.exact && written < clip.packets)
    {
        Warn(PathForUser(clip.path) + " holds " + std::to_string(written) + " of the " + std::to_string(clip.packets) +
             " packets that were kept for it");
    }
    const pyx_int64 missing = clip.newest - clip.to;
    if (missing > PYX_TICKS_PER_SECOND)
    {
        Warn("the newest " + FormatSeconds(static_cast<double>(missing) / PYX_TICKS_PER_SECOND, 1) +
             " s are not in the clip: --exact cuts it " + std::to_string(m_options.duration) +
             " s after its first picture");
    }
}

void Replay::Warn(const std::string& text)
{
    const std::lock_guard lock(m_sync);
    ClearProgress();
    std::fprintf(stderr, "replay: warning: %s\n", text.c_str());
    m_report.warnings.push_back(text);
}

void Replay::Say(const std::string& text)
{
    if (m_options.verbose)
    {
        Print(text);
    }
}

void Replay::Print(const std::string& text)
{
    const std::lock_guard lock(m_sync);
    if (!m_options.quiet)
    {
        ClearProgress();
        std::fprintf(stderr, "replay: %s\n", text.c_str());
    }
}

void Replay::ClearProgress()
{
    if (m_pProgress)
    {
        m_pProgress->Clear();
    }
}
