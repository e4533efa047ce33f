#pragma once

#include "common/DataStreamImpl.h"

/// A data stream over one block of virtual memory, usable from construction.
///
/// A write that ends past the data moves everything into a new block of exactly
/// the new size, so appending costs as much as the stream is long. A write that
/// ends before the end of the data cuts the stream there.
class PYXDataStreamMemoryImpl : public PYXDataStreamImpl
{
public:
    ~PYXDataStreamMemoryImpl() override;

    /// Does nothing.
    PYX_RESULT Open(const wchar_t* path, pyx_uint32 mode, pyx_uint32 share) override;

    /// Frees the data: a closed memory stream is an empty one.
    PYX_RESULT Close() override;

    /// Reading at the end is PYX_OK with nothing read, unlike a file.
    /// PYX_NOT_INITIALIZED: never written.
    PYX_RESULT Read(void* pData, pyx_uint64 size, pyx_uint64* pRead) override;

    /// PYX_OUT_OF_MEMORY leaves the stream as it was.
    PYX_RESULT Write(const void* pData, pyx_uint64 iSize, pyx_uint64* pWritten) override;

    /// From the end the offset counts backwards. A position outside the data
    /// becomes its end. Always PYX_OK.
    PYX_RESULT Seek(pyx_uint32 origin, pyx_int64 offset, pyx_uint64* pNewPosition) override;
    PYX_RESULT GetPosition(pyx_uint64* pPosition) override;
    PYX_RESULT GetSize(pyx_uint64* pSize) override;

private:
    bool Reallocate(pyx_uint64 size);

    pyx_uint8* m_pMemory = nullptr; // null until the first write that stores bytes
    pyx_uint64 m_uiDataSize = 0;
    pyx_uint64 m_uiAllocatedSize = 0;
    pyx_uint64 m_pos = 0; // never above m_uiDataSize
};
