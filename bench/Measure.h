#pragma once

#include "bench/Clock.h"
#include "bench/PacketSource.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

/// Times of one thing that was done over and over.
class Samples
{
public:
    void Add(pyx_uint64 ticks)
    {
        m_ticks.push_back(ticks);
    }

    void Add(const Samples& others)
    {
        m_ticks.insert(m_ticks.end(), others.m_ticks.begin(), others.m_ticks.end());
    }

    size_t Count() const
    {
        return m_ticks.size();
    }

    /// Microseconds that a share of the samples (0 to 1) stays within; 0 without
    /// a sample.
    double Quantile(double share)
    {
        if (m_ticks.empty())
        {
            return 0.0;
        }
        const auto index = static_cast<size_t>(share * static_cast<double>(m_ticks.size()));
        const auto it = m_ticks.begin() + static_cast<std::ptrdiff_t>(std::min(index, m_ticks.size() - 1));
        std::nth_element(m_ticks.begin(), it, m_ticks.end());
        return ToMicroseconds(*it);
    }

    /// What counts where a mean would move when the machine stops for something
    /// else now and then.
    double Median()
    {
        return Quantile(0.5);
    }

    /// Microseconds of all samples together.
    double Sum() const
    {
        double sum = 0;
        for (const pyx_uint64 ticks : m_ticks)
        {
            sum += ToMicroseconds(ticks);
        }
        return sum;
    }

private:
    std::vector<pyx_uint64> m_ticks;
};

/// What taking packets has cost so far, by their kind. The cost of a video packet
/// is made of the medians of start and regular packets, each in its share.
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

    Samples Video() const
    {
        Samples both = m_samples[static_cast<size_t>(PacketKind::Start)];
        both.Add(m_samples[static_cast<size_t>(PacketKind::Regular)]);
        return both;
    }

    double PerVideoPacket()
    {
        double sum = 0;
        double count = 0;
        for (const PacketKind kind : {PacketKind::Start, PacketKind::Regular})
        {
            sum += Of(kind).Median() * static_cast<double>(Of(kind).Count());
            count += static_cast<double>(Of(kind).Count());
        }
        return sum / count;
    }

private:
    std::array<Samples, c_packetKinds> m_samples;
};

/// Ticks that one call takes, until what it has stored is in the caches: without the
/// fences a copy would seem to be over before it is, where no lock waits for it.
template <class Call> pyx_uint64 TimeCall(const Call& call)
{
    MemoryBarrier();
    const pyx_uint64 begin = ReadTicks();
    call();
    MemoryBarrier();
    const pyx_uint64 ticks = ReadTicks() - begin;
    return ticks - std::min(ticks, EmptyMeasurement());
}

/// The module or a floor under the name of its results, taking packets that are
/// each timed alone.
struct Taker
{
    template <class Object>
    Taker(std::string resultName, Object* pObject)
        : name(std::move(resultName)), take([pObject](const Packet& packet) { pObject->Take(packet); })
    {
    }

    void Take(const Packet& packet)
    {
        cost.Add(packet.kind, TimeCall([&] { take(packet); }));
    }

    std::string name;
    std::function<void(const Packet&)> take;
    Cost cost;
};

/// Calls `call` for each of several, in an order that changes with every round:
/// none of them always finds the memory that another has warmed.
template <class Range, class Call> void InTurns(size_t round, Range&& range, const Call& call)
{
    for (size_t i = 0; i < std::size(range); ++i)
    {
        call(range[(round + i) % std::size(range)]);
    }
}

/// How many groups the module keeps, the one that is being filled included, when
/// every group is as long: it drops the oldest while the others are longer than
/// the duration.
inline size_t GroupsKept(int seconds, const PacketSource& source)
{
    return static_cast<size_t>(std::ceil(seconds / source.SecondsPerGroup())) + 1;
}
