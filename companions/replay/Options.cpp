#include "replay/Options.h"

#include "replay/Text.h"

#include <algorithm>
#include <array>
#include <CLI/CLI.hpp>
#include <io.h>
#include <limits>
#include <memory>
#include <vector>
#include <windows.h>

#include <shellapi.h>

namespace
{

constexpr std::array c_containers = {".mp4", ".mov", ".mkv"};

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
    std::wstring result(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    result.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(result.size()),
                                   result.empty() ? nullptr : result.data(), nullptr));
    return result;
}

std::wstring SystemTempDirectory()
{
    wchar_t path[MAX_PATH + 1] = {};
    GetTempPathW(MAX_PATH + 1, path);
    return path;
}

bool EndsInContainer(std::string path)
{
    std::transform(path.begin(), path.end(), path.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; });
    return std::any_of(c_containers.begin(), c_containers.end(),
                       [&path](const char* ending) { return path.ends_with(ending); });
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
    std::string progress = "auto";
    bool unixPaths = false;
};

void Declare(CLI::App* pApp, Arguments* pArguments, Options* pOptions)
{
    pApp->allow_windows_style_options(false); // "/name" is a path
    pApp->add_option("INPUT", pArguments->input, "media file with H.264, HEVC or AV1 video")->required();
    pApp->add_option("-o,--output", pArguments->output, "the clip: .mp4, .mov or .mkv")->capture_default_str();
    pApp->add_option("--duration", pOptions->duration, "seconds to keep")
        ->check(CLI::Range(pyx_int64{1}, pyx_int64{std::numeric_limits<pyx_int32>::max()}))
        ->option_text("SECONDS [30]");
    pApp->add_flag("--ram", pOptions->ram, "keep the packets in memory instead of temporary files");
    pApp->add_option("--temp", pArguments->temp,
                     "existing directory for the temporary files; a new directory of our\n"
                     "own is made in it and removed, nothing else there is touched")
        ->option_text("DIR");
    pApp->add_flag("--realtime", pOptions->realtime, "read as fast as the video plays");
    pApp->add_flag("--verbose", pOptions->verbose, "say what happens, show the components' traces");
    pApp->add_flag("--json", pOptions->json, "report as one JSON object on standard output");
    pApp->add_option("--progress", pArguments->progress, "bar, plain or none; auto asks the terminal")
        ->check(CLI::IsMember({"auto", "bar", "plain", "none"}))
        ->option_text("STYLE [auto]");
    pApp->add_flag("--unix-paths", pArguments->unixPaths)->group(""); // for the script that starts us on Linux
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

Outcome Take(const Arguments& arguments, Options* pOptions)
{
    ShowUnixPaths(arguments.unixPaths);
    pOptions->input = FullPath(ToWide(arguments.input));
    pOptions->output = FullPath(ToWide(arguments.output));
    pOptions->temp = FullPath(arguments.temp.empty() ? SystemTempDirectory() : ToWide(arguments.temp));
    pOptions->progress = StyleOf(arguments.progress);
    if (!EndsInContainer(arguments.output))
    {
        return {ExitCode::BadUsage, "the output must end in .mp4, .mov or .mkv: " + PathForUser(pOptions->output)};
    }
    return {};
}

} // namespace

Outcome ReadCommandLine(Options* pOptions, std::string* pHelp)
{
    CLI::App app("Sample host of the replay buffer: plays a media file into it, packet by packet,\n"
                 "and saves the last seconds as a clip.",
                 "replay");
    Arguments arguments;
    Declare(&app, &arguments, pOptions);
    try
    {
        app.parse(ReversedArguments());
    }
    catch (const CLI::CallForHelp&)
    {
        *pHelp = app.help();
        return {};
    }
    catch (const CLI::ParseError& error)
    {
        return {ExitCode::BadUsage, std::string(error.what()) + " (--help lists the options)"};
    }
    return Take(arguments, pOptions);
}
