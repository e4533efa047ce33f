#include "common/DataStreamFile.h"

#include "common/Trace.h"

#include <windows.h>
#include <fcntl.h>
#include <io.h>
#include <share.h>

#include <algorithm>
#include <cstdio>

namespace
{

constexpr PYXTraceSource c_traceSource{L"common/DataStreamFile", L"PYXDataStreamFileImpl"};

constexpr int c_permission = 0x1B6; // everybody may read and write a file created here

// By the values of PYX_STREAM_MODE_..., PYX_STREAM_SHARE_... and PYX_STREAM_SEEK_...; what is beyond them last.
constexpr int c_openFlags[] = {_O_RDONLY, _O_CREAT | _O_TRUNC | _O_WRONLY, _O_CREAT | _O_TRUNC | _O_RDWR,
                               _O_CREAT | _O_APPEND | _O_RDWR, _O_RDONLY};
constexpr int c_shareFlags[] = {_SH_DENYRW, _SH_DENYWR, _SH_DENYRD, _SH_DENYNO, 0};
constexpr int c_seekOrigins[] = {SEEK_SET, SEEK_CUR, SEEK_END, SEEK_SET};

template <size_t size> int Translate(const int (&values)[size], pyx_uint32 value)
{
    return values[std::min<size_t>(value, size - 1)];
}

} // namespace

PYXDataStreamFileImpl::~PYXDataStreamFileImpl()
{
    static_cast<void>(PYXDataStreamFileImpl::Close());
}

PYX_RESULT PYXDataStreamFileImpl::Open(const wchar_t* pFilePath, pyx_uint32 mode, pyx_uint32 share)
{
    static_cast<void>(Close());
    FAIL_IF_NOT(pFilePath != nullptr, PYX_INVALID_ARG, L"pFilePath != NULL");
    m_Path = pFilePath;
    // The checking variant of this call refuses the permission.
    m_iFileDescriptor =
        _wsopen(m_Path.c_str(), _O_BINARY | Translate(c_openFlags, mode), Translate(c_shareFlags, share), c_permission);
    if (m_iFileDescriptor == -1)
    {
        return PYX_FAIL;
    }
    // A child process of the host's would keep the file open, and so in its directory, as long as it runs.
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the C runtime hands handles out as numbers
    SetHandleInformation(reinterpret_cast<HANDLE>(_get_osfhandle(m_iFileDescriptor)), HANDLE_FLAG_INHERIT, 0);
    return PYX_OK;
}

PYX_RESULT PYXDataStreamFileImpl::Close()
{
    if (m_iFileDescriptor == -1)
    {
        return PYX_OK;
    }
    const int closed = _close(m_iFileDescriptor);
    m_iFileDescriptor = -1;
    return closed == 0 ? PYX_OK : PYX_FAIL;
}

PYX_RESULT PYXDataStreamFileImpl::Read(void* pData, pyx_uint64 size, pyx_uint64* pRead)
{
    FAIL_IF_NOT(m_iFileDescriptor != -1, PYX_FILE_NOT_OPEN, L"Read() - File not open");
    const int count = _read(m_iFileDescriptor, pData, static_cast<unsigned int>(size));
    if (pRead)
    {
        *pRead = static_cast<pyx_uint64>(count);
    }
    if (count == 0)
    {
        return PYX_EOF;
    }
    return count == -1 ? PYX_FAIL : PYX_OK;
}

PYX_RESULT PYXDataStreamFileImpl::Write(const void* pData, pyx_uint64 iSize, pyx_uint64* pWritten)
{
    FAIL_IF_NOT(m_iFileDescriptor != -1, PYX_FILE_NOT_OPEN, L"Write() - File not Open");
    const int count = _write(m_iFileDescriptor, pData, static_cast<unsigned int>(iSize));
    if (pWritten)
    {
        *pWritten = static_cast<pyx_uint32>(count);
    }
    return count >= 0 && static_cast<pyx_uint64>(count) == iSize ? PYX_OK : PYX_FAIL;
}

PYX_RESULT PYXDataStreamFileImpl::Seek(pyx_uint32 origin, pyx_int64 offset, pyx_uint64* pNewPosition)
{
    FAIL_IF_NOT(m_iFileDescriptor != -1, PYX_FILE_NOT_OPEN, L"Seek() - File not Open");
    const pyx_int64 position = _lseeki64(m_iFileDescriptor, offset, Translate(c_seekOrigins, origin));
    if (position == -1)
    {
        return PYX_FAIL;
    }
    if (pNewPosition)
    {
        *pNewPosition = static_cast<pyx_uint64>(position);
    }
    return PYX_OK;
}

PYX_RESULT PYXDataStreamFileImpl::GetPosition(pyx_uint64* pPosition)
{
    FAIL_IF_NOT(pPosition != nullptr, PYX_INVALID_POINTER, L"pPosition != NULL");
    FAIL_IF_NOT(m_iFileDescriptor != -1, PYX_FILE_NOT_OPEN, L"GetPosition() - File not Open");
    const pyx_int64 position = _lseeki64(m_iFileDescriptor, 0, SEEK_CUR);
    *pPosition = static_cast<pyx_uint64>(position);
    return position == -1 ? PYX_FAIL : PYX_OK;
}

PYX_RESULT PYXDataStreamFileImpl::GetSize(pyx_uint64* pSize)
{
    FAIL_IF_NOT(pSize != nullptr, PYX_INVALID_POINTER, L"pSize != NULL");
    FAIL_IF_NOT(m_iFileDescriptor != -1, PYX_FILE_NOT_OPEN, L"GetSize() - File not open");
    const pyx_int64 position = _lseeki64(m_iFileDescriptor, 0, SEEK_CUR);
    *pSize = static_cast<pyx_uint64>(_lseeki64(m_iFileDescriptor, 0, SEEK_END));
    _lseeki64(m_iFileDescriptor, position, SEEK_SET);
    return PYX_OK;
}
