#pragma once

#include "common/Handles.h"
#include "replay/Outcome.h"

/// A directory of this program's own for the component's temporary files.
///
/// The component removes everything in the directory that it is given, so it is
/// never given one that somebody else uses: a new one is made inside the one
/// that the user names, and goes with this object.
///
///     DIR\pyx-replay-<number>.lock   held while the program lives
///     DIR\pyx-replay-<number>\       the component's
///
/// A program that was killed leaves both behind, and nobody holds the lock. The
/// next one that uses the same DIR removes them: the directory of a free lock
/// that has our text in it, there only files named as the component names them,
/// and the directory only when nothing else is in it.
class TempDirectory
{
public:
    TempDirectory() = default;
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;
    ~TempDirectory();

    /// `parent` must exist.
    Outcome Make(const std::wstring& parent);

    /// Whether the component, which makes it anew and tells nobody when that
    /// fails, has made it.
    Outcome Check() const;

    const std::wstring& Path() const
    {
        return m_path;
    }

private:
    bool Take(const std::wstring& path);

    PYXFileHandle m_lock;
    std::wstring m_path; // empty until there is a directory
};
