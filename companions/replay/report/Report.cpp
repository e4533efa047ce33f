#include "replay/report/Report.h"

#include "replay/Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace
{

std::string Packets(pyx_uint64 video, pyx_uint64 audio, pyx_uint64 bytes)
{
    return std::to_string(video + audio) + " packets (" + std::to_string(video) + " video, " + std::to_string(audio) +
           " audio), " + FormatBytes(bytes);
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
    std::ostringstream table;
    table << std::fixed << std::setprecision(2) << "In        "
          << Packets(report.in.videoPackets, report.in.audioPackets, report.in.bytes) << "\n";
    for (const auto& [clip, contents] : report.clips)
    {
        const double missing = ToSeconds(clip.newest - clip.to);
        table << "Kept      " << contents.groups << (contents.groups == 1 ? " group, " : " groups, ")
              << contents.seconds << " s\nCovers    " << ToSeconds(clip.from - report.origin) << " s to "
              << ToSeconds(clip.to - report.origin) << " s of the input"
              << (missing > 0 ? ", without the newest " + FormatSeconds(missing, 2) + " s" : "") << "\nWritten   "
              << Packets(contents.videoPackets, contents.audioPackets, contents.bytes) << "\nOutput    "
              << PathForUser(clip.path) << "\n";
    }
    table << (report.clips.empty() ? "Output    none\n" : "");
    if (report.savedMeanwhile)
    {
        table << "Longest   SubmitInput " << FormatSeconds(Milliseconds(report.longestSubmit.whileSaving), 3)
              << " ms while a clip was saved, " << FormatSeconds(Milliseconds(report.longestSubmit.otherwise), 3)
              << " ms otherwise\n";
    }
    table << "Taken     " << report.secondsTaken << " s\n";
    return table.str();
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
        json["error"] = {{"code", static_cast<int>(run.code)}, {"text", run.text}};
    }
    // A file name may hold half a surrogate pair, which UTF-8 has no form for.
    return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}
