#include "replay/Options.h"

#include "replay/input/Codecs.h"
#include "replay/Text.h"

#include <CLI/CLI.hpp>

#include <windows.h>
#include <io.h>
#include <shellapi.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <sstream>
#include <utility>
#include <vector>

namespace
{

constexpr std::array c_containers = {".mp4", ".mov", ".mkv"};
constexpr std::array c_pages = {".html", ".htm"};

/// The arguments without the program's name, last one first, as the parser
/// wants them.
std::vector<std::string> ReversedArguments()
{
    int count = 0;
    const std::unique_ptr<LPWSTR, decltype(&LocalFree)> pArguments(CommandLineToArgvW(GetCommandLineW(), &count),
                                                                   &LocalFree);
    std::vector<std::string> arguments;
    for (int i = count - 1; pArguments && i > 0; --i)
    {
        arguments.push_back(ToUtf8(pArguments.get()[i]));
    }
    return arguments;
}

std::wstring FullPath(const std::wstring& path)
{
    if (path.starts_with(L"\\\\?\\")) // is full, and is not to lose dots and spaces that its name ends with
    {
        return path;
    }
    std::wstring result(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    result.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(result.size()),
                                   result.empty() ? nullptr : result.data(), nullptr));
    return result;
}

std::string SystemTempDirectory()
{
    wchar_t path[MAX_PATH + 1] = {};
    GetTempPathW(MAX_PATH + 1, path);
    return ToUtf8(path);
}

bool EndsInOneOf(std::span<const char* const> endings, std::string path)
{
    std::transform(path.begin(), path.end(), path.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; });
    return std::any_of(endings.begin(), endings.end(), [&path](const char* ending) { return path.ends_with(ending); });
}

ProgressStyle StyleForStandardError()
{
    return _isatty(_fileno(stderr)) ? ProgressStyle::Bar : ProgressStyle::Plain;
}

/// The command line as it was typed.
struct Arguments
{
    std::string input;
    std::string output = "replay.mp4";
    std::string temp;
    std::string report;
    std::string duration = "30";
    std::string audio;
    std::string saveAt;
    std::string progress = "auto";
    std::string control;
    std::string completed;
    std::vector<std::pair<std::string, std::string>> shownPaths;
    bool unixPaths = false;
};

void DeclareFiles(CLI::App* pApp, Arguments* pArguments)
{
    pApp->add_option("INPUT", pArguments->input,
                     "media file (" + SupportedContainers() + ")\nwith " + SupportedCodecs(AVMEDIA_TYPE_VIDEO) +
                         " video, and " + SupportedCodecs(AVMEDIA_TYPE_AUDIO) +
                         " audio if any;\n"
                         "- reads Matroska or MPEG-TS from standard input")
        ->required();
    pApp->add_option("-o,--output", pArguments->output, "the clip: .mp4, .mov or .mkv")
        ->option_text("FILE [replay.mp4]");
    pApp->add_option("--temp", pArguments->temp,
                     "existing directory for the temporary files; a new directory of our\n"
                     "own is made in it and removed, nothing else there is touched")
        ->option_text("DIR");
    pApp->add_option("--report", pArguments->report, "write a page of the run that a browser shows")
        ->option_text("FILE.html");
}

void DeclareSaving(CLI::App* pApp, Arguments* pArguments, Options* pOptions)
{
    pApp->add_option("--duration", pArguments->duration, "seconds to keep, a whole number")
        ->option_text("SECONDS [30]");
    pApp->add_flag("--exact", pOptions->exact,
                   "cut the clip at SECONDS after its first picture, wherever the input\n"
                   "ends, instead of ending it with the newest picture");
    pApp->add_option("--save-at", pArguments->saveAt,
                     "save a clip at each of these times of the input, in seconds, into\n"
                     "numbered files beside the output, and go on")
        ->option_text("T1,T2,...");
    pApp->add_option("--audio", pArguments->audio,
                     "the audio track to keep, counted from 1, or none; without it the\n"
                     "one that the input marks as its default")
        ->option_text("N|none");
    pApp->add_flag("--faststart", pOptions->faststart, "put the index of an .mp4 or .mov in front of its packets");
    pApp->add_flag("--ram", pOptions->ram, "keep the packets in memory instead of temporary files");
    pApp->add_flag("--realtime", pOptions->realtime, "read as fast as the video plays");
}

