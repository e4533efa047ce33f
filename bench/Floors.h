#pragma once

#include "bench/PacketSource.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"

#include <windows.h>

#include <cstddef>
#include <deque>
#include <filesystem>
#include <vector>

/// The least that any cache must pay for the same packets. Each floor takes
/// packets as the module does, so that one loop times them all.

/// What every cached packet keeps beside its bytes: a buffer of the host with one
/// byte, the packet's properties and its times.
using Record = PYXInterfacePtr<PYXBuffer>;

/// What the contract of SubmitInput asks of any cache for each packet: it comes as
/// PYXData, so its buffer is asked for, and a picture's kind; and inputs may be called
/// from different threads, so there is one lock.
class Floor
{
public:
    /// A start packet lets the oldest groups go beyond `keep`, its own included.
    Floor(PYXContext* pContext, size_t keep);
    Floor(const Floor&) = delete;
    Floor& operator=(const Floor&) = delete;
    virtual ~Floor();

    void Take(const Packet& packet);

protected:
    virtual void Store(PYXBuffer* pPacket, PacketKind kind) = 0;

    PYXContext* const m_pContext;
    const size_t m_keep;

private:
    CRITICAL_SECTION m_lock;
};

/// One copy per packet into memory that was used before: a ring that holds as many
/// bytes as the module keeps.
class MemoryFloor final : public Floor
{
public:
    MemoryFloor(PYXContext* pContext, size_t keep, pyx_size bytesPerGroup);

private:
    void Store(PYXBuffer* pPacket, PacketKind kind) override;

    std::vector<std::byte> m_ring;
    size_t m_used = 0;
    std::deque<std::vector<Record>> m_groups; // oldest first
};

/// One `_write` per packet into files that live as the module's: two per group, the
/// one for audio made by the group's first audio; opened in the same mode, closed
/// when the next group has begun (the one for audio only by audio that comes before
/// the group's second picture, else when it is deleted), and deleted when the group
/// has become too old.
class FileFloor final : public Floor
{
public:
    /// Makes `directory` new and empty.
    FileFloor(PYXContext* pContext, size_t keep, std::filesystem::path directory);
    ~FileFloor() override;

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

    void Store(PYXBuffer* pPacket, PacketKind kind) override;
    void Begin();
    void Append(File* pFile, PYXBuffer* pPacket);
    static void Create(File* pFile);
    static void Close(File* pFile);
    void DropOldest();

    const std::filesystem::path m_directory;
    std::deque<Group> m_groups; // oldest first
    int m_counter = 0;
};
