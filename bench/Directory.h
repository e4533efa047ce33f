#pragma once

#include "common/Types.h"

#include <string>

/// What lies in a directory.
struct DirectoryContent
{
    pyx_uint64 files = 0;
    pyx_uint64 bytes = 0;

    bool operator==(const DirectoryContent&) const = default;
};

DirectoryContent ReadDirectory(const std::wstring& directory);

/// The folder that all measurements put their files in: set once by main.
void SetScratchDirectory(const std::wstring& directory);

/// A folder of the scratch directory. The one of the module and the one of the
/// floors lie side by side.
std::wstring ModuleDirectory();
std::wstring FloorDirectory();
