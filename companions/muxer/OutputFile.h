#pragma once

#include "common/Types.h"

#include <string>

/// A file that appears under its name only when it is complete.
///
///     Create: a new file in the same folder, with a name that nobody has
///          -> Write, Seek ... -> Commit: renamed to "clip.mp4", replacing an older one
///                             `- Discard, or the end of the object: deleted
///
/// While it is written, others can read it but neither write nor delete it. Of
/// two writers of one name, the last one to commit stays.
/// After a failure GetErrorText says why. Threads: one at a time.
class OutputFile
{
public:
    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    /// Makes the file under its working name; its folder must exist.
    bool Create(const std::wstring& path);

    /// Writes all bytes at the current position, or fails.
    bool Write(const pyx_uint8* pData, pyx_uint32 size);

    /// Moves to a position counted from the start, the current position or the
    /// end (the C library's SEEK_ values). Returns the new one, or -1.
    pyx_int64 Seek(pyx_int64 offset, int origin);

    /// Reads up to `size` bytes of what has been written; the position for writing
    /// stays. Returns how many, 0 at the end, -1 on failure.
    int ReadAt(pyx_int64 position, pyx_uint8* pData, int size);

    /// Size in bytes, or -1.
    pyx_int64 GetSize();

    /// Gives the file its final name. When that fails, it is deleted.
    bool Commit();

    /// Deletes what was written.
    void Discard();

    /// The system's text for the last failure.
    const std::wstring& GetErrorText() const
    {
        return m_errorText;
    }

    bool HasFailed() const
    {
        return !m_errorText.empty();
    }

private:
    bool Check(bool succeeded);
    void Close();

    std::wstring m_path;
    std::wstring m_partPath;
    void* m_handle = nullptr; // null while no file is open
    std::wstring m_errorText; // empty until something failed
};
