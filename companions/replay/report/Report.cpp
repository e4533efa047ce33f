#include "replay/report/Report.h"

#include "replay/Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <sstream>

namespace
{

std::string Describe(const PacketCounts& packets)
{
    return std::to_string(packets.All()) + " packets (" + std::to_string(packets.video) + " video, " +
           std::to_string(packets.audio) + " audio), " + FormatBytes(packets.bytes);
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
        {"packetsWritten", contents.packets.All()},
        {"videoPacketsWritten", contents.packets.video},
        {"audioPacketsWritten", contents.packets.audio},
        {"bytesWritten", contents.packets.bytes},
        {"output", PathForUser(clip.path)},
    };
}

} // namespace

void Report::Add(const MediaPacket& packet, const PYXRecorderLook& look, std::chrono::nanoseconds taken)
{
    constexpr pyx_int64 smallestGap = PYX_TICKS_PER_SECOND / 100;
    std::chrono::nanoseconds& longest = look.savesWaiting > 0 ? longestWhileSaving : longestOtherwise;
    longest = std::max(longest, taken);
    const double ticks = std::max(1.0, std::floor(static_cast<double>(taken.count()) / 100));
    ++submits[static_cast<int>(std::floor(8 * std::log2(ticks)))];
    const pyx_uint64 bytes = packet.Bytes().size();
    in.bytes += bytes;
    ++(packet.video ? in.video : in.audio);
    const pyx_int64 end = packet.pts + packet.duration;
    if (packet.video && packet.key)
    {
        groups.push_back({.start = packet.pts, .end = end, .heldFrom = look.from, .heldBytes = look.bytes - bytes});
    }
    if (!packet.video && (audio.empty() || packet.pts - audio.back().second >= smallestGap))
    {
        audio.emplace_back(packet.pts, end);
    }
    if (!packet.video)
    {
        audio.back().second = std::max(audio.back().second, end);
    }
    if (groups.empty())
    {
        return; // no picture can be shown before the first key picture
    }
    ReportedGroup& group = groups.back();
    group.bytes += bytes;
    ++(packet.video ? group.pictures : group.audioPackets);
    group.end = packet.video ? std::max(group.end, end) : group.end;
    if (groups.size() > c_mostGroups)
    {
        groups.pop_front();
        ++forgotten;
    }
}

std::string ReportAsTable(const Report& report)
{
    std::ostringstream table;
    table << std::fixed << std::setprecision(2) << "In        " << Describe(report.in) << "\n";
    for (const auto& [clip, contents] : report.clips)
    {
        const double missing = ToSeconds(clip.newest - clip.to);
        table << "Kept      " << contents.groups << (contents.groups == 1 ? " group, " : " groups, ")
              << contents.seconds << " s\nCovers    " << ToSeconds(clip.from - report.origin) << " s to "
              << ToSeconds(clip.to - report.origin) << " s of the input"
              << (missing > 0 ? ", without the newest " + FormatSeconds(missing, 2) + " s" : "") << "\nWritten   "
              << Describe(contents.packets) << "\nOutput    " << PathForUser(clip.path) << "\n";
    }
    table << (report.clips.empty() ? "Output    none\n" : "");
    if (report.savedMeanwhile)
    {
        table << std::setprecision(3) << "Longest   SubmitInput " << Milliseconds(report.longestWhileSaving)
              << " ms while a clip was saved, " << Milliseconds(report.longestOtherwise) << " ms otherwise\n";
    }
    table << std::setprecision(2) << "Taken     " << report.secondsTaken << " s\n";
    return table.str();
}

std::string ReportAsJson(const Options& options, const Report& report, const Outcome& run)
{
    nlohmann::ordered_json json = {
        {"packetsIn", report.in.All()},
        {"videoPacketsIn", report.in.video},
        {"audioPacketsIn", report.in.audio},
        {"bytesIn", report.in.bytes},
        {"mode", options.exact ? "exact" : "whole"},
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
        json["longestSubmitMs"] = {{"whileSaving", Milliseconds(report.longestWhileSaving)},
                                   {"otherwise", Milliseconds(report.longestOtherwise)}};
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
