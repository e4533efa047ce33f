#pragma once

#include "common/Types.h"

#include <string>
#include <utility>

/// Result of a step, with the reason of a failure as a sentence for a person.
///
/// The text is UTF-8 and names the reason alone ("Disk full"), not the path of
/// the clip; it is empty on success.
struct [[nodiscard]] PYXStatus
{
    PYX_RESULT result = PYX_OK;
    std::string text{};

    bool IsOk() const
    {
        return result == PYX_OK;
    }
};
