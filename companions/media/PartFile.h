#pragma once

#include <string>

/// A file that takes its name only when it is complete.
///
///     the object chooses a working name in the same folder, under which its owner writes the file
///          -> Commit: renamed to "clip.mp4", replacing an older one
///          `- otherwise deleted at the object's end
///
/// Of two writers of one name, the last one to commit stays. Threads: one at a time.
class PartFile
{
public:
    explicit PartFile(const std::wstring& path);
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;
    ~PartFile();

    /// What is written, and closed before Commit() and before the object ends.
    const std::wstring& WorkingPath() const
    {
        return m_part;
    }

    /// Gives the file its name; 0, or the system's error code.
    unsigned long Commit();

private:
    std::wstring m_path;
    std::wstring m_part;
};
