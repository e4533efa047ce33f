#include "bench/Floors.h"

#include "bench/Require.h"

#include <windows.h>
#include <fcntl.h>
#include <io.h>
#include <share.h>

#include <cstring>

namespace
{

constexpr int c_createFlags = _O_BINARY | _O_CREAT | _O_TRUNC | _O_RDWR;
constexpr int c_permission = 0x1B6;

Record MakeRecord(PYXContext* pContext, PYXBuffer* pPacket)
{
    Record spRecord;
    Require(pContext->AllocBuffer(PYX_MEMORY_HOST, 1, spRecord.Out()) == PYX_OK, "a buffer of the host");
    Require(pPacket->CopyTo(spRecord.Get(), true) == PYX_OK, "a copy of the packet's properties");
    spRecord->SetPts(pPacket->GetPts());
    spRecord->SetDuration(pPacket->GetDuration());
    return spRecord;
}

} // namespace

MemoryFloor::MemoryFloor(PYXContext* pContext, size_t keep, pyx_size bytesPerGroup)
    : m_pContext(pContext), m_keep(keep), m_ring((keep + 1) * bytesPerGroup)
{
}

void MemoryFloor::Take(const Packet& packet)
{
    if (packet.kind == PacketKind::Start)
    {
        m_groups.emplace_back();
    }
    const pyx_size size = packet.pBuffer->GetSize();
    if (size > m_ring.size() - m_used)
    {
        m_used = 0;
    }
    m_groups.back().push_back(MakeRecord(m_pContext, packet.pBuffer));
    std::memcpy(m_ring.data() + m_used, packet.pBuffer->GetNative(), size);
    m_used += size;
    while (m_groups.size() > m_keep)
    {
        m_groups.pop_front();
    }
}

FileFloor::FileFloor(PYXContext* pContext, size_t keep, std::filesystem::path directory)
    : m_pContext(pContext), m_keep(keep), m_directory(std::move(directory))
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
    if (packet.kind == PacketKind::Start)
    {
        Begin();
    }
    Group& group = m_groups.back();
    if (packet.kind != PacketKind::Audio)
    {
        Append(&group.video, packet);
    }
    else
    {
        Append(&group.audio, packet);
        if (group.video.records.size() == 1 && m_groups.size() > 1)
        {
            Close(&(m_groups.end() - 2)->audio);
        }
    }
    while (m_groups.size() > m_keep)
    {
        DropOldest();
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
}

void FileFloor::Append(File* pFile, const Packet& packet)
{
    if (pFile->records.empty())
    {
        Create(pFile);
    }
    pFile->records.push_back(MakeRecord(m_pContext, packet.pBuffer));
    const auto size = static_cast<pyx_uint32>(packet.pBuffer->GetSize());
    const int written = _write(pFile->descriptor, packet.pBuffer->GetNative(), size);
    Require(written == static_cast<int>(size), "writing a file of the floor");
}

void FileFloor::Create(File* pFile)
{
    pFile->descriptor = _wsopen(pFile->name.c_str(), c_createFlags, _SH_DENYRW, c_permission);
    Require(pFile->descriptor != -1, "creating a file of the floor");
}

void FileFloor::Close(File* pFile)
{
    if (pFile->descriptor != -1)
    {
        _close(pFile->descriptor);
        pFile->descriptor = -1;
    }
}

void FileFloor::DropOldest()
{
    for (File* pFile : {&m_groups.front().video, &m_groups.front().audio})
    {
        Close(pFile);
        Require(pFile->records.empty() || DeleteFileW(pFile->name.c_str()), "deleting a file of the floor");
    }
    m_groups.pop_front();
}
