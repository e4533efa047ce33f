#include "replay/report/Report.h"

#include "replay/Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace
{

std::string Packets(pyx_uint64 video, pyx_uint64 audio, pyx_uint64 bytes)
{
    return std::to_string(video + audio) + " packets (" + std::to_string(video) + " video, " + std::to_string(audio) +
           " audio), " + FormatBytes(bytes);
}

std::string Row(const char* name, const std::string& value)
{
    std::string row(name);
    row.resize(10, ' ');
    return row + value + "\n";
}

std::string Covers(const PYXSavedClip& clip, pyx_int64 origin)
{
    const pyx_int64 missing = clip.newest - clip.to;
    return FormatSeconds(ToSeconds(clip.from - origin), 2) + " s to " + FormatSeconds(ToSeconds(clip.to - origin), 2) +
           " s of the input" +
           (missing > 0 ? ", without the newest " + FormatSeconds(ToSeconds(missing), 2) + " s" : "");
}

double Milliseconds(std::chrono::nanoseconds time)
{
    return std::chrono::duration<double, std::milli>(time).count();
}

/// A clip's part of the JSON object.
nlohmann::ordered_json ClipAsJson(const ReportedClip& reported, pyx_int64 origin)
{
    const auto& [clip, contents] = reported;
    return {
        {"gopsKept", contents.groups},
        {"secondsKept", contents.seconds},
        {"coveredFrom", ToSeconds(clip.from - origin)},
        {"coveredTo", ToSeconds(clip.to - origin)},
        {"missingNewest", ToSeconds(clip.newest - clip.to)},
        {"packetsWritten", contents.videoPackets + contents.audioPackets},
        {"videoPacketsWritten", contents.videoPackets},
        {"audioPacketsWritten", contents.audioPackets},
        {"bytesWritten", contents.bytes},
        {"output", PathForUser(clip.path)},
    };
}

} // namespace

void Report::Add(const MediaPacket& packet, const PYXRecorderLook& look, std::chrono::nanoseconds taken)
{
    std::chrono::nanoseconds& longest = look.savesWaiting > 0 ? longestSubmit.whileSaving : longestSubmit.otherwise;
    longest = std::max(longest, taken);
    in.bytes += packet.Bytes().size();
    ++(packet.video ? in.videoPackets : in.audioPackets);
    timeline.Add(packet, look, taken);
}

std::string ReportAsTable(const Report& report)
{
    std::string table = Row("In", Packets(report.in.videoPackets, report.in.audioPackets, report.in.bytes));
    for (const auto& [clip, contents] : report.clips)
    {
        table += Row("Kept", std::to_string(contents.groups) + (contents.groups == 1 ? " group, " : " groups, ") +
                                 FormatSeconds(contents.seconds, 2) + " s") +
                 Row("Covers", Covers(clip, report.origin)) +
                 Row("Written", Packets(contents.videoPackets, contents.audioPackets, contents.bytes)) +
                 Row("Output", PathForUser(clip.path));
    }
    if (report.clips.empty())
    {
        table += Row("Output", "none");
    }
    if (report.savedMeanwhile)
    {
        table += Row("Longest", "SubmitInput " + FormatSeconds(Milliseconds(report.longestSubmit.whileSaving), 3) +
                                    " ms while a clip was saved, " +
                                    FormatSeconds(Milliseconds(report.longestSubmit.otherwise), 3) + " ms otherwise");
    }
    return table + Row("Taken", FormatSeconds(report.secondsTaken, 2) + " s");
}

std::string ReportAsJson(const Report& report, const Outcome& run)
{
    nlohmann::ordered_json json = {
        {"packetsIn", report.in.videoPackets + report.in.audioPackets},
        {"videoPacketsIn", report.in.videoPackets},
        {"audioPacketsIn", report.in.audioPackets},
        {"bytesIn", report.in.bytes},
        {"mode", report.exact ? "exact" : "whole"},
    };
    json.update(ClipAsJson(report.clips.empty() ? ReportedClip() : report.clips.back(), report.origin));
    if (report.clips.empty())
    {
        json.update(
            {{"coveredFrom", nullptr}, {"coveredTo", nullptr}, {"missingNewest", nullptr}, {"output", nullptr}});
    }
    json["clips"] = nlohmann::ordered_json::array();
    for (const ReportedClip& clip : report.clips)
    {
        json["clips"].push_back(ClipAsJson(clip, report.origin));
    }
    json["longestSubmitMs"] = nullptr;
    if (report.savedMeanwhile)
    {
        json["longestSubmitMs"] = {{"whileSaving", Milliseconds(report.longestSubmit.whileSaving)},
                                   {"otherwise", Milliseconds(report.longestSubmit.otherwise)}};
    }
    json["secondsTaken"] = report.secondsTaken;
    json["warnings"] = report.warnings;
    if (!run.IsOk())
    {
        json["error"] = {{"code", static_cast<int>(run.Code())}, {"text", run.Text()}};
    }
    // A file name may hold half a surrogate pair, which UTF-8 has no form for.
    return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

Outcome PrintReport(const std::string& text)
{
    const bool written = std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
    return written
               ? Outcome()
               : Outcome(ExitCode::CannotWrite,
                         std::string("the report could not be written to standard output: ") + std::strerror(errno));
}
