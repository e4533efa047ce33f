#pragma once

#include "replay/Options.h"
#include "replay/report/Report.h"

/// Writes a page to look at a run to `options.report`: one HTML file that holds
/// the run's numbers, draws them, and shows the clips beside it.
///
/// It is the file report.html with the numbers put in as JSON. CannotWrite: the
/// page could not be written, and a file that had its name is still there.
Outcome WriteReportPage(const Options& options, const Report& report, const Outcome& run);
