#include "common/DataStreamMemory.h"

#include "common/Trace.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace
{

constexpr PYXTraceSource c_traceSource{L"common/DataStreamMemory", L"PYXDataStreamMemoryImpl"};

constexpr pyx_uint64 c_fetchAhead = 1024; // bytes; more costs more than it saves

} // namespace

void PYXMemorySegments::Free::operator()(pyx_uint8* p) const noexcept
{
    VirtualFree(p, 0, MEM_RELEASE);
}

PYXMemorySegments::PYXMemorySegments(pyx_uint64 segmentSize) : m_segmentSize(segmentSize)
{
}

PYXMemorySegments::Place PYXMemorySegments::Open(pyx_uint64 size)
{
    const bool hasOpen = m_free < m_segments.size();
    if (hasOpen && m_segments.back().used < m_segments.back().size)
    {
        return std::prev(m_segments.end());
    }
    if (m_free > 0)
    {
        m_segments.splice(m_segments.end(), m_segments, m_segments.begin());
        --m_free;
    }
    else
    {
        const pyx_uint64 newSize = std::max(size, m_segmentSize);
        m_segments.push_back({nullptr, newSize});
        m_segments.back().pBytes.reset(
            static_cast<pyx_uint8*>(VirtualAlloc(nullptr, newSize, MEM_COMMIT, PAGE_READWRITE)));
        if (!m_segments.back().pBytes)
        {
            m_segments.pop_back();
            throw std::bad_alloc();
        }
    }
    ++m_opened;
    return std::prev(m_segments.end());
}

void PYXMemorySegments::Release(Place segment)
{
    if (--segment->holders == 0)
    {
        segment->used = 0;
        m_segments.splice(m_segments.begin(), m_segments, segment);
        ++m_free;
        Trim();
    }
}

void PYXMemorySegments::BeginGroup()
{
    m_kept = std::exchange(m_opened, 0) + 2; // groups of one length differ by one
    Trim();
}

/// Gives the free segments that are not kept back to the system.
void PYXMemorySegments::Trim()
{
    for (; m_free > m_kept; --m_free)
    {
        m_segments.pop_front();
    }
}

PYXDataStreamMemoryImpl::PYXDataStreamMemoryImpl(std::shared_ptr<PYXMemorySegments> spSegments)
    : m_spSegments(spSegments ? std::move(spSegments) : std::make_shared<PYXMemorySegments>())
{
}

PYXDataStreamMemoryImpl::~PYXDataStreamMemoryImpl()
{
    static_cast<void>(PYXDataStreamMemoryImpl::Close());
}

PYX_RESULT PYXDataStreamMemoryImpl::Open([[maybe_unused]] const wchar_t* path, [[maybe_unused]] pyx_uint32 mode,
                                         [[maybe_unused]] pyx_uint32 share)
{
    return PYX_OK;
}

PYX_RESULT PYXDataStreamMemoryImpl::Close()
{
    DropSlices(m_slices.begin());
    m_pos = 0;
    return PYX_OK;
}

PYX_RESULT PYXDataStreamMemoryImpl::Read(void* pData, pyx_uint64 size, pyx_uint64* pRead)
{
    FAIL_IF_NOT(pData != nullptr, PYX_INVALID_POINTER, L"Read() - pData==NULL");
    FAIL_IF_NOT(!m_slices.empty(), PYX_NOT_INITIALIZED, L"Read() - Stream is not allocated");
    const pyx_uint64 count = std::min(size, Size() - m_pos);
    auto* pTo = static_cast<pyx_uint8*>(pData);
    Advance(count, [&](const pyx_uint8* pBytes, pyx_uint64 length) {
        memcpy(pTo, pBytes, length);
        pTo += length;
    });
    if (pRead)
    {
        *pRead = count;
    }
    return PYX_OK;
}

PYX_RESULT PYXDataStreamMemoryImpl::Write(const void* pData, pyx_uint64 iSize, pyx_uint64* pWritten)
{
    FAIL_IF_NOT(pData != nullptr, PYX_INVALID_POINTER, L"Write() - pData==NULL");
    const pyx_uint64 needed = m_pos + iSize;
    const bool overflows = needed < m_pos;
    PASS_ON_FAILURE(!overflows && Grow(needed) ? PYX_OK : PYX_OUT_OF_MEMORY, L"Write() - Stream is not allocated");
    Cut(needed); // hosts rely on it: what was after the written range is dropped
    const auto* pFrom = static_cast<const pyx_uint8*>(pData);
    Advance(iSize, [&](pyx_uint8* pBytes, pyx_uint64 length) {
        memcpy(pBytes, pFrom, length);
        pFrom += length;
    });
    if (iSize >= c_fetchAhead)
    {
        FetchAhead();
    }
    if (pWritten)
    {
        *pWritten = iSize;
    }
    return PYX_OK;
}

