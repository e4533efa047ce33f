#include "bench/Floors.h"

#include "bench/Require.h"

#include "common/InterfacePtr.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <windows.h>

namespace
{

constexpr int c_createFlags = _O_BINARY | _O_CREAT | _O_TRUNC | _O_RDWR;
constexpr int c_readFlags = _O_BINARY | _O_RDONLY;
constexpr int c_permission = 0x1B6;

} // namespace

CopyFloor::CopyFloor(pyx_size bytes) : m_memory(bytes, std::byte{1})
{
}

void CopyFloor::Take(const Packet& packet)
{
    if (packet.kind == PacketKind::Start)
    {
        m_used = 0;
    }
    const pyx_size size = packet.pBuffer->GetSize();
    std::memcpy(m_memory.data() + m_used, packet.pBuffer->GetNative(), size);
    m_used += size;
}

GrowFloor::~GrowFloor()
{
    Free(&m_video);
    Free(&m_audio);
}

void GrowFloor::Take(const Packet& packet)
{
    if (packet.kind == PacketKind::Start)
    {
        Free(&m_video);
        Free(&m_audio);
    }
    Append(packet.kind == PacketKind::Audio ? &m_audio : &m_video, packet);
}

void GrowFloor::Append(Block* pBlock, const Packet& packet)
{
    const pyx_size size = packet.pBuffer->GetSize();
    const pyx_size needed = pBlock->size + size;
    const Block grown{static_cast<std::byte*>(VirtualAlloc(nullptr, needed, MEM_COMMIT, PAGE_READWRITE)), needed};
    Require(grown.pMemory != nullptr, "memory for the growing block");
    if (pBlock->pMemory)
    {
        std::memcpy(grown.pMemory, pBlock->pMemory, pBlock->size);
    }
    std::memcpy(grown.pMemory + pBlock->size, packet.pBuffer->GetNative(), size);
    Free(pBlock);
    *pBlock = grown;
}

void GrowFloor::Free(Block* pBlock)
{
    if (pBlock->pMemory)
    {
        VirtualFree(pBlock->pMemory, 0, MEM_RELEASE);
    }
    *pBlock = {};
}

FileFloor::FileFloor(std::wstring directory) : m_directory(std::move(directory))
{
    Require(CreateDirectoryW(m_directory.c_str(), nullptr), "the floor's directory is in the way of itself");
}

FileFloor::~FileFloor()
{
    while (!m_groups.empty())
    {
        DropOldest();
    }
    RemoveDirectoryW(m_directory.c_str());
}

void FileFloor::Take(const Packet& packet)
{
    if (packet.kind == PacketKind::Audio)
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
        return;
    }
    if (packet.kind == PacketKind::Start)
    {
        if (!m_groups.empty())
        {
            Close(&m_groups.back().video);
        }
        const std::wstring name = m_directory + L"\\Temp" + std::to_wstring(++m_counter);
        m_groups.push_back({{name + L".RBV", -1, {}}, {name + L".RBA", -1, {}}});
        Create(&m_groups.back().video);
    }
    Append(&m_groups.back().video, packet);
    while (m_groups.size() > m_keep)
    {
        DropOldest();
    }
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
        if (pContext)
        {
            Require(pContext->AllocBuffer(PYX_MEMORY_HOST, size, spBuffer.Out()) == PYX_OK, "a buffer of the host");
        }
        else if (m_memory.size() < size)
        {
            m_memory.resize(size);
        }
        void* const pDest = spBuffer ? spBuffer->GetNative() : m_memory.data();
        Require(_read(pFile->descriptor, pDest, size) == static_cast<int>(size), "reading a file of the floor");
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
