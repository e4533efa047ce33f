#pragma once

#include "bench/PacketSource.h"
#include "common/HostContract.h"

#include <cstddef>
#include <deque>
#include <filesystem>
#include <memory>
#include <vector>

/// The least that any cache must pay for the same packets. Each floor takes
/// packets as the module does, so that one loop times them all.

/// One range of address space that commits the pages of each packet fresh and
/// copies the packet once.
class CommittedRange
{
public:
    CommittedRange() = default;
    CommittedRange(const CommittedRange&) = delete;
    CommittedRange& operator=(const CommittedRange&) = delete;
    ~CommittedRange();

    void Append(const void* pData, pyx_size size);

private:
    std::byte* m_pMemory = nullptr;
    pyx_size m_used = 0;
    pyx_size m_committed = 0;
};

/// A heap block per packet, copied once.
class HeapBlocks
{
public:
    void Append(const void* pData, pyx_size size);

private:
    std::vector<std::unique_ptr<std::byte[]>> m_blocks;
};

/// A cache in memory with nothing around it: per group one store for video and
/// one for audio, both freed with the group.
template <class Store> class MemoryFloor
{
public:
    /// A start packet lets the oldest groups go beyond `keep`, its own included.
    explicit MemoryFloor(size_t keep) : m_keep(keep)
    {
    }

    void Take(const Packet& packet)
    {
        if (packet.kind == PacketKind::Start)
        {
            m_groups.emplace_back();
        }
        Group& group = m_groups.back();
        Store& store = packet.kind == PacketKind::Audio ? group.audio : group.video;
        store.Append(packet.pBuffer->GetNative(), packet.pBuffer->GetSize());
        while (m_groups.size() > m_keep)
        {
            DropOldest();
        }
    }

    void DropOldest()
    {
        m_groups.pop_front();
    }

private:
    struct Group
    {
        Store video;
        Store audio;
    };

    const size_t m_keep;
    std::deque<Group> m_groups; // oldest first
};

using CommitFloor = MemoryFloor<CommittedRange>;
using HeapFloor = MemoryFloor<HeapBlocks>;

/// The same bytes with one `_write` per packet in files that live as the
/// module's: two per group, the one for audio made by the group's first audio;
/// opened in the same mode, closed when the next group has begun (the one for
/// audio only by audio that comes before the group's second picture, else when
/// it is deleted), and deleted when the group has become too old.
class FileFloor
{
public:
    /// Makes `directory` new and empty. `keep` as in MemoryFloor.
    FileFloor(std::filesystem::path directory, size_t keep);
    FileFloor(const FileFloor&) = delete;
    FileFloor& operator=(const FileFloor&) = delete;
    ~FileFloor();

    void Take(const Packet& packet);

    /// Closes what is still open of the oldest group and deletes its files.
    void DropOldest();

    /// Reads every packet of every group back, as the module does: each group's
    /// files are opened for reading and closed (the newest's are still open),
    /// each packet is read with one `_read` into a buffer of its own from the context,
    /// as a muxer must be given. Returns the number of packets.
    size_t ReadBack(PYXContext* pContext);

private:
    struct File
    {
        std::filesystem::path name;
        int descriptor = -1;
        std::vector<pyx_uint32> sizes; // of the packets in it
    };

    struct Group
    {
        File video;
        File audio;
    };

    static void Create(File* pFile);
    static void Append(File* pFile, const Packet& packet);
    static void Close(File* pFile);
    static void Delete(File* pFile);
    void TakeAudio(const Packet& packet);
    void Begin();
    static size_t ReadFile(File* pFile, PYXContext* pContext);

    const std::filesystem::path m_directory;
    const size_t m_keep;
    std::deque<Group> m_groups; // oldest first
    int m_counter = 0;
};
