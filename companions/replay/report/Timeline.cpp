#include "replay/report/Timeline.h"

#include <algorithm>
#include <cmath>

void Timeline::Add(const MediaPacket& packet, const PYXRecorderLook& look, std::chrono::nanoseconds taken)
{
    constexpr pyx_int64 smallestGap = PYX_TICKS_PER_SECOND / 100;
    const double ticks = std::max(1.0, std::floor(static_cast<double>(taken.count()) / 100));
    ++submits[static_cast<int>(std::floor(8 * std::log2(ticks)))];
    const pyx_uint64 bytes = packet.Bytes().size();
    const pyx_int64 end = packet.pts + packet.duration;
    if (packet.video && packet.key)
    {
        groups.push_back({.start = packet.pts, .end = end, .heldFrom = look.from, .heldBytes = look.bytes - bytes});
    }
    if (!packet.video && (audio.empty() || packet.pts - audio.back().second >= smallestGap))
    {
        audio.emplace_back(packet.pts, end);
    }
    if (!packet.video)
    {
        audio.back().second = std::max(audio.back().second, end);
    }
    if (groups.empty())
    {
        return; // no picture can be shown before the first key picture
    }
    TimelineGroup& group = groups.back();
    group.bytes += bytes;
    ++(packet.video ? group.pictures : group.audioPackets);
    group.end = packet.video ? std::max(group.end, end) : group.end;
    if (groups.size() > c_mostGroups)
    {
        groups.pop_front();
        ++forgotten;
    }
}
