#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the run, with a line that says why, unless `holds`. A number measured on
/// something that did not work is worth nothing.
inline void Require(bool holds, const char* what)
{
    if (!holds)
    {
        std::fprintf(stderr, "pyx-bench: failed: %s\n", what);
        std::exit(1);
    }
}
