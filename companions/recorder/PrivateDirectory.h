#pragma once

#include "common/Handles.h"
#include "recorder/Status.h"

#include <string>

/// A directory of a recorder's own for a component's temporary files.
///
/// The component removes everything in the directory that it is given, so it is
/// never given one that others use: a new one is made inside the one that the
/// host names, and removed with this object. What has the name already, a link
/// or another's directory, is left alone and another name is taken.
///
///     FOLDER\pyx-recorder-<process>-<number>.lock   held while the process lives
///     FOLDER\pyx-recorder-<process>-<number>\       the component's
///
/// A process that was killed leaves both, and its lock is free. Sweep() takes a
/// free lock that holds our text, and deletes the files in its directory that are
/// named as the component names them, then the directory if it is empty.
class PYXPrivateDirectory
{
public:
    PYXPrivateDirectory() = default;
    PYXPrivateDirectory(const PYXPrivateDirectory&) = delete;
    PYXPrivateDirectory& operator=(const PYXPrivateDirectory&) = delete;

    /// Waits up to 2 s for a file that another program holds.
    ~PYXPrivateDirectory();

    /// Removes what killed processes left in `folder`. PYX_FILE_NOT_OPEN: it does not exist or takes no files.
    static PYXStatus Sweep(const std::wstring& folder);

    /// Takes no room on the disk but for the names. PYX_FILE_NOT_OPEN: it cannot be made.
    PYXStatus Make(const std::wstring& folder);

    /// Whether the component, which removes and makes it again and does not report a failure, has made it.
    PYXStatus Check() const;

    const std::wstring& Path() const
    {
        return m_path;
    }

    /// Makes an empty file of audio beside each group's video that has none. False: one cannot be made.
    bool CompleteAudio() const;

private:
    bool Take(const std::wstring& path);

    PYXFileOwner m_lock;
    std::wstring m_path; // empty until there is a directory
};
