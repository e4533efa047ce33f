#include "bench/PacketSource.h"

#include "bench/Require.h"
#include "common/Component.h"
#include "common/KeyPacket.h"

#include <cstring>

namespace
{

constexpr int c_keyPictureWeight = 8;
constexpr pyx_int64 c_audioRate = 48000;
constexpr pyx_int64 c_samplesPerAudioPacket = 1024;
constexpr double c_audioBytes = 192000.0 / 8 * c_samplesPerAudioPacket / c_audioRate;

constexpr pyx_int64 VideoPts(pyx_int64 picture)
{
    return picture * PYX_TICKS_PER_SECOND / PacketSource::c_picturesPerSecond;
}

constexpr pyx_int64 AudioPts(pyx_int64 packet)
{
    return packet * PYX_TICKS_PER_SECOND * c_samplesPerAudioPacket / c_audioRate;
}

} // namespace

PacketSource::PacketSource(int picturesPerGroup, int kilobits) : m_picturesPerGroup(picturesPerGroup)
{
    const double groupBytes = kilobits * 1000.0 / 8 * SecondsPerGroup();
    const double pictureBytes = groupBytes / (picturesPerGroup - 1 + c_keyPictureWeight);
    for (int i = 0; i < picturesPerGroup; ++i)
    {
        m_video.push_back(i == 0 ? MakePacket(PacketKind::Start, pictureBytes * c_keyPictureWeight, VideoPts(1))
                                 : MakePacket(PacketKind::Regular, pictureBytes, VideoPts(1)));
    }
    const pyx_int64 audioPackets = VideoPts(picturesPerGroup) / AudioPts(1) + 2;
    for (pyx_int64 i = 0; i < audioPackets; ++i)
    {
        m_audio.push_back(MakePacket(PacketKind::Audio, c_audioBytes, AudioPts(1)));
    }
}

PYXInterfacePtr<HostBuffer> PacketSource::MakePacket(PacketKind kind, double bytes, pyx_int64 duration)
{
    m_random = m_random * 1664525U + 1013904223U;
    const double waver = kind == PacketKind::Start ? 1.0 : 0.8 + 0.4 * static_cast<double>(m_random >> 8) / (1 << 24);
    PYXInterfacePtr<HostBuffer> spPacket = HostBuffer::Create(static_cast<pyx_size>(bytes * waver));
    Require(static_cast<bool>(spPacket), "memory for the packets");
    std::memset(spPacket->GetNative(), static_cast<int>(m_random >> 24), spPacket->GetSize());
    spPacket->SetDuration(duration);
    if (kind != PacketKind::Audio)
    {
        const bool isKey = kind == PacketKind::Start;
        Require(PYXMarkVideoPacket(spPacket.Get(), PYX_VIDEO_CODEC_H264, isKey) == PYX_OK, "a marked packet");
    }
    m_bytesPerGroup += spPacket->GetSize();
    return spPacket;
}

std::span<const Packet> PacketSource::NextGroup()
{
    m_group.clear();
    size_t audio = 0;
    for (size_t i = 0; i < m_video.size(); ++i, ++m_nextPicture)
    {
        m_video[i]->SetPts(VideoPts(m_nextPicture));
        m_group.push_back({m_video[i].Get(), i == 0 ? PacketKind::Start : PacketKind::Regular});
        for (; AudioPts(m_nextAudio) < VideoPts(m_nextPicture + 1); ++audio, ++m_nextAudio)
        {
            m_audio[audio]->SetPts(AudioPts(m_nextAudio));
            m_group.push_back({m_audio[audio].Get(), PacketKind::Audio});
        }
    }
    return m_group;
}
