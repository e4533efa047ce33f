#include "replay/report/ReportPage.h"

#include "media/PartFile.h"
#include "replay/Completed.h"
#include "replay/Text.h"

#include <nlohmann/json.hpp>

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace
{

using Json = nlohmann::ordered_json;

constexpr std::string_view c_placeForRun = "@RUN@";

/// The resource that report.rc makes of report.html.
std::string_view Template()
{
    const HRSRC resource = FindResourceW(nullptr, L"REPORT_PAGE", RT_RCDATA);
    const HGLOBAL loaded = resource ? LoadResource(nullptr, resource) : nullptr; // stays loaded as the program does
    const void* pData = loaded ? LockResource(loaded) : nullptr;
    return pData ? std::string_view(static_cast<const char*>(pData), SizeofResource(nullptr, resource))
                 : std::string_view();
}

/// A path as an address: what is no plain character of one is encoded.
std::string EncodeForUrl(std::u8string_view path)
{
    constexpr const char* hex = "0123456789ABCDEF";
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
    std::string url;
    for (const char8_t byte : path)
    {
        const char c = static_cast<char>(byte);
        url += plain.find(c) != plain.npos ? std::string(1, c) : std::string{'%', hex[byte >> 4], hex[byte & 15]};
    }
    return url;
}

std::string NameOf(const std::wstring& path)
{
    return path == c_standardInput ? PathForUser(path) : PYXToUtf8(std::filesystem::path(path).filename().native());
}

/// Where the page finds the clip, by full paths. It is relative, so that both
/// can be moved together; on another drive it is not.
std::string UrlOf(const std::filesystem::path& clip, const std::filesystem::path& page)
{
    const std::filesystem::path relative = clip.lexically_relative(page.parent_path());
    return relative.empty() ? "file:///" + EncodeForUrl(clip.generic_u8string())
                            : EncodeForUrl(relative.generic_u8string());
}

// The page reads times in seconds from the input's first picture, and costs in microseconds.

double Seconds(pyx_int64 ticks)
{
    return static_cast<double>(ticks) / PYX_TICKS_PER_SECOND;
}

Json TimelineAsJson(const Options& options, const TimelineRecord& timeline, pyx_int64 origin)
{
    constexpr const char* fates[] = {"kept", "dropped", "written", "cut"};
    const auto time = [origin](pyx_int64 pts) { return Seconds(pts - origin); };
    Json json = {{"duration", options.duration},
                 {"storage", options.ram ? "memory" : "temporary files"},
                 {"bytesOutside", timeline.bytesOutside},
                 {"forgotten", timeline.forgotten},
                 {"groups", Json::array()},
                 {"audio", Json::array()},
                 {"saves", Json::array()}};
    for (const TimelineGroup& group : timeline.groups)
    {
        json["groups"].push_back({{"start", time(group.start)},
                                  {"end", time(group.end)},
                                  {"pictures", group.pictures},
                                  {"audioPackets", group.audioPackets},
                                  {"bytes", group.bytes},
                                  {"fate", fates[static_cast<std::size_t>(group.fate)]},
                                  {"clip", group.clip},
                                  {"cutAt", time(group.cutAt)},
                                  {"heldFrom", time(group.heldFrom)},
                                  {"heldBytes", group.heldBytes}});
    }
    for (const TimelineSpan& span : timeline.audio)
    {
        json["audio"].push_back(Json::array({time(span.start), time(span.end)}));
    }
    for (const pyx_int64 at : timeline.saves)
    {
        json["saves"].push_back(time(at));
    }
    return json;
}

Json SubmitAsJson(const std::array<SubmitTimes, 3>& times)
{
    const auto micros = [](pyx_int64 ticks) { return static_cast<double>(ticks) * 1e6 / PYX_TICKS_PER_SECOND; };
    Json kinds = Json::array();
    const auto addKind = [&](const char* name, const SubmitTimes& kind) {
        kinds.push_back({{"name", name},
                         {"calls", kind.Count()},
                         {"p50", micros(kind.Percentile(50))},
                         {"p99", micros(kind.Percentile(99))},
                         {"longest", micros(kind.Longest())}});
    };
    SubmitTimes all;
    std::ranges::for_each(times, [&all](const SubmitTimes& kind) { all.Add(kind); });
    addKind("all", all);
    addKind("group starts", times[static_cast<std::size_t>(PacketKind::Start)]);
    addKind("other video", times[static_cast<std::size_t>(PacketKind::Regular)]);
    addKind("audio", times[static_cast<std::size_t>(PacketKind::Audio)]);
    Json steps = Json::array();
    for (const auto& [start, calls] : all.Steps())
    {
        steps.push_back({{"from", micros(start)}, {"to", micros(SubmitTimes::EndOfStep(start))}, {"calls", calls}});
    }
    return {{"kinds", kinds}, {"steps", steps}};
}

/// So that no text in it can end the page's element, or start a comment in it.
std::string AsElementText(const Json& json)
{
    std::string text = json.dump(-1, ' ', true, Json::error_handler_t::replace); // ASCII only
    for (std::size_t at = text.find('<'); at != std::string::npos; at = text.find('<', at))
    {
        text.replace(at, 1, "\\u003c");
    }
    return text;
}

std::string RunAsText(const Options& options, const Report& report, const Outcome& run, const TimelineRecord& timeline)
{
    Json json = {{"summary", Json::parse(ReportAsJson(report, run))},
                 {"input", {{"name", NameOf(options.input)}, {"path", PathForUser(options.input)}}},
                 {"timeline", TimelineAsJson(options, timeline, report.origin)},
                 {"submit", SubmitAsJson(timeline.times)}};
    for (std::size_t i = 0; i < report.clips.size(); ++i)
    {
        Json& clip = json["summary"]["clips"][i];
        clip["name"] = NameOf(report.clips[i].output);
        clip["url"] = UrlOf(report.clips[i].output, options.report);
    }
    return AsElementText(json);
}

} // namespace

Outcome WriteReportPage(const Options& options, const Report& report, const Outcome& run,
                        const TimelineRecord& timeline)
{
    const std::string_view page = Template();
    const std::size_t place = page.find(c_placeForRun);
    if (place == std::string_view::npos)
    {
        return {ExitCode::Failed, "this program has no report page in it"};
    }
    const std::string text = RunAsText(options, report, run, timeline);
    PartFile part(options.report);
    std::ofstream file(std::filesystem::path(part.WorkingPath()), std::ios::binary);
    file << page.substr(0, place) << text << page.substr(place + c_placeForRun.size());
    file.close();
    const unsigned long error = file ? part.Commit() : GetLastError();
    if (!file || error != ERROR_SUCCESS)
    {
        return {ExitCode::CannotWrite, "cannot write " + PathForUser(options.report) + ": " + PYXSystemText(error)};
    }
    ListCompleted(options.report);
    return {};
}
