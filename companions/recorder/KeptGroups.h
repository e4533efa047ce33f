#pragma once

#include "common/Types.h"

#include <deque>

/// A group of pictures as the host saw it go by. Times in ticks.
struct PYXKeptGroup
{
    pyx_int64 start = 0;        ///< of its key picture
    pyx_int64 lastPts = 0;      ///< of the picture submitted last, which with B-frames is not the one shown last
    pyx_int64 lastDuration = 0; ///< of that picture
    pyx_int64 end = 0;          ///< when the picture shown last ends
    pyx_uint64 bytes = 0;       ///< submitted from its key picture on to the next one, audio with them
    pyx_uint64 packets = 0;     ///< likewise
    pyx_uint64 leading = 0;     ///< of them, pictures shown before the key picture, which need the group before
    bool hasAudio = false;

    /// The group's length as the component counts it.
    pyx_int64 Length() const
    {
        return lastPts - start + lastDuration;
    }
};

/// The groups of pictures that a component holds, as its host can tell from
/// what it submitted and from the rule by which the component drops the oldest.
///
/// The component has no operation that tells what it holds. A host that wants to
/// know where a clip will begin, or whether a group has audio, keeps these few
/// numbers for each group. Threads: one at a time.
class PYXKeptGroups
{
public:
    /// The most that a component can be told to keep, 68 years: longer than anything that is kept.
    static constexpr pyx_int64 c_mostSeconds = 2147483647;

    /// Oldest first; the last one is the one that pictures are added to.
    const std::deque<PYXKeptGroup>& All() const
    {
        return m_groups;
    }

    /// How many seconds the component must be told to keep so that, when a group
    /// starts with this picture, every picture of the last `asked` seconds stays.
    ///
    /// It is `asked` or a little more. The component takes a group's own length
    /// off the span and not the way to the next group's start, and that falls
    /// short by the pictures that an open group shows before its key picture, and
    /// by pauses.
    pyx_int64 SecondsNeeded(pyx_int64 asked, pyx_int64 pts, pyx_int64 duration) const;

    /// How many seconds it must be told to keep so that it drops oldest groups
    /// until the others have no more than so many bytes; 1 at least.
    pyx_int64 SecondsForBytes(pyx_uint64 bytes) const;

    /// A key picture.
    void Start(pyx_int64 pts, pyx_int64 duration, pyx_uint64 bytes);

    /// Another picture; without a group it is dropped, as by the component.
    void AddPicture(pyx_int64 pts, pyx_int64 duration, pyx_uint64 bytes);

    /// While there is a group.
    void AddAudio(pyx_int64 pts, pyx_uint64 bytes);

    /// Forgets the groups that the component drops, told to keep so many seconds, when a group has just started or the
    /// number was set.
    void Trim(pyx_int64 seconds);

    /// When the newest picture ends; only while there is a group.
    pyx_int64 End() const
    {
        return m_groups.back().end;
    }

    /// Of all groups.
    pyx_uint64 Bytes() const
    {
        return m_bytes;
    }

    pyx_uint64 Packets() const;

private:
    void Count(pyx_uint64 bytes);
    pyx_int64 Span() const;

    std::deque<PYXKeptGroup> m_groups;
    pyx_uint64 m_bytes = 0;
};
