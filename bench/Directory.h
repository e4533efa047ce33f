#pragma once

#include "common/Types.h"

#include <filesystem>

/// The folder that all measurements put their files in: set once by main.
inline std::filesystem::path g_scratchDirectory;

/// Folders in it: the one of the module and the one of the floors are side by
/// side.
inline std::filesystem::path ModuleDirectory()
{
    return g_scratchDirectory / "module";
}
inline std::filesystem::path FloorDirectory()
{
    return g_scratchDirectory / "floor";
}

/// The content of a directory.
struct DirectoryContent
{
    explicit DirectoryContent(const std::filesystem::path& directory)
    {
        for (const auto& entry : std::filesystem::directory_iterator(directory))
        {
            ++files;
            bytes += entry.file_size();
        }
    }

    bool operator==(const DirectoryContent&) const = default;

    pyx_uint64 files = 0;
    pyx_uint64 bytes = 0;
};
