#pragma once

#include "replay/Clip.h"
#include "replay/Session.h"

/// What a run did, for its last lines.
struct Report
{
    Intake in;
    std::optional<ClipContents> clip; ///< none when no clip was written
    SavedStretch stretch;             ///< of the input, that the clip covers
    pyx_int64 origin = 0;             ///< time stamp of the input's first picture, from which users count
    bool exact = false;
    std::vector<std::string> warnings;
    std::wstring output;
    double secondsTaken = 0;
};

/// A few lines to be read, with a line end each.
std::string ReportAsTable(const Report& report);

/// The same as one JSON object on one line, with the failure if the run failed.
std::string ReportAsJson(const Report& report, const Outcome& run);

/// Prints on standard output. CannotWrite: not everything could be written.
Outcome PrintReport(const std::string& text);
