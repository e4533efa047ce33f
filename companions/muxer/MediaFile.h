#pragma once

#include "media/FFmpeg.h"
#include "media/PartFile.h"

#include <memory>
#include <string>

/// Metadata of the clip as a whole.
struct FileDetails
{
    std::wstring creationTime; ///< such as "2024-05-06T07:08:09Z"; empty: not known
    std::wstring title;
    bool fastStart = false; ///< an .mp4 or .mov has its index before its packets
};

/// One clip: a container with its streams, written to a file that gets its name
/// when the trailer is in.
///
///     SetFormat -> AddStream for each, described by the caller -> Start -> Write ... -> Finish
///
/// An object that ends before Finish leaves no file. Every failure is
/// traced. Threads: one at a time.
class MediaFile
{
public:
    MediaFile() = default;
    MediaFile(const MediaFile&) = delete;
    MediaFile& operator=(const MediaFile&) = delete;
    ~MediaFile();

    /// The container for a path, by its ending in any letter case; null for one that our build of FFmpeg does not
    /// write.
    static const AVOutputFormat* FindFormat(const std::wstring& path);

    /// Chooses the container by the path's ending. PYX_INVALID_ARG: unknown.
    PYX_RESULT SetFormat(const std::wstring& path);

    /// A stream to be described before Start, or null for want of memory. It
    /// belongs to this object; its time base is final after Start.
    AVStream* AddStream();

    /// The container's description.
    const AVOutputFormat& GetFormat() const
    {
        return *m_pContext->oformat;
    }

    /// Creates the file and writes the header.
    /// PYX_FILE_NOT_OPEN: the file cannot be created. PYX_INVALID_ARG: the
    /// container refuses the streams.
    PYX_RESULT Start(const FileDetails& details);

    /// Moves all times, so that `start` becomes zero: players show nothing before
    /// it. In a container that has no times below zero `earliest` becomes zero when
    /// it is negative. Before the first packet.
    void SetStart(pyx_int64 earliest, pyx_int64 start, AVRational timeBase);

    /// Writes a packet in its stream's time base, interleaved with the other
    /// streams by decode time.
    PYX_RESULT Write(PacketPtr spPacket);

    /// Writes the trailer and gives the file its name.
    /// PYX_FILE_NOT_OPEN: the name cannot be taken.
    PYX_RESULT Finish();

private:
    void SetDetails(const FileDetails& details);
    PYX_RESULT Check(int error, const wchar_t* failure) const;

    std::wstring m_path;
    std::unique_ptr<PartFile> m_pPart; // from SetFormat on
    AVFormatContext* m_pContext = nullptr;
};