void DeclareTalking(CLI::App* pApp, Arguments* pArguments, Options* pOptions)
{
    pApp->add_flag("--verbose", pOptions->verbose, "say what happens, show the components' traces");
    pApp->add_flag("--quiet", pOptions->quiet, "say nothing but warnings and failures");
    pApp->add_flag("--json", pOptions->json, "report as one JSON object on standard output");
    pApp->add_option("--progress", pArguments->progress, "bar, plain or none; auto asks the terminal")
        ->check(CLI::IsMember({"auto", "bar", "plain", "none"}))
        ->option_text("STYLE [auto]");
    pApp->set_version_flag("--version", "replay " PYX_VERSION);
    // For the script that starts us on Linux.
    pApp->add_flag("--unix-paths", pArguments->unixPaths)->group("");
    pApp->add_option("--control", pArguments->control)->group("");
    pApp->add_option("--completed", pArguments->completed)->group("");
    pApp->add_option("--show-as", pArguments->shownPaths)->group("");
}

void Declare(CLI::App* pApp, Arguments* pArguments, Options* pOptions)
{
    pApp->allow_windows_style_options(false); // "/name" is a path
    DeclareFiles(pApp, pArguments);
    DeclareSaving(pApp, pArguments, pOptions);
    DeclareTalking(pApp, pArguments, pOptions);
    pApp->footer("Ctrl+C stops reading and saves what is kept.\n"
                 "Exit codes: 0 a playable clip was written, 2 bad usage, 3 no completed group of pictures was kept,\n"
                 "4 unreadable or broken input, 5 output or temporary directory cannot be written, 1 anything else.");
}

ProgressStyle StyleOf(const std::string& name)
{
    if (name == "auto")
    {
        return StyleForStandardError();
    }
    return name == "bar" ? ProgressStyle::Bar : name == "plain" ? ProgressStyle::Plain : ProgressStyle::None;
}

Outcome BadValue(const char* option, const std::string& value, const char* wanted)
{
    return {ExitCode::BadUsage, std::string(option) + " needs " + wanted + ", not \"" + value + "\""};
}

/// The whole text as a number within [lowest, highest].
template <class Number> std::optional<Number> ToNumber(std::string_view text, Number lowest, Number highest)
{
    Number number{};
    const char* pEnd = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), pEnd, number);
    const bool whole = result.ec == std::errc() && result.ptr == pEnd;
    return whole && number >= lowest && number <= highest ? std::optional(number) : std::nullopt;
}

Outcome TakeDuration(const std::string& text, Options* pOptions)
{
    const std::optional number =
        ToNumber<pyx_int64>(text, 1, std::numeric_limits<pyx_int32>::max()); // the property's bounds
    pOptions->duration = number.value_or(0);
    return number ? Outcome() : BadValue("--duration", text, "whole seconds from 1 to 2147483647");
}

Outcome TakeAudio(const std::string& text, Options* pOptions)
{
    pOptions->audio.none = text == "none";
    const std::optional number = ToNumber(text, 1, std::numeric_limits<int>::max());
    pOptions->audio.track = number.value_or(0);
    return number || pOptions->audio.none ? Outcome() : BadValue("--audio", text, "a track's number from 1, or none");
}

Outcome TakeSaveTimes(const std::string& text, Options* pOptions)
{
    constexpr double highest = 1e9;       // seconds; as ticks far inside 64 bits
    std::istringstream parts(text + ','); // so that nothing after the last comma is a part, too
    for (std::string part; std::getline(parts, part, ',');)
    {
        const std::optional seconds = ToNumber(part, 0.0, highest);
        if (!seconds)
        {
            return BadValue("--save-at", text, "times in seconds such as 20,42.5");
        }
        pOptions->saveAt.push_back(static_cast<pyx_int64>(*seconds * PYX_TICKS_PER_SECOND));
    }
    std::sort(pOptions->saveAt.begin(), pOptions->saveAt.end());
    return {};
}

