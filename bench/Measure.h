#pragma once

#include "bench/Clock.h"
#include "bench/PacketSource.h"

#include <algorithm>
#include <array>
#include <span>
#include <vector>

/// Times of one thing that was done over and over. The median counts: a machine
/// that stops for something else now and then does not move it.
class Samples
{
public:
    void Add(pyx_uint64 ticks)
    {
        m_ticks.push_back(ticks);
    }

    size_t Count() const
    {
        return m_ticks.size();
    }

    /// Microseconds; 0 without a sample.
    double Median()
    {
        if (m_ticks.empty())
        {
            return 0.0;
        }
        const auto middle = m_ticks.begin() + static_cast<std::ptrdiff_t>(m_ticks.size() / 2);
        std::nth_element(m_ticks.begin(), middle, m_ticks.end());
        return ToMicroseconds(*middle);
    }

    double Mean() const
    {
        pyx_uint64 sum = 0;
        for (const pyx_uint64 ticks : m_ticks)
        {
            sum += ticks;
        }
        return m_ticks.empty() ? 0.0 : ToMicroseconds(sum) / static_cast<double>(m_ticks.size());
    }

private:
    std::vector<pyx_uint64> m_ticks;
};

/// What taking packets has cost so far, by their kind. A cost per packet of
/// several kinds is made of the kinds' medians, each in its share.
class Cost
{
public:
    void Add(PacketKind kind, pyx_uint64 ticks)
    {
        Of(kind).Add(ticks);
    }

    Samples& Of(PacketKind kind)
    {
        return m_samples[static_cast<size_t>(kind)];
    }

    double PerPacket(std::initializer_list<PacketKind> kinds = {PacketKind::Start, PacketKind::Regular,
                                                                PacketKind::Audio})
    {
        double sum = 0;
        double count = 0;
        for (const PacketKind kind : kinds)
        {
            sum += Of(kind).Median() * static_cast<double>(Of(kind).Count());
            count += static_cast<double>(Of(kind).Count());
        }
        return count == 0 ? 0.0 : sum / count;
    }

    double PerVideoPacket()
    {
        return PerPacket({PacketKind::Start, PacketKind::Regular});
    }

    /// The plain mean, with everything that came in between.
    double MeanPerPacket() const
    {
        double sum = 0;
        double count = 0;
        for (const Samples& samples : m_samples)
        {
            sum += samples.Mean() * static_cast<double>(samples.Count());
            count += static_cast<double>(samples.Count());
        }
        return count == 0 ? 0.0 : sum / count;
    }

private:
    std::array<Samples, c_packetKinds> m_samples;
};

/// Ticks that one call takes.
template <class Call> pyx_uint64 TimeCall(const Call& call)
{
    const pyx_uint64 begin = ReadTicks();
    call();
    const pyx_uint64 ticks = ReadTicks() - begin;
    return ticks - std::min(ticks, EmptyMeasurement());
}

/// Lets `taker` take one group's packets, each timed alone.
template <class Taker> void TakeTimed(std::span<const Packet> group, Taker* pTaker, Cost* pCost)
{
    for (const Packet& packet : group)
    {
        pCost->Add(packet.kind, TimeCall([&] { pTaker->Take(packet); }));
    }
}

/// Lets `taker` take one group's packets.
template <class Taker> void TakeAll(std::span<const Packet> group, Taker* pTaker)
{
    for (const Packet& packet : group)
    {
        pTaker->Take(packet);
    }
}

/// Runs two things in an order that changes with every round, so that neither
/// always finds the memory that the other has warmed.
template <class First, class Second> void InTurns(pyx_int64 round, const First& first, const Second& second)
{
    if (round % 2 == 0)
    {
        first();
        second();
    }
    else
    {
        second();
        first();
    }
}
