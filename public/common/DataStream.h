#pragma once

#include "common/Interface.h"

/// How PYXDataStream::Open opens a file; any other value opens read only.
inline constexpr pyx_uint32 PYX_STREAM_MODE_READ = 0;       ///< the file must exist
inline constexpr pyx_uint32 PYX_STREAM_MODE_WRITE = 1;      ///< create or truncate
inline constexpr pyx_uint32 PYX_STREAM_MODE_READ_WRITE = 2; ///< create or truncate
inline constexpr pyx_uint32 PYX_STREAM_MODE_APPEND = 3;     ///< read and append, create if missing

/// What others may do with an open file.
inline constexpr pyx_uint32 PYX_STREAM_SHARE_NONE = 0;
inline constexpr pyx_uint32 PYX_STREAM_SHARE_READ = 1;
inline constexpr pyx_uint32 PYX_STREAM_SHARE_WRITE = 2;
inline constexpr pyx_uint32 PYX_STREAM_SHARE_ALL = 3;

/// Origins of PYXDataStream::Seek.
inline constexpr pyx_uint32 PYX_STREAM_SEEK_BEGIN = 0;
inline constexpr pyx_uint32 PYX_STREAM_SEEK_CURRENT = 1;
inline constexpr pyx_uint32 PYX_STREAM_SEEK_END = 2;

/// A seekable sequence of bytes. Sizes and positions are in bytes.
///
/// Binary contract: slots in this order, after those of PYXInterface.
/// Threads: one at a time; only the reference count is atomic. A stream over a file
/// returns PYX_FILE_NOT_OPEN while it is closed; one over memory is always open.
class PYXDataStream : public PYXInterface
{
public:
    static constexpr PYXGuid c_id{0xdb08fe70, 0xb743, 0x4c26, {0xb2, 0x77, 0xa5, 0xc8, 0xe8, 0x14, 0xda, 0x04}};

    /// [one thread at a time, open or closed: an open file is closed first]
    virtual PYX_RESULT Open(const wchar_t* path, pyx_uint32 mode, pyx_uint32 share) = 0; // 3
    /// [one thread at a time, open or closed]
    virtual PYX_RESULT Close() = 0; // 4
    /// `pRead` may be null.
    /// [one thread at a time, open]
    virtual PYX_RESULT Read(void* pData, pyx_uint64 size, pyx_uint64* pRead) = 0; // 5
    /// `pWritten` may be null.
    /// [one thread at a time, open]
    virtual PYX_RESULT Write(const void* pData, pyx_uint64 iSize, pyx_uint64* pWritten) = 0; // 6
    /// `pNewPosition` may be null.
    /// [one thread at a time, open]
    virtual PYX_RESULT Seek(pyx_uint32 origin, pyx_int64 offset, pyx_uint64* pNewPosition) = 0; // 7
    /// [one thread at a time, open]
    virtual PYX_RESULT GetPosition(pyx_uint64* pPosition) = 0; // 8
    /// The position stays.
    /// [one thread at a time, open]
    virtual PYX_RESULT GetSize(pyx_uint64* pSize) = 0; // 9
    /// [any thread]
    virtual bool IsSeekable() = 0; // 10
    /// [any thread]
    virtual pyx_uint32 GetReferenceCount() = 0; // 11

protected:
    ~PYXDataStream() = default;
};