Outcome TakePath(const char* option, const std::string& path, std::wstring* pFullPath)
{
    *pFullPath = FullPath(ToWide(path));
    return path.empty() ? BadValue(option, path, "a path") : Outcome();
}

Outcome TakeOutput(const std::string& path, Options* pOptions)
{
    RETURN_ON_FAILURE(TakePath("--output", path, &pOptions->output));
    return EndsInOneOf(c_containers, path) ? Outcome()
                                           : Outcome(ExitCode::BadUsage, "the output must end in .mp4, .mov or .mkv: " +
                                                                             PathForUser(pOptions->output));
}

/// Its ending keeps it apart from the input and the clip, which it would replace.
Outcome TakeReport(const std::string& path, Options* pOptions)
{
    RETURN_ON_FAILURE(TakePath("--report", path, &pOptions->report));
    return EndsInOneOf(c_pages, path)
               ? Outcome()
               : Outcome(ExitCode::BadUsage, "the report must end in .html: " + PathForUser(pOptions->report));
}

/// Options that were not given keep what `*pOptions` had.
Outcome Take(const CLI::App& app, const Arguments& arguments, Options* pOptions)
{
    pOptions->completed = ToWide(arguments.completed);
    ShowUnixPaths(arguments.unixPaths);
    for (const auto& [path, shown] : arguments.shownPaths)
    {
        ShowPathAs(ToWide(path), shown);
    }
    pOptions->input = ToWide(arguments.input);
    if (pOptions->input != c_standardInput)
    {
        RETURN_ON_FAILURE(TakePath("INPUT", arguments.input, &pOptions->input));
    }
    RETURN_ON_FAILURE(TakeOutput(arguments.output, pOptions));
    RETURN_ON_FAILURE(
        TakePath("--temp", app.count("--temp") > 0 ? arguments.temp : SystemTempDirectory(), &pOptions->temp));
    RETURN_ON_FAILURE(app.count("--report") > 0 ? TakeReport(arguments.report, pOptions) : Outcome());
    RETURN_ON_FAILURE(TakeDuration(arguments.duration, pOptions));
    RETURN_ON_FAILURE(app.count("--audio") > 0 ? TakeAudio(arguments.audio, pOptions) : Outcome());
    RETURN_ON_FAILURE(app.count("--save-at") > 0 ? TakeSaveTimes(arguments.saveAt, pOptions) : Outcome());
    pOptions->control = ToWide(arguments.control);
    pOptions->progress = pOptions->quiet ? ProgressStyle::None : StyleOf(arguments.progress);
    return {};
}

/// "--name=" would take the next argument for its value. `arguments` come last
/// one first; what follows "--" are no options.
Outcome CheckValues(const std::vector<std::string>& arguments)
{
    const auto isEmptyValue = [](const std::string& text) { return text.starts_with("--") && text.ends_with("="); };
    const auto options = std::find(arguments.rbegin(), arguments.rend(), "--");
    const auto found = std::find_if(arguments.rbegin(), options, isEmptyValue);
    return found == options ? Outcome()
                            : Outcome(ExitCode::BadUsage, found->substr(0, found->size() - 1) + " needs a value");
}

/// So that a failure to understand the rest can be told in the form asked for.
bool AsksForJson(const std::vector<std::string>& arguments)
{
    return std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
}

} // namespace

Outcome ReadCommandLine(Options* pOptions, std::string* pText)
{
    CLI::App app("Sample host of the replay buffer: plays a media file into it, packet by packet,\n"
                 "and saves the last seconds as a clip.",
                 "replay");
    Arguments arguments;
    Declare(&app, &arguments, pOptions);
    std::vector<std::string> typed = ReversedArguments();
    pOptions->json = AsksForJson(typed);
    RETURN_ON_FAILURE(CheckValues(typed));
    try
    {
        app.parse(typed);
    }
    catch (const CLI::CallForVersion& version)
    {
        *pText = std::string(version.what()) + "\n";
        return {};
    }
    catch (const CLI::CallForHelp&)
    {
        *pText = app.help();
        return {};
    }
    catch (const CLI::ParseError& error)
    {
        return {ExitCode::BadUsage, std::string(error.what()) + " (--help lists the options)"};
    }
    return Take(app, arguments, pOptions);
}
