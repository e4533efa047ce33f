#include "replay/Replay.h"

#include "common/KeyPacket.h"
#include "host/HostBuffer.h"
#include "host/HostObject.h"
#include "media/ClipProperties.h"
#include "media/PartFile.h"
#include "recorder/Reasons.h"
#include "replay/Control.h"
#include "replay/input/Describe.h"
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

/// Before anything is read, what the muxer would otherwise refuse in the end.
Outcome CheckContainer(const std::wstring& output, const MediaReader& reader)
{
    const bool isMov = _wcsicmp(std::filesystem::path(output).extension().c_str(), L".mov") == 0;
    return reader.Codec().inMov || !isMov
               ? Outcome()
               : Outcome(ExitCode::BadUsage,
                         "a .mov file cannot hold " + std::string(reader.Codec().name) + ", an .mp4 or .mkv file can");
}

Outcome NotWritten(const std::wstring& path, const PYXStatus& why)
{
    return {ExitCode::CannotWrite, "the clip could not be written to " + PathForUser(path) + ": " + why.text};
}

} // namespace

Outcome Replay::Run()
{
    const Clock::time_point start = Clock::now();
    const std::jthread requests = WatchControlFile(m_options.control, [this] { BeginSave(); });
    PYX_RETURN_IF_FAILED(m_options.report.empty() ? Outcome() : CheckWritable(m_options.report));
    PYX_RETURN_IF_FAILED(OpenInput());
    PYX_RETURN_IF_FAILED(CheckClip(m_options.output, m_options.input)); // before hours of video are read
    const Outcome outcome = Record();
    m_pRecorder.reset(); // no save uses it any more
    if (HostObject::Alive() != 0)
    {
        Warn(std::to_string(HostObject::Alive()) + " objects of the host are still referenced");
    }
    m_report.secondsTaken = std::chrono::duration<double>(Clock::now() - start).count();
    return outcome;
}

PYXRecorderSettings Replay::Settings() const
{
    return {.folder = m_options.temp,
            .inMemory = m_options.ram,
            .seconds = m_options.duration,
            .exact = m_options.exact,
            .video = DescribeVideo(m_input.Video()),
            .audio = m_input.Audio() ? std::optional(DescribeAudio(*m_input.Audio())) : std::nullopt,
            .spMore = DescribeClip(m_input.Video(), m_options.faststart)};
}

Outcome Replay::OpenInput()
{
    PYX_RETURN_IF_FAILED(m_input.Open(m_options.input, m_options.audio));
    std::ranges::for_each(m_input.Warnings(), [this](const std::string& text) { Warn(text); });
    PYX_RETURN_IF_FAILED(CheckContainer(m_options.output, m_input.Video()));
    PYX_RETURN_IF_FAILED(m_input.Audio() ? CheckContainer(m_options.output, *m_input.Audio()) : Outcome());
    if (const std::string lost = WhatIsNotKept(m_input.Video(), m_options.output); !lost.empty())
    {
        Warn(lost);
    }
    av_dump_format(m_input.Video().File(), 0, PathForUser(m_options.input).c_str(), 0); // shown with --verbose
    return {};
}

Outcome Replay::Record()
{
    PYX_RETURN_IF_FAILED(Open(&m_pRecorder, Settings()));
    const Outcome fed = Feed();
    {
        const std::lock_guard lock(m_sync);
        m_hasEnded = true;
        m_progress.Clear();
    }
    Outcome last = TakeClip(m_pRecorder->End({.path = m_options.output}));
    if (last.code == ExitCode::NothingKept && !m_report.clips.empty())
    {
        last = CopyLastClip();
    }
    if (fed.IsOk())
    {
        return last.IsOk() ? m_failedSave : last;
    }
    if (!last.IsOk())
    {
        Warn(last.text);
    }
    return m_report.clips.empty() ? fed : Outcome(fed.code, fed.text + "; what was read until then is saved");
}

Outcome Replay::Open(std::unique_ptr<PYXRecorder>* ppRecorder, const PYXRecorderSettings& settings)
{
    auto pRecorder = std::make_unique<PYXRecorder>();
    if (const PYXStatus opened = pRecorder->Open(settings); !opened.IsOk())
    {
        return opened.result == PYX_FILE_NOT_OPEN
                   ? Outcome(ExitCode::CannotWrite, "cannot write to the temporary directory " +
                                                        PathForUser(m_options.temp) + ": " + opened.text)
                   : Outcome(ExitCode::Failed, opened.text);
    }
    const std::lock_guard lock(m_sync);
    *ppRecorder = std::move(pRecorder);
    m_report.fed = true;
    return {};
}

