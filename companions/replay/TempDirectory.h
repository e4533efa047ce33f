#pragma once

#include "replay/Outcome.h"
#include "replay/Win32Handle.h"

/// A directory of this program's own for the component's temporary files.
///
/// The component removes everything in the directory that it is given, so it is
/// never given one that somebody else uses: a new one is made inside the one
/// that the user names, and goes with this object.
///
///     DIR\pyx-replay-<number>.lock   open while the program lives, gone with it however it ends
///     DIR\pyx-replay-<number>\       the component's
///
/// A program that was killed leaves its directory behind, without the lock. The
/// next one that uses the same DIR removes it: only files named as the
/// component names them, and the directory only when nothing else is in it.
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
    Win32Handle m_lock;
    std::wstring m_path;
};
