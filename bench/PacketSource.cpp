#include "bench/PacketSource.h"

#include "bench/Require.h"

#include "common/StreamProperties.h"

#include <cstring>

namespace
{

constexpr int c_keyFrameWeight = 8;
constexpr pyx_int64 c_audioRate = 48000;
constexpr pyx_int64 c_samplesPerAudioPacket = 1024;
constexpr double c_audioBytes = 192000.0 / 8 * c_samplesPerAudioPacket / c_audioRate;

/// H.264 frame types as an encoder puts them on its packets.
constexpr int c_keyFrame = 0;
constexpr int c_predictedFrame = 2;
constexpr int c_noFrame = -1;

constexpr pyx_int64 VideoPts(pyx_int64 frame)
{
    return frame * PYX_TICKS_PER_SECOND / PacketSource::c_framesPerSecond;
}

constexpr pyx_int64 AudioPts(pyx_int64 packet)
{
    return packet * PYX_TICKS_PER_SECOND * c_samplesPerAudioPacket / c_audioRate;
}

} // namespace

PacketSource::PacketSource(int framesPerGroup, int kilobits) : m_framesPerGroup(framesPerGroup)
{
    const double groupBytes = kilobits * 1000.0 / 8 * SecondsPerGroup();
    const double frameBytes = groupBytes / (framesPerGroup - 1 + c_keyFrameWeight);
    for (int i = 0; i < framesPerGroup; ++i)
    {
        m_video.push_back(MakePacket(i == 0 ? frameBytes * c_keyFrameWeight : frameBytes, VideoPts(1),
                                     i == 0 ? c_keyFrame : c_predictedFrame));
    }
    const pyx_int64 audioPackets = VideoPts(framesPerGroup) / AudioPts(1) + 2;
    for (pyx_int64 i = 0; i < audioPackets; ++i)
    {
        m_audio.push_back(MakePacket(c_audioBytes, AudioPts(1), c_noFrame));
    }
}

PYXInterfacePtr<HostBuffer> PacketSource::MakePacket(double bytes, pyx_int64 duration, int frameType)
{
    m_random = m_random * 1664525U + 1013904223U;
    const double waver = frameType == c_keyFrame ? 1.0 : 0.8 + 0.4 * static_cast<double>(m_random >> 8) / (1 << 24);
    PYXInterfacePtr<HostBuffer> spPacket = HostBuffer::Create(static_cast<pyx_size>(bytes * waver));
    Require(static_cast<bool>(spPacket), "memory for the packets");
    std::memset(spPacket->GetNative(), static_cast<int>(m_random >> 24), spPacket->GetSize());
    spPacket->SetDuration(duration);
    if (frameType != c_noFrame)
    {
        spPacket->SetProperty(PYX_PROPERTY_OUTPUT_DATA_TYPE, PYXVariantFromInt64(frameType));
    }
    m_bytesPerGroup += spPacket->GetSize();
    return spPacket;
}

std::span<const Packet> PacketSource::NextGroup()
{
    m_group.clear();
    size_t audio = 0;
    for (size_t i = 0; i < m_video.size(); ++i, ++m_nextFrame)
    {
        m_video[i]->SetPts(VideoPts(m_nextFrame));
        m_group.push_back({m_video[i].Get(), i == 0 ? PacketKind::Start : PacketKind::Regular});
        for (; AudioPts(m_nextAudio) < VideoPts(m_nextFrame + 1); ++audio, ++m_nextAudio)
        {
            m_audio[audio]->SetPts(AudioPts(m_nextAudio));
            m_group.push_back({m_audio[audio].Get(), PacketKind::Audio});
        }
    }
    return m_group;
}