/// A clip can contain neither two picture sizes nor a cut: what came before gets its own clip. It is written when the
/// audio that belongs to it has come; saves that are asked for meanwhile are the next recorder's.
Outcome Replay::BeginStretch(const MediaPacket& first)
{
    EndLeaving();
    std::unique_ptr<PYXRecorder> pNext;
    PYXRecorderSettings settings = Settings();
    settings.video.size = first.size;
    PYX_RETURN_IF_FAILED(Open(&pNext, settings));
    PYX_RETURN_IF_FAILED(Submit(pNext.get(), first)); // first, so that it has something to save
    const std::lock_guard lock(m_sync);
    m_pLeaving = std::exchange(m_pRecorder, std::move(pNext));
    m_seam = first.hidden ? m_pLeaving->Look().to : first.pts;
    const bool isAsked = m_pLeaving->Look().savesForPicture > 0; // that save gets all of it
    m_leavingPath = isAsked ? L"" : NextPath();
    Warn("after " + FormatTime(m_seam - m_report.origin) + " the " +
         (first.hidden ? "input has a cut" : "pictures have another size") + ": what is kept from before it is " +
         (isAsked ? "the clip that was asked for" : "saved as " + PathForUser(m_leavingPath)));
    return {};
}

/// Audio of the stretch before may come after the pictures of the next one have begun.
PYXRecorder* Replay::RecorderFor(const MediaPacket& packet)
{
    if (packet.video && packet.pts >= m_seam + PYXRecorder::c_patience)
    {
        EndLeaving();
    }
    return (m_pLeaving && !packet.video && packet.pts < m_seam ? m_pLeaving : m_pRecorder).get();
}

void Replay::EndLeaving()
{
    if (m_pLeaving)
    {
        const Outcome saved = TakeClip(m_pLeaving->End({.path = m_leavingPath}));
        NoteFailedSave(saved.code == ExitCode::NothingKept ? Outcome() : saved, "; recording goes on");
        m_lateAudio += m_pLeaving->Look().packetsLate;
        m_pLeaving.reset();
    }
}

Outcome Replay::Feed()
{
    constexpr auto mostAsleep = std::chrono::milliseconds(50); // how late an interruption is noticed
    const LiveOrder& order = m_input.Order();
    const Clock::time_point start = Clock::now();
    std::ptrdiff_t reached = 0; // of --save-at
    Outcome stored;
    for (MediaPacket packet; stored.IsOk() && !IsInterrupted() && m_input.Next(&packet);)
    {
        const Clock::time_point due = start + std::chrono::nanoseconds(order.Elapsed() * 100);
        while (m_options.realtime && !IsInterrupted() && Clock::now() < due)
        {
            std::this_thread::sleep_until(std::min(due, Clock::now() + mostAsleep));
        }
        {
            const std::lock_guard lock(m_sync);
            m_lastPacket = Clock::now();
            m_progress.Show(order.Elapsed(), m_input.FileDuration(), m_report.in.bytes);
        }
        const auto next =
            std::ranges::upper_bound(m_options.saveAt, ToSeconds(order.Elapsed())) - m_options.saveAt.begin();
        if (next > reached)
        {
            reached = next;
            BeginSave();
        }
        stored = packet.newStretch ? BeginStretch(packet) : Submit(RecorderFor(packet), packet);
    }
    EndLeaving();
    PYX_RETURN_IF_FAILED(stored);
    if (const std::ptrdiff_t missed = std::ssize(m_options.saveAt) - reached; missed > 0 && !IsInterrupted())
    {
        Warn("times of --save-at not reached: " + std::to_string(missed) + "; the last packet begins at " +
             FormatSeconds(ToSeconds(order.Elapsed()), 2) + " s");
    }
    if (IsInterrupted())
    {
        Warn("interrupted, saving what is kept");
    }
    std::ranges::for_each(m_input.Losses(), [this](const std::string& text) { Warn(text); });
    if (const pyx_uint64 late = m_lateAudio + m_pRecorder->Look().packetsLate; late > 0)
    {
        Warn(std::to_string(late) + " audio packets came too late for their group" +
             (m_options.ram ? "" : "; --ram keeps such"));
    }
    const std::string why = m_input.WhyBroken();
    return why.empty() ? Outcome()
                       : Outcome(ExitCode::BadInput, PathForUser(m_options.input) + " is broken after " +
                                                         FormatTime(order.Elapsed()) + ": " + why);
}