PYX_RESULT PYXDataStreamMemoryImpl::Seek(pyx_uint32 origin, pyx_int64 offset, pyx_uint64* pNewPosition)
{
    const auto distance = static_cast<pyx_uint64>(offset);
    switch (origin)
    {
    case PYX_STREAM_SEEK_BEGIN:
        m_pos = distance;
        break;
    case PYX_STREAM_SEEK_CURRENT:
        m_pos += distance;
        break;
    case PYX_STREAM_SEEK_END:
        m_pos = Size() - distance; // backwards, in this stream only: hosts rely on it
        break;
    default:
        break;
    }
    m_pos = std::min(m_pos, Size()); // a negative position is a huge one and ends here too
    if (pNewPosition)
    {
        *pNewPosition = m_pos;
    }
    return PYX_OK;
}

PYX_RESULT PYXDataStreamMemoryImpl::GetPosition(pyx_uint64* pPosition)
{
    FAIL_IF_NOT(pPosition != nullptr, PYX_INVALID_POINTER, L"GetPosition() - pPosition==NULL");
    *pPosition = m_pos;
    return PYX_OK;
}

PYX_RESULT PYXDataStreamMemoryImpl::GetSize(pyx_uint64* pSize)
{
    // Hosts match this text although it names GetPosition().
    FAIL_IF_NOT(pSize != nullptr, PYX_INVALID_POINTER, L"GetPosition() - pSize==NULL");
    *pSize = Size();
    return PYX_OK;
}

pyx_uint64 PYXDataStreamMemoryImpl::Size() const
{
    return m_slices.empty() ? 0 : m_slices.back().end;
}

/// Makes the stream at least `size` bytes long; the new ones are not set. False when
/// there is no memory; nothing has changed then.
bool PYXDataStreamMemoryImpl::Grow(pyx_uint64 size)
{
    const bool wasEmpty = m_slices.empty();
    const pyx_uint64 oldSize = Size();
    try
    {
        while (Size() < size)
        {
            AddSlice(size - Size());
        }
        return true;
    }
    catch (const std::bad_alloc&)
    {
        wasEmpty ? DropSlices(m_slices.begin()) : Cut(oldSize);
        return false;
    }
}

/// Takes up to `wantedSize` bytes of a segment with room: those after the last slice, if they are free.
void PYXDataStreamMemoryImpl::AddSlice(pyx_uint64 wantedSize)
{
    if (m_slices.empty() || !m_slices.back().HasRoom())
    {
        const auto segment = m_spSegments->Open(wantedSize);
        m_slices.push_back({segment, segment->pBytes.get() + segment->used, Size()});
        ++segment->holders;
    }
    Slice& last = m_slices.back();
    const pyx_uint64 size = std::min(wantedSize, last.segment->size - last.segment->used);
    last.pEnd += size;
    last.end += size;
    last.segment->used += size;
}

/// Has the memory that the next write begins in brought into the caches while the caller does something else.
void PYXDataStreamMemoryImpl::FetchAhead() const
{
    const PYXMemorySegments::Segment& segment = *m_slices.back().segment;
    const pyx_uint64 end = std::min(segment.used + c_fetchAhead, segment.size);
    for (pyx_uint64 i = segment.used; i < end; i += SYSTEM_CACHE_ALIGNMENT_SIZE)
    {
        PreFetchCacheLine(PF_TEMPORAL_LEVEL_1, segment.pBytes.get() + i);
    }
}

/// Drops what is after `size` bytes, if anything.
void PYXDataStreamMemoryImpl::Cut(pyx_uint64 size)
{
    if (size < Size())
    {
        const auto last = std::ranges::lower_bound(m_slices, size, {}, &Slice::end);
        last->pEnd -= last->end - size;
        last->end = size;
        DropSlices(last + 1);
    }
}

void PYXDataStreamMemoryImpl::DropSlices(std::pmr::vector<Slice>::iterator first)
{
    std::for_each(first, m_slices.end(), [this](const Slice& slice) { m_spSegments->Release(slice.segment); });
    m_slices.erase(first, m_slices.end());
}

/// Calls copy(pBytes, length) for each part of the next `size` bytes, which the stream
/// has, and moves the position after them.
template <class Copy> void PYXDataStreamMemoryImpl::Advance(pyx_uint64 size, const Copy& copy)
{
    auto slice = std::ranges::upper_bound(m_slices, m_pos, {}, &Slice::end);
    for (const pyx_uint64 end = m_pos + size; m_pos < end; ++slice)
    {
        const pyx_uint64 length = std::min(end, slice->end) - m_pos;
        copy(slice->pEnd - (slice->end - m_pos), length);
        m_pos += length;
    }
}
