#include "replay/report/ReportPage.h"

#include "media/PartFile.h"
#include "replay/Completed.h"
#include "replay/Text.h"

#include <nlohmann/json.hpp>

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

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
    return path == c_standardInput ? PathForUser(path) : ToUtf8(std::filesystem::path(path).filename().native());
}

/// Where the page finds the clip, by full paths. It is relative, so that both
/// can be moved together; on another drive it is not.
std::string UrlOf(const std::filesystem::path& clip, const std::filesystem::path& page)
{
    const std::filesystem::path relative = clip.lexically_relative(page.parent_path());
    return relative.empty() ? "file:///" + EncodeForUrl(clip.generic_u8string())
                            : EncodeForUrl(relative.generic_u8string());
}

/// The run's numbers as the page reads them: times in seconds from the input's
/// first picture, costs in microseconds.
class RunAsJson
{
public:
    RunAsJson(const Timeline& timeline, pyx_int64 origin) : m_timeline(timeline), m_origin(origin)
    {
    }

    Json TimelineAsJson(const Options& options) const
    {
        Json json = {{"duration", options.duration},
                     {"storage", options.ram ? "memory" : "temporary files"},
                     {"bytesOutside", m_timeline.BytesOutside()},
                     {"forgotten", m_timeline.Forgotten()},
                     {"groups", Json::array()},
                     {"audio", Json::array()},
                     {"saves", Json::array()}};
        std::ranges::transform(m_timeline.Groups(), std::back_inserter(json["groups"]),
                               [this](const TimelineGroup& group) { return GroupAsJson(group); });
        std::ranges::transform(m_timeline.Audio(), std::back_inserter(json["audio"]), [this](const TimelineSpan& span) {
            return Json::array({Time(span.start), Time(span.end)});
        });
        std::ranges::transform(m_timeline.Saves(), std::back_inserter(json["saves"]),
                               [this](const TimelineSave& save) { return Time(save.at); });
        return json;
    }

    Json SubmitAsJson() const
    {
        SubmitTimes all;
        Json kinds = Json::array({nullptr});
        for (const auto& [kind, name] :
             {std::pair(PacketKind::Start, "group starts"), std::pair(PacketKind::Regular, "other video"),
              std::pair(PacketKind::Audio, "audio")})
        {
            all.Add(m_timeline.Times(kind));
            kinds.push_back(TimesAsJson(m_timeline.Times(kind), name));
        }
        kinds.front() = TimesAsJson(all, "all");
        Json steps = Json::array();
        for (const auto& [start, calls] : all.Steps())
        {
            steps.push_back({{"from", Micros(start)}, {"to", Micros(SubmitTimes::EndOfStep(start))}, {"calls", calls}});
        }
        return {{"kinds", kinds}, {"steps", steps}};
    }

private:
    static double Seconds(pyx_int64 ticks)
    {
        return static_cast<double>(ticks) / PYX_TICKS_PER_SECOND;
    }

    static double Micros(pyx_int64 ticks)
    {
        return static_cast<double>(ticks) * 1e6 / PYX_TICKS_PER_SECOND;
    }

    double Time(pyx_int64 pts) const
    {
        return Seconds(pts - m_origin);
    }

    Json GroupAsJson(const TimelineGroup& group) const
    {
        constexpr const char* fates[] = {"kept", "dropped", "written", "cut"};
        return {{"start", Time(group.start)},
                {"end", Time(group.end)},
                {"pictures", group.pictures},
                {"audioPackets", group.audioPackets},
                {"bytes", group.bytes},
                {"fate", fates[static_cast<std::size_t>(group.fate)]},
                {"clip", group.clip},
                {"cutAt", Time(group.cutAt)},
                {"heldFrom", Time(group.heldFrom)},
                {"heldBytes", group.heldBytes}};
    }

    static Json TimesAsJson(const SubmitTimes& times, const char* name)
    {
        return {{"name", name},
                {"calls", times.Count()},
                {"p50", Micros(times.Percentile(50))},
                {"p99", Micros(times.Percentile(99))},
                {"longest", Micros(times.Longest())}};
    }

    const Timeline& m_timeline;
    const pyx_int64 m_origin;
};

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

std::string RunAsText(const Options& options, const Report& report, const Outcome& run, const Timeline& timeline)
{
    const RunAsJson asJson(timeline, report.origin);
    Json json = {{"summary", Json::parse(ReportAsJson(report, run))},
                 {"input", {{"name", NameOf(options.input)}, {"path", PathForUser(options.input)}}},
                 {"timeline", asJson.TimelineAsJson(options)},
                 {"submit", asJson.SubmitAsJson()}};
    for (std::size_t i = 0; i < report.clips.size(); ++i)
    {
        Json& clip = json["summary"]["clips"][i];
        clip["name"] = NameOf(report.clips[i].output);
        clip["url"] = UrlOf(report.clips[i].output, options.report);
    }
    return AsElementText(json);
}

} // namespace

Outcome WriteReportPage(const Options& options, const Report& report, const Outcome& run, const Timeline& timeline)
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
        return {ExitCode::CannotWrite, "cannot write " + PathForUser(options.report) + ": " + SystemReason(error)};
    }
    ListCompleted(options.report);
    return {};
}
