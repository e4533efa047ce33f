#pragma once

#include "bench/PacketSource.h"

#include "common/HostContract.h"

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

/// The least that any cache must pay for the same packets. Each floor takes
/// packets like the module does, so that one loop times them all.

/// Copying a packet's bytes into memory that was touched before.
class CopyFloor
{
public:
    /// Holds one group of `bytes`.
    explicit CopyFloor(pyx_size bytes);

    void Take(const Packet& packet);

private:
    std::vector<std::byte> m_memory;
    pyx_size m_used = 0;
};

/// One block of virtual memory per kind and group that grows to the exact size
/// with each packet, as the module's memory streams must: what that rule costs,
/// with nothing around it.
class GrowFloor
{
public:
    GrowFloor() = default;
    GrowFloor(const GrowFloor&) = delete;
    GrowFloor& operator=(const GrowFloor&) = delete;
    ~GrowFloor();

    void Take(const Packet& packet);

private:
    struct Block
    {
        std::byte* pMemory = nullptr;
        pyx_size size = 0;
    };

    static void Append(Block* pBlock, const Packet& packet);
    static void Free(Block* pBlock);

    Block m_video;
    Block m_audio;
};

/// The same bytes with one `_write` per packet in files that live as the
/// module's: two per group, the one for sound made by the group's first sound;
/// opened in the same mode, closed when the next group has begun (the one for
/// sound only by sound that comes before the group's second frame, else when it
/// is deleted), and deleted when the group has become too old.
class FileFloor
{
public:
    /// Makes `directory` new and empty.
    explicit FileFloor(std::wstring directory);
    FileFloor(const FileFloor&) = delete;
    FileFloor& operator=(const FileFloor&) = delete;
    ~FileFloor();

    /// From now on a start packet lets the oldest groups go beyond so many, its
    /// own included.
    void Keep(size_t groups)
    {
        m_keep = groups;
    }

    void Take(const Packet& packet);

    /// Closes what is still open of the oldest group and deletes its files.
    void DropOldest();

    /// Reads every packet of every group back, as the module does: each group's
    /// files are opened for reading and closed (the newest's are still open),
    /// each packet is read with one `_read`. With a context each packet gets a
    /// buffer of its own from it, as a muxer must be given; without one all are
    /// read into the same memory. Returns the number of packets.
    size_t ReadBack(PYXContext* pContext);

    size_t GroupCount() const
    {
        return m_groups.size();
    }

private:
    struct File
    {
        std::wstring name;
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
    size_t ReadFile(File* pFile, PYXContext* pContext);

    const std::wstring m_directory;
    std::deque<Group> m_groups; // oldest first
    size_t m_keep = ~static_cast<size_t>(0);
    int m_counter = 0;
    std::vector<std::byte> m_memory;
};
