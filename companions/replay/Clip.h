#pragma once

#include "common/Types.h"
#include "replay/Outcome.h"

#include <optional>
#include <string>

/// What a written clip holds, read back from the file.
struct ClipContents
{
    pyx_uint64 videoPackets = 0;
    pyx_uint64 audioPackets = 0;
    pyx_uint64 bytes = 0;  ///< of the packets
    pyx_uint64 groups = 0; ///< key pictures
    double seconds = 0;    ///< from the first picture's start to the last one's end
};

/// The file that the clip is written to: whether that can work, and whether it
/// did.
///
/// A component tells no one when it kept nothing, and a file of the same name
/// may lie there from before, so what counts is a file that was not there when
/// the run began.
class ClipFile
{
public:
    /// Finds out, before hours of video are read, that the clip cannot be
    /// written. BadUsage: it would replace the input.
    Outcome Prepare(const std::wstring& path, const std::wstring& input);

    /// Whether a clip was written since Prepare().
    bool IsNew() const;

    /// Reads the clip from start to end, and lists it as completed. A failure:
    /// it is not playable.
    Outcome ReadBack(ClipContents* pContents) const;

private:
    /// A file in a file system, whatever its name, as it was written last.
    struct Identity
    {
        pyx_uint64 volume;
        pyx_uint64 index;
        pyx_uint64 written;

        bool operator==(const Identity&) const = default;
    };

    static std::optional<Identity> Identify(const std::wstring& path);

    std::wstring m_path;
    std::optional<Identity> m_before; // the file that lay there, if any
};
