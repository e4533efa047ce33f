#include "replay/Report.h"

#include "replay/Text.h"

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

} // namespace

std::string ReportAsTable(const Report& report)
{
    const ClipContents clip = report.clip.value_or(ClipContents());
    return Row("In", Packets(report.in.videoPackets, report.in.audioPackets, report.in.bytes)) +
           Row("Kept", std::to_string(clip.groups) + (clip.groups == 1 ? " GOP, " : " GOPs, ") +
                           FormatSeconds(clip.seconds, 2) + " s") +
           Row("Written", Packets(clip.videoPackets, clip.audioPackets, clip.bytes)) +
           Row("Output", report.clip ? PathForUser(report.output) : "none") +
           Row("Taken", FormatSeconds(report.secondsTaken, 2) + " s");
}

std::string ReportAsJson(const Report& report)
{
    const ClipContents clip = report.clip.value_or(ClipContents());
    nlohmann::ordered_json json = {
        {"packetsIn", report.in.videoPackets + report.in.audioPackets},
        {"videoPacketsIn", report.in.videoPackets},
        {"audioPacketsIn", report.in.audioPackets},
        {"bytesIn", report.in.bytes},
        {"gopsKept", clip.groups},
        {"secondsKept", clip.seconds},
        {"packetsWritten", clip.videoPackets + clip.audioPackets},
        {"videoPacketsWritten", clip.videoPackets},
        {"audioPacketsWritten", clip.audioPackets},
        {"bytesWritten", clip.bytes},
        {"output", nullptr},
        {"secondsTaken", report.secondsTaken},
    };
    if (report.clip)
    {
        json["output"] = PathForUser(report.output);
    }
    // A file name may hold half a surrogate pair, which UTF-8 has no form for.
    return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}
