#include "common/DataStreamMemory.h"

#include "common/Trace.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

namespace
{

constexpr PYXTraceSource c_traceSource{L"common/DataStreamMemory", L"PYXDataStreamMemoryImpl"};

} // namespace

PYXDataStreamMemoryImpl::~PYXDataStreamMemoryImpl()
{
    PYXDataStreamMemoryImpl::Close();
}

PYX_RESULT PYXDataStreamMemoryImpl::Open([[maybe_unused]] const wchar_t* path, [[maybe_unused]] pyx_uint32 mode,
                                         [[maybe_unused]] pyx_uint32 share)
{
    return PYX_OK;
}

PYX_RESULT PYXDataStreamMemoryImpl::Close()
{
    if (m_pMemory)
    {
        VirtualFree(m_pMemory, 0, MEM_RELEASE);
    }
    m_pMemory = nullptr;
    m_uiDataSize = 0;
    m_uiAllocatedSize = 0;
    m_pos = 0;
    return PYX_OK;
}

PYX_RESULT PYXDataStreamMemoryImpl::Read(void* pData, pyx_uint64 size, pyx_uint64* pRead)
{
    FAIL_IF_NOT(pData != nullptr, PYX_INVALID_POINTER, L"Read() - pData==NULL");
    FAIL_IF_NOT(m_pMemory != nullptr, PYX_NOT_INITIALIZED, L"Read() - Stream is not allocated");
    const pyx_uint64 count = std::min(size, m_uiDataSize - m_pos);
    memcpy(pData, m_pMemory + m_pos, count);
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
        PASS_ON_FAILURE(!overflows && Reallocate(needed) ? PYX_OK : PYX_OUT_OF_MEMORY,
                        L"Write() - Stream is not allocated");
    }
    m_uiDataSize = needed; // kept so: what lay behind the written range is dropped
    if (iSize > 0)
    {
        memcpy(m_pMemory + m_pos, pData, iSize);
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
        m_pos = m_uiDataSize - distance; // kept so: backwards, in this stream only
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
    // Kept so: the text names the other operation.
    FAIL_IF_NOT(pSize != nullptr, PYX_INVALID_POINTER, L"GetPosition() - pSize==NULL");
    *pSize = m_uiDataSize;
    return PYX_OK;
}

/// Moves the data into a new block of exactly `size` bytes, at least as long as
/// the data. False when there is no memory; nothing has changed then.
bool PYXDataStreamMemoryImpl::Reallocate(pyx_uint64 size)
{
    auto* const pNew = static_cast<pyx_uint8*>(VirtualAlloc(nullptr, size, MEM_COMMIT, PAGE_READWRITE));
    if (!pNew)
    {
        return false;
    }
    if (m_pMemory)
    {
        memcpy(pNew, m_pMemory, m_uiDataSize);
        VirtualFree(m_pMemory, 0, MEM_RELEASE);
    }
    m_pMemory = pNew;
    m_uiAllocatedSize = size;
    return true;
}
