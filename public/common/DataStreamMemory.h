#pragma once

#include "common/DataStreamImpl.h"

#include <cstddef>
#include <list>
#include <memory>
#include <memory_resource>
#include <vector>

/// Memory that streams share: segments of virtual memory, filled one after another
/// and used again.
///
///     m_segments  [ free ][ free ][ aabb ][ bbbcc ][ cc.. ]     a, b, c: streams
///                                                      ^ the last one is being filled
///
/// Threads: one at a time, together with all streams that share it.
/// Lifetime: shared by its owner and its streams.
class PYXMemorySegments
{
public:
    static constexpr pyx_uint64 c_segmentSize = 2ULL << 20; // bytes; a process can have some 65,000 of them

    struct Free
    {
        void operator()(pyx_uint8* p) const noexcept;
    };

    struct Segment
    {
        std::unique_ptr<pyx_uint8, Free> pBytes;
        pyx_uint64 size;      ///< bytes
        pyx_uint64 used = 0;  ///< bytes from its start; the rest is room
        pyx_size holders = 0; ///< slices of streams
    };
    using Place = std::list<Segment>::iterator;

    explicit PYXMemorySegments(pyx_uint64 segmentSize = c_segmentSize);

    /// A segment with room, valid while it has holders: the one being filled, else a
    /// free one, else a new one with room for `size` bytes. Throws std::bad_alloc;
    /// nothing has changed then.
    Place Open(pyx_uint64 size);

    /// Takes one holder off a segment. After the last one it is free, and kept or given
    /// back to the system.
    void Release(Place segment);

    /// A new group of streams begins. From here on as many free segments are kept as
    /// the last group has opened, and two more; before the first group none.
    void BeginGroup();

private:
    void Trim();

    const pyx_uint64 m_segmentSize;
    std::list<Segment> m_segments;
    pyx_size m_free = 0;   // so many in front
    pyx_size m_kept = 0;   // free ones at most
    pyx_size m_opened = 0; // since the last BeginGroup
};

/// A data stream over memory, usable from construction. Its bytes are a list of
/// slices of segments, and never move. A write that ends before the end of the data
/// cuts the stream there.
class PYXDataStreamMemoryImpl : public PYXDataStreamImpl
{
public:
    /// Without `spSegments` the stream has segments of its own.
    explicit PYXDataStreamMemoryImpl(std::shared_ptr<PYXMemorySegments> spSegments = nullptr);
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
    /// Bytes of the stream that are side by side in one segment. Begins where the
    /// slice before it ends.
    struct Slice
    {
        PYXMemorySegments::Place segment;
        pyx_uint8* pEnd; ///< in the segment
        pyx_uint64 end;  ///< position in the stream

        bool HasRoom() const
        {
            return segment->used < segment->size && pEnd == segment->pBytes.get() + segment->used;
        }
    };

    pyx_uint64 Size() const;
    bool Grow(pyx_uint64 size);
    void AddSlice(pyx_uint64 wantedSize);
    void FetchAhead() const;
    void Cut(pyx_uint64 size);
    void DropSlices(std::pmr::vector<Slice>::iterator first);
    template <class Copy> void Advance(pyx_uint64 size, const Copy& copy);

    const std::shared_ptr<PYXMemorySegments> m_spSegments;

    // Room for one slice, and then for two: a stream in a small group takes no block of the heap.
    alignas(Slice) std::byte m_firstSlices[3 * sizeof(Slice)];
    std::pmr::monotonic_buffer_resource m_sliceMemory{m_firstSlices, sizeof(m_firstSlices)};

    std::pmr::vector<Slice> m_slices{&m_sliceMemory}; // empty until the first write that stores bytes
    pyx_uint64 m_pos = 0;                             // never above Size()
};