Outcome Replay::Submit(PYXRecorder* pRecorder, const MediaPacket& packet)
{
    const bool isHidden = packet.video && packet.hidden; // players leave such audio out by themselves
    const bool isEarly = !packet.video && !m_report.groups.empty() && packet.pts < m_report.groups.front().start;
    const Clock::time_point start = Clock::now();
    const PYX_RESULT result = isEarly    ? PYX_OK // no clip can have it
                              : isHidden ? SubmitHidden(pRecorder, packet)
                              : packet.video
                                  ? pRecorder->SubmitVideo(packet.Bytes(), packet.pts, packet.duration, packet.key)
                                  : pRecorder->SubmitAudio(packet.Bytes(), packet.pts, packet.duration);
    const std::chrono::nanoseconds taken = Clock::now() - start;
    if (result != PYX_OK)
    {
        return {m_options.ram ? ExitCode::Failed : ExitCode::CannotWrite,
                "a packet could not be stored" + (m_options.ram ? "" : " in " + PathForUser(m_options.temp)) + ": " +
                    pRecorder->Explain(result)};
    }
    const PYXRecorderLook look = pRecorder->Look();
    const std::lock_guard lock(m_sync);
    if (packet.video && !isHidden)
    {
        const bool isFirst = !std::exchange(m_hasOrigin, true);
        m_report.origin = isFirst || (m_hasHidden && packet.pts < m_report.origin) ? packet.pts : m_report.origin;
    }
    if (isHidden && !std::exchange(m_hasHidden, true) && m_options.output.ends_with(L".mkv"))
    {
        Warn("the input has pictures that are not shown, at a cut; an .mkv file shows them, .mp4 and .mov do not");
    }
    m_report.Add(packet, look, taken);
    return {};
}

PYX_RESULT Replay::SubmitHidden(PYXRecorder* pRecorder, const MediaPacket& packet) const
{
    const PYXInterfacePtr<HostBuffer> spBuffer = HostBuffer::Create(packet.Bytes());
    if (!spBuffer)
    {
        return PYX_OUT_OF_MEMORY;
    }
    spBuffer->SetPts(packet.pts);
    spBuffer->SetDuration(packet.duration);
    PASS_ON_FAILURE_SILENTLY(PYXMarkVideoPacket(spBuffer.Get(), m_input.Video().Codec().number, packet.key));
    PASS_ON_FAILURE_SILENTLY(spBuffer->SetProperty(PYX_PROPERTY_NOT_SHOWN, PYXVariantFromBool(true)));
    return pRecorder->SubmitVideo(spBuffer.Get());
}

/// On the thread that takes requests, or on Run()'s.
void Replay::BeginSave()
{
    const std::lock_guard lock(m_sync);
    const PYXRecorderLook look = m_pRecorder && !m_hasEnded ? m_pRecorder->Look() : PYXRecorderLook();
    const char* refusal = m_hasEnded         ? "no clip is saved: the recording has ended"
                          : look.groups == 0 ? "no clip is saved, recording goes on: nothing is kept yet"
                          : look.savesForPicture > 0
                              ? "the clip asked for before has not begun yet and covers this request too"
                              : nullptr;
    if (refusal)
    {
        Warn(refusal);
        return;
    }
    const std::wstring path = NextPath();
    const auto onSaved = [this](const PYXSavedClip& clip) { NoteFailedSave(TakeClip(clip), ""); };
    if (const PYXStatus status = m_pRecorder->Save({.path = path, .onSaved = onSaved}); !status.IsOk())
    {
        NoteFailedSave(NotWritten(path, status), "; recording goes on");
        return;
    }
    m_report.savedMeanwhile = true;
    const bool stalls = Clock::now() - m_lastPacket > std::chrono::seconds(1);
    Print("saving " + PathForUser(path) + " at the next key picture" +
          (stalls ? ", when the input goes on: it has stalled" : ""));
}

