#include "replay/Options.h"

#include "replay/Text.h"

#include <CLI/CLI.hpp>

#include <windows.h>
#include <io.h>
#include <shellapi.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <memory>
#include <vector>

namespace
{

constexpr const char* c_help =
#include "help.txt.inc"
    ;

/// The arguments without the program's name, last one first, as the parser wants them.
std::vector<std::string> ReversedArguments()
{
    int count = 0;
    const std::unique_ptr<LPWSTR, decltype(&LocalFree)> pArguments(CommandLineToArgvW(GetCommandLineW(), &count),
                                                                   &LocalFree);
    std::vector<std::string> arguments;
    for (int i = count - 1; pArguments && i > 0; --i)
    {
        arguments.push_back(PYXToUtf8(pArguments.get()[i]));
    }
    return arguments;
}

std::wstring FullPath(const std::wstring& path)
{
    // A path with this prefix is full already; absolute() would strip dots and spaces at its end.
    std::error_code none; // then the path is empty
    return path == c_standardInput || path.starts_with(L"\\\\?\\") ? path
                                                                   : std::filesystem::absolute(path, none).wstring();
}

std::wstring FromEnvironment(const wchar_t* name)
{
    const wchar_t* text = _wgetenv(name);
    return text ? text : L"";
}

/// Refuses an empty path, and one that ends in none of `endings` (if there are any).
CLI::Option* AddPath(CLI::App* pApp, const std::string& name, std::wstring* pPath, const std::string& wanted = "a path",
                     const std::vector<std::string>& endings = {})
{
    const auto isWanted = [=](const std::string& path) {
        const bool fits = endings.empty() || std::ranges::any_of(endings, [&](const std::string& ending) {
                              return CLI::detail::to_lower(path).ends_with(ending);
                          });
        return fits && !path.empty() ? "" : "needs " + wanted + ", not \"" + PathForUser(PYXToWide(path)) + "\"";
    };
    const auto take = [pPath](const std::string& path) { *pPath = FullPath(PYXToWide(path)); };
    return pApp->add_option_function<std::string>(name, take)->check(isWanted);
}

/// CLI11 would read leading zeros as octal.
std::string WithoutLeadingZeros(std::string text)
{
    return text.erase(0, std::min(text.find_first_not_of('0'), text.size() - 1));
}

std::string CheckAudio(std::string& text)
{
    const bool isNone = text == "none";
    text = isNone ? std::to_string(c_noAudio) : WithoutLeadingZeros(text);
    const bool isTrack = CLI::Range(1, std::numeric_limits<int>::max())(text).empty();
    return isNone || isTrack ? "" : "needs a track's number from 1, or none, not \"" + text + "\"";
}

void Declare(CLI::App* pApp, Options* pOptions)
{
    constexpr double longest = 1e9; // seconds; as ticks far inside 64 bits
    pOptions->progress = _isatty(_fileno(stderr)) ? ProgressStyle::Bar : ProgressStyle::Plain;
    pApp->allow_windows_style_options(false); // "/name" is a path
    pApp->set_version_flag("--version", "replay " PYX_VERSION);
    AddPath(pApp, "INPUT", &pOptions->input)->required();
    AddPath(pApp, "-o,--output", &pOptions->output, "a file .mp4, .mov or .mkv", {".mp4", ".mov", ".mkv"});
    AddPath(pApp, "--temp", &pOptions->temp);
    // Its ending keeps it apart from the input and the clip, which it would replace.
    AddPath(pApp, "--report", &pOptions->report, "a file .html", {".html", ".htm"});
    pApp->add_option("--duration", pOptions->duration)
        ->transform(WithoutLeadingZeros)
        ->check(CLI::Range(1, std::numeric_limits<pyx_int32>::max())); // the property's bounds
    pApp->add_option("--save-at", pOptions->saveAt)
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CLI::Range(0.0, longest))
        ->check([](const std::string& time) { return time.find_first_of("nN") == time.npos ? "" : "nan is no time"; });
    pApp->add_option("--audio", pOptions->audio)->transform(CLI::Validator(CheckAudio, ""));
    pApp->add_flag("--exact", pOptions->exact);
    pApp->add_flag("--faststart", pOptions->faststart);
    pApp->add_flag("--ram", pOptions->ram);
    pApp->add_flag("--realtime", pOptions->realtime);
    pApp->add_flag("--verbose", pOptions->verbose);
    pApp->add_flag("--quiet", pOptions->quiet);
    pApp->add_flag("--json", pOptions->json);
    const std::map<std::string, ProgressStyle> styles = {{"auto", pOptions->progress},
                                                         {"bar", ProgressStyle::Bar},
                                                         {"plain", ProgressStyle::Plain},
                                                         {"none", ProgressStyle::None}};
    pApp->add_option_function<std::string>("--progress",
                                           [=](const std::string& name) { pOptions->progress = styles.at(name); })
        ->check(CLI::IsMember(styles));
}

} // namespace

Outcome ReadCommandLine(Options* pOptions, std::string* pText)
{
    CLI::App app("", "replay");
    std::vector<std::string> typed = ReversedArguments();
    Declare(&app, pOptions);
    pOptions->json = std::ranges::find(typed, "--json") != typed.end(); // also when the rest is not understood
    pOptions->control = FromEnvironment(L"PYX_REPLAY_CONTROL");         // from the script that starts us on Linux
    pOptions->completed = FromEnvironment(L"PYX_REPLAY_COMPLETED");
    pOptions->output = FullPath(L"replay.mp4");
    std::error_code none; // then the path is empty, and the run says that there is no such directory
    pOptions->temp = FullPath(std::filesystem::temp_directory_path(none).native());
    // "--name=" would take the next argument for its value. What follows "--" are no options.
    const auto options = std::find(typed.rbegin(), typed.rend(), "--");
    const auto empty = std::find_if(
        typed.rbegin(), options, [](const std::string& text) { return text.starts_with("--") && text.ends_with("="); });
    if (empty != options)
    {
        return {ExitCode::BadUsage, empty->substr(0, empty->size() - 1) + " needs a value"};
    }
    try
    {
        app.parse(typed);
    }
    catch (const CLI::Success& asked)
    {
        *pText = asked.get_name() == "CallForVersion" ? "replay " PYX_VERSION "\n" : c_help;
        return {};
    }
    catch (const CLI::ParseError& error)
    {
        return {ExitCode::BadUsage, std::string(error.what()) + " (--help lists the options)"};
    }
    std::ranges::sort(pOptions->saveAt);
    pOptions->progress = pOptions->quiet ? ProgressStyle::None : pOptions->progress;
    return {};
}
