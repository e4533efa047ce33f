#pragma once

#include "common/DataStreamImpl.h"

#include <memory>

/// A data stream over one block of virtual memory, usable from construction.
///
///     reserved address space                                  c_reserveAhead and more
///     |---- committed, whole pages ----|......................|
///     |---- data ------------------|
///
/// An append commits the pages that its bytes need and moves nothing. When the
/// range is used up, the data moves once, into a range of at least twice the
/// size. Where no range can be had, each append moves it into a block of exactly
/// the size needed. A write that ends before the end of the data cuts the stream
/// there.
class PYXDataStreamMemoryImpl : public PYXDataStreamImpl
{
public:
    /// How far a stream reserves address space ahead, in bytes: some 20
    /// seconds of 50 Mbit/s, and hundreds of groups with two streams each take
    /// less than a thousandth of a process's addresses.
    static constexpr pyx_uint64 c_reserveAhead = 128ULL << 20;

    /// With `reserveAhead` 0 every append moves the data into a block of exactly
    /// the new size.
    explicit PYXDataStreamMemoryImpl(pyx_uint64 reserveAhead = c_reserveAhead);
    ~PYXDataStreamMemoryImpl() override;

    /// Does nothing.
    PYX_RESULT Open(const wchar_t* path, pyx_uint32 mode, pyx_uint32 share) override;

    /// Frees the data and its addresses: a closed memory stream is an empty one.
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
    struct Free
    {
        void operator()(pyx_uint8* p) const noexcept;
    };
    using Block = std::unique_ptr<pyx_uint8, Free>;

    static Block Allocate(pyx_uint64 size, pyx_uint32 how);
    bool Extend(pyx_uint64 size);
    bool GrowInPlace(pyx_uint64 size);
    bool Move(pyx_uint64 size);
    pyx_uint64 RangeFor(pyx_uint64 size) const;
    void Take(Block block, pyx_uint64 allocatedSize, pyx_uint64 reservedSize);

    const pyx_uint64 m_reserveAhead;
    Block m_pMemory; // null until the first write that stores bytes
    pyx_uint64 m_uiDataSize = 0;
    pyx_uint64 m_uiAllocatedSize = 0; // committed: whole pages in a range, else the block's exact size
    pyx_uint64 m_uiReservedSize = 0;  // 0: a block of exact size, which cannot grow
    pyx_uint64 m_pos = 0;             // never above m_uiDataSize
};