/// The clip's with the next number that no file has, and no other run with the same output.
std::wstring Replay::NextPath()
{
    const std::size_t ending = m_options.output.find_last_of(L'.');
    std::wstring path;
    std::error_code unknown;
    bool isTaken = false;
    do
    {
        path = m_options.output.substr(0, ending) + L"-" + std::to_wstring(++m_saves) + m_options.output.substr(ending);
        const std::wstring name = L"pyx-replay-" + std::to_wstring(std::hash<std::wstring>()(path));
        const HANDLE hNumber = CreateMutexW(nullptr, FALSE, name.c_str());
        isTaken = GetLastError() == ERROR_ALREADY_EXISTS;
        m_numbers.emplace_back(hNumber);
    } while (isTaken || std::filesystem::exists(path, unknown));
    return path;
}

/// A clip is written, or has failed: what became of it. One that was saved meanwhile: on the recorder's thread.
Outcome Replay::TakeClip(const PYXSavedClip& clip)
{
    ClipContents contents;
    const Outcome result = clip.status.IsOk()                    ? ReadClip(clip.path, &contents)
                           : clip.status.result == PYX_NOT_FOUND ? Outcome(ExitCode::NothingKept, clip.status.text)
                                                                 : NotWritten(clip.path, clip.status);
    const std::lock_guard lock(m_sync);
    std::ranges::for_each(clip.warnings, [this](const std::string& warning) { Warn(warning); });
    PYX_RETURN_IF_FAILED(result);
    Print("saved " + PathForUser(clip.path) + " in " + FormatSeconds(clip.secondsTaken, 2) + " s",
          clip.id != 0 || m_options.verbose);
    if (const pyx_uint64 written = contents.packets.All(); !m_options.exact && written < clip.packets)
    {
        Warn(PathForUser(clip.path) + " holds " + std::to_string(written) + " of the " + std::to_string(clip.packets) +
             " packets that were kept for it");
    }
    if (const pyx_int64 missing = clip.newest - clip.to; missing > PYX_TICKS_PER_SECOND)
    {
        Warn("the newest " + FormatSeconds(ToSeconds(missing), 1) + " s are not in the clip: --exact cuts it " +
             std::to_string(m_options.duration) + " s after its first picture");
    }
    ListCompleted(m_options.completed, clip.path);
    m_report.clips.push_back({clip, contents});
    m_report.clips.back().clip.from = std::max(clip.from + contents.hidden, m_report.origin);
    std::ranges::sort(m_report.clips, {}, [](const ReportedClip& other) { return other.clip.from; });
    return {};
}

/// A save that fails does not end the recording.
void Replay::NoteFailedSave(const Outcome& failure, const char* consequence)
{
    const std::lock_guard lock(m_sync);
    if (!failure.IsOk())
    {
        Warn(failure.text + consequence);
        m_failedSave = m_failedSave.IsOk() ? failure : m_failedSave;
    }
}

/// A save that waited for its key picture at the end took all that was kept.
Outcome Replay::CopyLastClip()
{
    ReportedClip last = m_report.clips.back();
    const std::wstring first = std::exchange(last.clip.path, m_options.output);
    PartFile part(m_options.output); // an older file stays until the copy is complete
    const bool isCopied = CopyFileW(first.c_str(), part.WorkingPath().c_str(), FALSE);
    if (const DWORD error = isCopied ? part.Commit() : GetLastError(); error != ERROR_SUCCESS)
    {
        return NotWritten(m_options.output, {PYX_FILE_NOT_OPEN, PYXSystemText(error)});
    }
    Print("nothing came after " + PathForUser(first) + ", so " + PathForUser(m_options.output) + " is the same");
    ListCompleted(m_options.completed, m_options.output);
    m_report.clips.push_back(last);
    return {};
}

void Replay::Warn(const std::string& text)
{
    const std::lock_guard lock(m_sync);
    m_progress.Clear();
    std::fprintf(stderr, "replay: warning: %s\n", text.c_str());
    m_report.warnings.push_back(text);
}

void Replay::Print(const std::string& text, bool wanted)
{
    const std::lock_guard lock(m_sync);
    if (wanted && !m_options.quiet)
    {
        m_progress.Clear();
        std::fprintf(stderr, "replay: %s\n", text.c_str());
    }
}
