#pragma once

#include "bench/PacketSource.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"

#include <cstddef>
#include <deque>
#include <filesystem>
#include <vector>

/// The least that any cache must pay for the same packets. Each floor takes
/// packets as the module does, so that one loop times them all.

/// What every cached packet keeps beside its bytes: a buffer of the host with one
/// byte, the packet's properties and its times.
using Record = PYXInterfacePtr<PYXBuffer>;

/// One copy per packet into memory that was used before: a ring that holds as many
/// bytes as the module keeps.
class MemoryFloor
{
public:
    /// A start packet lets the oldest groups go beyond `keep`, its own included.
    MemoryFloor(PYXContext* pContext, size_t keep, pyx_size bytesPerGroup);

    void Take(const Packet& packet);

private:
    PYXContext* const m_pContext;
    const size_t m_keep;
    std::vector<std::byte> m_ring;
    size_t m_used = 0;
    std::deque<std::vector<Record>> m_groups; // oldest first
};

/// One `_write` per packet into files that live as the module's: two per group, the
/// one for audio made by the group's first audio; opened in the same mode, closed
/// when the next group has begun (the one for audio only by audio that comes before
/// the group's second picture, else when it is deleted), and deleted when the group
/// has become too old.
class FileFloor
{
public:
    /// Makes `directory` new and empty. `keep` as in MemoryFloor.
    FileFloor(PYXContext* pContext, size_t keep, std::filesystem::path directory);
    FileFloor(const FileFloor&) = delete;
    FileFloor& operator=(const FileFloor&) = delete;
    ~FileFloor();

    void Take(const Packet& packet);

private:
    struct File
    {
        std::filesystem::path name;
        int descriptor = -1;
        std::vector<Record> records;
    };

    struct Group
    {
        File video;
        File audio;
    };

    void Begin();
    void Append(File* pFile, const Packet& packet);
    static void Create(File* pFile);
    static void Close(File* pFile);
    void DropOldest();

    PYXContext* const m_pContext;
    const size_t m_keep;
    const std::filesystem::path m_directory;
    std::deque<Group> m_groups; // oldest first
    int m_counter = 0;
};
