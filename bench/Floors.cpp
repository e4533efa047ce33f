#include "bench/Floors.h"

#include "bench/Require.h"
#include "common/InterfacePtr.h"

#include <windows.h>
#include <fcntl.h>
#include <io.h>
#include <share.h>

#include <algorithm>
#include <cstring>

namespace
{

constexpr int c_createFlags = _O_BINARY | _O_CREAT | _O_TRUNC | _O_RDWR;
constexpr int c_readFlags = _O_BINARY | _O_RDONLY;
constexpr int c_permission = 0x1B6;

constexpr pyx_size c_page = 4096;
constexpr pyx_size c_reserved = 64 << 20; ///< more than the longest group's bytes

} // namespace

CommittedRange::~CommittedRange()
{
    if (m_pMemory)
    {
        VirtualFree(m_pMemory, 0, MEM_RELEASE);
    }
}

void CommittedRange::Append(const void* pData, pyx_size size)
{
    if (!m_pMemory)
    {
        m_pMemory = static_cast<std::byte*>(VirtualAlloc(nullptr, c_reserved, MEM_RESERVE, PAGE_READWRITE));
    }
    Require(m_pMemory != nullptr && m_used + size <= c_reserved, "address space for a group");
    const pyx_size needed = (m_used + size + c_page - 1) / c_page * c_page;
    if (needed > m_committed)
    {
        // cppcheck-suppress leakReturnValNotUsed ; committed pages go with their range
        Require(VirtualAlloc(m_pMemory + m_committed, needed - m_committed, MEM_COMMIT, PAGE_READWRITE) != nullptr,
                "memory for a group");
        m_committed = needed;
    }
    std::memcpy(m_pMemory + m_used, pData, size);
    m_used += size;
}

void HeapBlocks::Append(const void* pData, pyx_size size)
{
    m_blocks.push_back(std::make_unique_for_overwrite<std::byte[]>(size));
    std::memcpy(m_blocks.back().get(), pData, size);
}

FileFloor::FileFloor(std::filesystem::path directory, size_t keep) : m_directory(std::move(directory)), m_keep(keep)
{
    Require(std::filesystem::create_directory(m_directory), "the floor's directory is there already");
}

FileFloor::~FileFloor()
{
    while (!m_groups.empty())
    {
        DropOldest();
    }
    std::filesystem::remove(m_directory);
}

void FileFloor::Take(const Packet& packet)
{
    if (packet.kind == PacketKind::Audio)
    {
        return TakeAudio(packet);
    }
    if (packet.kind == PacketKind::Start)
    {
        Begin();
    }
    Append(&m_groups.back().video, packet);
    while (m_groups.size() > m_keep)
    {
        DropOldest();
    }
}

void FileFloor::TakeAudio(const Packet& packet)
{
    Group& group = m_groups.back();
    if (group.audio.sizes.empty())
    {
        Create(&group.audio);
    }
    Append(&group.audio, packet);
    if (group.video.sizes.size() == 1 && m_groups.size() > 1)
    {
        Close(&(m_groups.end() - 2)->audio);
    }
}

void FileFloor::Begin()
{
    if (!m_groups.empty())
    {
        Close(&m_groups.back().video);
    }
    const std::filesystem::path name = m_directory / ("Temp" + std::to_string(++m_counter));
    m_groups.push_back({{name.wstring() + L".RBV", -1, {}}, {name.wstring() + L".RBA", -1, {}}});
    Create(&m_groups.back().video);
}

void FileFloor::DropOldest()
{
    for (File* pFile : {&m_groups.front().video, &m_groups.front().audio})
    {
        Close(pFile);
        Delete(pFile);
    }
    m_groups.pop_front();
}

size_t FileFloor::ReadBack(PYXContext* pContext)
{
    size_t packets = 0;
    for (Group& group : m_groups)
    {
        packets += ReadFile(&group.video, pContext) + ReadFile(&group.audio, pContext);
    }
    return packets;
}

size_t FileFloor::ReadFile(File* pFile, PYXContext* pContext)
{
    if (pFile->descriptor == -1)
    {
        pFile->descriptor = _wsopen(pFile->name.c_str(), c_readFlags, _SH_DENYRW, c_permission);
        Require(pFile->descriptor != -1, "opening a file of the floor");
    }
    else
    {
        _lseeki64(pFile->descriptor, 0, SEEK_SET);
    }
    for (const pyx_uint32 size : pFile->sizes)
    {
        PYXInterfacePtr<PYXBuffer> spBuffer;
        Require(pContext->AllocBuffer(PYX_MEMORY_HOST, size, spBuffer.Out()) == PYX_OK, "a buffer of the host");
        Require(_read(pFile->descriptor, spBuffer->GetNative(), size) == static_cast<int>(size),
                "reading a file of the floor");
    }
    Close(pFile);
    return pFile->sizes.size();
}

void FileFloor::Create(File* pFile)
{
    pFile->descriptor = _wsopen(pFile->name.c_str(), c_createFlags, _SH_DENYRW, c_permission);
    Require(pFile->descriptor != -1, "creating a file of the floor");
}

void FileFloor::Append(File* pFile, const Packet& packet)
{
    const auto size = static_cast<pyx_uint32>(packet.pBuffer->GetSize());
    const int written = _write(pFile->descriptor, packet.pBuffer->GetNative(), size);
    Require(written == static_cast<int>(size), "writing a file of the floor");
    pFile->sizes.push_back(size);
}

void FileFloor::Close(File* pFile)
{
    if (pFile->descriptor != -1)
    {
        _close(pFile->descriptor);
        pFile->descriptor = -1;
    }
}

void FileFloor::Delete(File* pFile)
{
    Require(pFile->sizes.empty() || DeleteFileW(pFile->name.c_str()), "deleting a file of the floor");
}
