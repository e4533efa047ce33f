#pragma once

#include "common/InterfacePtr.h"
#include "host/HostBuffer.h"

#include <span>
#include <vector>

/// What a packet asks of a cache: the start packet closes a group, opens the
/// next one and lets the oldest go.
enum class PacketKind : pyx_uint8
{
    Start,
    Regular,
    Audio,
};

inline constexpr int c_packetKinds = 3;

struct Packet
{
    HostBuffer* pBuffer; // borrowed from the source
    PacketKind kind;
};

/// A stream as an encoder at a constant bit rate gives it: 60 pictures per second,
/// key frames of eight times the others' bytes, which waver by a fifth, and 46.9
/// packets of audio per second at 192 kbit/s. It never ends and is the same in
/// every run.
///
/// The packets of one group are made once, filled, and used again with later
/// times for each group: nothing is allocated while packets are timed, and the
/// bytes are as warm as an encoder's.
class PacketSource
{
public:
    static constexpr int c_picturesPerSecond = 60;

    /// `kilobits` per second of video.
    PacketSource(int picturesPerGroup, int kilobits);

    /// The next group's packets in the order of their times, valid until the
    /// next call. Audio at a group's start comes after its first picture.
    std::span<const Packet> NextGroup();

    double SecondsPerGroup() const
    {
        return static_cast<double>(m_picturesPerGroup) / c_picturesPerSecond;
    }

    /// Bytes of the largest group's packets, audio included.
    pyx_size BytesPerGroup() const
    {
        return m_bytesPerGroup;
    }

private:
    PYXInterfacePtr<HostBuffer> MakePacket(PacketKind kind, double bytes, pyx_int64 duration);

    const int m_picturesPerGroup;
    pyx_uint32 m_random = 1;
    pyx_int64 m_nextPicture = 0;
    pyx_int64 m_nextAudio = 0;
    pyx_size m_bytesPerGroup = 0;
    std::vector<PYXInterfacePtr<HostBuffer>> m_video;
    std::vector<PYXInterfacePtr<HostBuffer>> m_audio;
    std::vector<Packet> m_group;
};
