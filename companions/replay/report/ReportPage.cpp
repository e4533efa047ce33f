#include "media/PartFile.h"
#include "recorder/Reasons.h"
#include "replay/Control.h"
#include "replay/report/Report.h"
#include "replay/Text.h"

#include <nlohmann/json.hpp>

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ReportedGroup, start, end, pictures, audioPackets, bytes, heldFrom, heldBytes)

namespace
{

constexpr std::string_view c_page =
#include "report/report.html.inc"
    ;
constexpr std::string_view c_placeForRun = "@RUN@";
constexpr std::size_t c_place = c_page.find(c_placeForRun);
static_assert(c_place != c_page.npos);

/// Where the page finds the clip, by full paths. It is relative, so that both
/// can be moved together; on another drive it is not. The page encodes it.
std::string UrlOf(const std::filesystem::path& clip, const std::filesystem::path& page)
{
    const std::filesystem::path relative = clip.lexically_relative(page.parent_path());
    return relative.empty() ? "file:///" + PYXToUtf8(clip.generic_wstring())
                            : "./" + PYXToUtf8(relative.generic_wstring());
}

/// The page works out times from the ticks here.
std::string RunAsText(const Options& options, const Report& report, const Outcome& run)
{
    nlohmann::json json = {
        {"summary", nlohmann::json::parse(ReportAsJson(options, report, run))},
        {"input", PathForUser(options.input)},
        {"duration", options.duration},
        {"storage", options.ram ? "memory" : "temporary files"},
        {"origin", report.origin},
        {"groups", report.groups},
        {"forgotten", report.forgotten},
        {"audio", report.audio},
        {"submits", report.submits},
        {"longestSubmit", std::max(report.longestWhileSaving, report.longestOtherwise).count() / 100},
        {"urls", nlohmann::json::array()}};
    for (const auto& [clip, contents] : report.clips)
    {
        json["urls"].push_back(UrlOf(clip.path, options.report));
    }
    std::string text = json.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace); // ASCII only
    for (std::size_t at = 0; (at = text.find('<', at)) != text.npos;) // it could end the element or start a comment
    {
        text.replace(at, 1, "\\u003c");
    }
    return text;
}

} // namespace

Outcome WriteReportPage(const Options& options, const Report& report, const Outcome& run)
{
    PartFile part(options.report);
    std::ofstream file(std::filesystem::path(part.WorkingPath()), std::ios::binary);
    file << c_page.substr(0, c_place) << RunAsText(options, report, run)
         << c_page.substr(c_place + c_placeForRun.size());
    file.close();
    if (!file || part.Commit() != ERROR_SUCCESS)
    {
        return {ExitCode::CannotWrite, "cannot write " + PathForUser(options.report) + ": " +
                                           PYXCheckWritable(options.report, c_page.size()).text};
    }
    ListCompleted(options.completed, options.report);
    return {};
}
