#include "common/DataStreamMemory.h"

#include "common/Trace.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace
{

constexpr PYXTraceSource c_traceSource{L"common/DataStreamMemory", L"PYXDataStreamMemoryImpl"};

constexpr pyx_uint64 c_pageSize = 4096;

constexpr pyx_uint64 WholePages(pyx_uint64 size)
{
    return (size + c_pageSize - 1) / c_pageSize * c_pageSize;
}

} // namespace

PYXDataStreamMemoryImpl::PYXDataStreamMemoryImpl(pyx_uint64 reserveAhead) : m_reserveAhead(reserveAhead)
{
}

PYXDataStreamMemoryImpl::~PYXDataStreamMemoryImpl() = default;

PYX_RESULT PYXDataStreamMemoryImpl::Open([[maybe_unused]] const wchar_t* path, [[maybe_unused]] pyx_uint32 mode,
                                         [[maybe_unused]] pyx_uint32 share)
{
    return PYX_OK;
}

PYX_RESULT PYXDataStreamMemoryImpl::Close()
{
    Take(nullptr, 0, 0);
    m_uiDataSize = 0;
    m_pos = 0;
    return PYX_OK;
}

PYX_RESULT PYXDataStreamMemoryImpl::Read(void* pData, pyx_uint64 size, pyx_uint64* pRead)
{
    FAIL_IF_NOT(pData != nullptr, PYX_INVALID_POINTER, L"Read() - pData==NULL");
    FAIL_IF_NOT(m_pMemory != nullptr, PYX_NOT_INITIALIZED, L"Read() - Stream is not allocated");
    const pyx_uint64 count = std::min(size, m_uiDataSize - m_pos);
    memcpy(pData, m_pMemory.get() + m_pos, count);
    m_pos += count;
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
    if (overflows || needed > m_uiDataSize)
    {
        PASS_ON_FAILURE(!overflows && Extend(needed) ? PYX_OK : PYX_OUT_OF_MEMORY,
                        L"Write() - Stream is not allocated");
    }
    m_uiDataSize = needed; // hosts rely on the cut: what lay behind the written range is dropped
    if (iSize > 0)
    {
        memcpy(m_pMemory.get() + m_pos, pData, iSize);
    }
    m_pos += iSize;
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
        m_pos = m_uiDataSize - distance; // backwards, in this stream only: hosts rely on it
        break;
    default:
        break;
    }
    m_pos = std::min(m_pos, m_uiDataSize); // a negative position is a huge one and ends here too
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
    *pSize = m_uiDataSize;
    return PYX_OK;
}

void PYXDataStreamMemoryImpl::Free::operator()(pyx_uint8* p) const noexcept
{
    VirtualFree(p, 0, MEM_RELEASE);
}

PYXDataStreamMemoryImpl::Block PYXDataStreamMemoryImpl::Allocate(pyx_uint64 size, pyx_uint32 how)
{
    return Block(static_cast<pyx_uint8*>(VirtualAlloc(nullptr, size, how, PAGE_READWRITE)));
}

/// Makes room for `size` bytes, more than the data has. False when there is no
/// memory; nothing has changed then.
bool PYXDataStreamMemoryImpl::Extend(pyx_uint64 size)
{
    return size <= m_uiReservedSize ? GrowInPlace(size) : Move(size);
}

bool PYXDataStreamMemoryImpl::GrowInPlace(pyx_uint64 size)
{
    if (size <= m_uiAllocatedSize)
    {
        return true;
    }
    void* const pEnd = m_pMemory.get() + m_uiAllocatedSize;
    // Committed pages go with their range.
    // cppcheck-suppress leakReturnValNotUsed
    if (!VirtualAlloc(pEnd, size - m_uiAllocatedSize, MEM_COMMIT, PAGE_READWRITE))
    {
        return false;
    }
    m_uiAllocatedSize = WholePages(size);
    return true;
}

/// Moves the data into a new range, or into a block of exactly `size` bytes.
bool PYXDataStreamMemoryImpl::Move(pyx_uint64 size)
{
    const pyx_uint64 range = RangeFor(size);
    Block block = range != 0 ? Allocate(range, MEM_RESERVE) : nullptr;
    if (block)
    {
        // cppcheck-suppress leakReturnValNotUsed
        if (!VirtualAlloc(block.get(), size, MEM_COMMIT, PAGE_READWRITE))
        {
            return false;
        }
        Take(std::move(block), WholePages(size), range);
        return true;
    }
    block = Allocate(size, MEM_COMMIT);
    if (!block)
    {
        return false;
    }
    Take(std::move(block), size, 0);
    return true;
}

/// The length of the range to reserve for `size` bytes; 0 for none.
pyx_uint64 PYXDataStreamMemoryImpl::RangeFor(pyx_uint64 size) const
{
    const pyx_uint64 range = size + std::max(size, m_reserveAhead);
    return m_reserveAhead != 0 && range > size ? range : 0;
}

/// Makes `block` the stream's own, with the data in it.
void PYXDataStreamMemoryImpl::Take(Block block, pyx_uint64 allocatedSize, pyx_uint64 reservedSize)
{
    if (block && m_pMemory)
    {
        memcpy(block.get(), m_pMemory.get(), m_uiDataSize);
    }
    m_pMemory = std::move(block);
    m_uiAllocatedSize = allocatedSize;
    m_uiReservedSize = reservedSize;
}
