#include "replay/Report.h"

#include "replay/Text.h"

#include <cstdio>
#include <nlohmann/json.hpp>

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

double Seconds(pyx_int64 ticks)
{
    return static_cast<double>(ticks) / PYX_TICKS_PER_SECOND;
}

std::string Covers(const Report& report)
{
    if (!report.clip)
    {
        return "nothing";
    }
    const SavedStretch& stretch = report.stretch;
    const std::string missing =
        stretch.newest > stretch.to
            ? ", without the newest " + FormatSeconds(Seconds(stretch.newest - stretch.to), 2) + " s"
            : "";
    return FormatSeconds(Seconds(stretch.from - report.origin), 2) + " s to " +
           FormatSeconds(Seconds(stretch.to - report.origin), 2) + " s of the input" + missing;
}

} // namespace

std::string ReportAsTable(const Report& report)
{
    const ClipContents clip = report.clip.value_or(ClipContents());
    return Row("In", Packets(report.in.videoPackets, report.in.audioPackets, report.in.bytes)) +
           Row("Kept", std::to_string(clip.groups) + (clip.groups == 1 ? " group, " : " groups, ") +
                           FormatSeconds(clip.seconds, 2) + " s") +
           Row("Covers", Covers(report)) + Row("Written", Packets(clip.videoPackets, clip.audioPackets, clip.bytes)) +
           Row("Output", report.clip ? PathForUser(report.output) : "none") +
           Row("Taken", FormatSeconds(report.secondsTaken, 2) + " s");
}

std::string ReportAsJson(const Report& report, const Outcome& run)
{
    const ClipContents clip = report.clip.value_or(ClipContents());
    nlohmann::ordered_json json = {
        {"packetsIn", report.in.videoPackets + report.in.audioPackets},
        {"videoPacketsIn", report.in.videoPackets},
        {"audioPacketsIn", report.in.audioPackets},
        {"bytesIn", report.in.bytes},
        {"gopsKept", clip.groups},
        {"secondsKept", clip.seconds},
        {"mode", report.exact ? "exact" : "whole"},
        {"coveredFrom", nullptr},
        {"coveredTo", nullptr},
        {"missingNewest", nullptr},
        {"packetsWritten", clip.videoPackets + clip.audioPackets},
        {"videoPacketsWritten", clip.videoPackets},
        {"audioPacketsWritten", clip.audioPackets},
        {"bytesWritten", clip.bytes},
        {"output", nullptr},
        {"secondsTaken", report.secondsTaken},
        {"warnings", report.warnings},
    };
    if (report.clip)
    {
        json["coveredFrom"] = Seconds(report.stretch.from - report.origin);
        json["coveredTo"] = Seconds(report.stretch.to - report.origin);
        json["missingNewest"] = Seconds(report.stretch.newest - report.stretch.to);
        json["output"] = PathForUser(report.output);
    }
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
    return written ? Outcome() : Outcome(ExitCode::CannotWrite, "the report could not be written to standard output");
}
