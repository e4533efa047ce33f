#pragma once

#include <string>

/// How the program ends; scripts rely on the numbers.
enum class ExitCode : int
{
    Saved = 0,       ///< a playable clip was written
    Failed = 1,      ///< anything that has no number of its own
    BadUsage = 2,    ///< the command line makes no sense
    NothingKept = 3, ///< no completed group of pictures was kept, so there is no clip
    BadInput = 4,    ///< the input cannot be opened, is of no supported kind, or broke midway
    CannotWrite = 5, ///< the output or the temporary directory cannot be written
};

/// Result of one step: success, or the exit code and the one line to print.
struct [[nodiscard]] Outcome
{
    ExitCode code = ExitCode::Saved;
    std::string text{}; ///< without the program's name and without a line end

    bool IsOk() const
    {
        return code == ExitCode::Saved;
    }
};
