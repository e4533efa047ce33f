#pragma once

#include <string>
#include <utility>

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
class [[nodiscard]] Outcome
{
public:
    Outcome() = default;

    Outcome(ExitCode code, std::string text) : m_code(code), m_text(std::move(text))
    {
    }

    bool IsOk() const
    {
        return m_code == ExitCode::Saved;
    }

    ExitCode Code() const
    {
        return m_code;
    }

    /// Without the program's name and without a line end.
    const std::string& Text() const
    {
        return m_text;
    }

private:
    ExitCode m_code = ExitCode::Saved;
    std::string m_text;
};

/// Passes a step's failure on.
#define RETURN_ON_FAILURE(step)                                                                                        \
    do                                                                                                                 \
    {                                                                                                                  \
        if (Outcome outcome = (step); !outcome.IsOk())                                                                 \
        {                                                                                                              \
            return outcome;                                                                                            \
        }                                                                                                              \
    } while (false)
