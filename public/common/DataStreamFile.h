#pragma once

#include "common/DataStreamImpl.h"

#include <string>

/// A data stream over a file, opened in binary mode through the C runtime's
/// low-level descriptors and not buffered further.
///
/// Failures of the runtime's own calls return PYX_FAIL without a trace: the
/// caller knows what it was about. Any operation but Open and Close on a closed
/// stream returns PYX_FILE_NOT_OPEN.
class PYXDataStreamFileImpl : public PYXDataStreamImpl
{
public:
    ~PYXDataStreamFileImpl() override;

    /// Closes an open file first. PYX_INVALID_ARG: null path.
    PYX_RESULT Open(const wchar_t* pFilePath, pyx_uint32 mode, pyx_uint32 share) override;

    /// Closing a closed stream is PYX_OK.
    PYX_RESULT Close() override;

    /// PYX_EOF when nothing was left. A short read is a success; an error stores
    /// -1. One call reads at most 2 GiB - 1.
    PYX_RESULT Read(void* pData, pyx_uint64 size, pyx_uint64* pRead) override;

    /// PYX_FAIL when not everything was written; `*pWritten` tells how much was,
    /// 0xFFFFFFFF after an error. One call writes at most 2 GiB - 1.
    PYX_RESULT Write(const void* pData, pyx_uint64 iSize, pyx_uint64* pWritten) override;

    /// The offset is added to the origin, the end included.
    PYX_RESULT Seek(pyx_uint32 origin, pyx_int64 offset, pyx_uint64* pNewPosition) override;
    PYX_RESULT GetPosition(pyx_uint64* pPosition) override;
    PYX_RESULT GetSize(pyx_uint64* pSize) override;

private:
    int m_iFileDescriptor = -1; // -1: closed
    std::wstring m_Path;        // of the last Open
};
