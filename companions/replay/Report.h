#pragma once

#include "replay/Clip.h"
#include "replay/Session.h"

/// What a run did, for its last lines.
struct Report
{
    Intake in;
    std::optional<ClipContents> clip; ///< none when no clip was written
    std::wstring output;
    double secondsTaken = 0;
};

/// A few lines to be read, with a line end each.
std::string ReportAsTable(const Report& report);

/// The same as one JSON object on one line.
std::string ReportAsJson(const Report& report);
