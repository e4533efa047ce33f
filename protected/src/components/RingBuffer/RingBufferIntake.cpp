#include "RingBufferImpl.h"

#include <algorithm>
#include <new>
#include <utility>

// Packets on their way into the groups. Every operation takes m_sync for its
// whole run, or is called by one that holds it.

namespace
{

constexpr const PYXTraceSource& c_traceSource = c_ringBufferTraceSource;

} // namespace

PYX_RESULT PYXRingBufferImpl::AddVideoStartPacket(PYXBuffer* pPacket)
{
    FAIL_IF_NOT(pPacket != nullptr, PYX_INVALID_ARG, L"AddVideoStartPacket() - Invalid buffer passed in");
    PYXLock lock(&m_sync);
    PASS_ON_FAILURE(CloseActiveGOP(), L"AddVideoStartPacket() failed");
    m_pActiveGOP.reset(new (std::nothrow) PYXRingBufferGOP(m_spContext.Get(), m_tempPath, m_bufferInRam));
    FAIL_IF_NOT(m_pActiveGOP, PYX_OUT_OF_MEMORY, L"AddVideoStartPacket() - Out of memory");
    PASS_ON_FAILURE(m_pActiveGOP->AddVideoPacket(pPacket), L"AddVideoStartPacket() failed");
    PASS_ON_FAILURE(AddAudioPacketsToGOP(), L"AddVideoStartPacket() failed");
    return TrimGOPs();
}

/// Moves the active group, if any, into the list, with the audio that waits for
/// it. On failure it stays active.
PYX_RESULT PYXRingBufferImpl::CloseActiveGOP()
{
    if (!m_pActiveGOP)
    {
        return PYX_OK;
    }
    if (const PYX_RESULT result = AddAudioPacketsToGOP(); result != PYX_OK)
    {
        return result;
    }
    m_listOfGOPs.push_back(std::move(m_pActiveGOP));
    m_listOfGOPs.back()->CloseVideoFile();
    return PYX_OK;
}

PYX_RESULT PYXRingBufferImpl::AddVideoRegularPacket(PYXBuffer* pPacket)
{
    FAIL_IF_NOT(pPacket != nullptr, PYX_INVALID_ARG, L"AddVideoRegularPacket() - Invalid buffer passed in");
    PYXLock lock(&m_sync);
    if (!m_pActiveGOP)
    {
        return PYX_OK;
    }
    PASS_ON_FAILURE(m_pActiveGOP->AddVideoPacket(pPacket), L"AddVideoRegularPacket() failed");
    return AddAudioPacketsToGOP();
}

PYX_RESULT PYXRingBufferImpl::AddAudioPacket(PYXBuffer* pPacket)
{
    PYXLock lock(&m_sync);
    const bool mustWait = !m_pendingAudio.empty() || (!m_pActiveGOP && m_listOfGOPs.empty());
    if (mustWait)
    {
        m_pendingAudio.emplace_back(pPacket);
        return AddAudioPacketsToGOP();
    }
    // Nothing is before it in the queue, so it is spared the way through.
    bool placed = false;
    const PYX_RESULT result = PlaceAudio(pPacket, &placed);
    if (!placed)
    {
        m_pendingAudio.emplace_back(pPacket);
    }
    return result;
}

/// Moves waiting audio into the groups by time stamp. Audio before the first
/// group waits; audio older than the oldest group is dropped.
PYX_RESULT PYXRingBufferImpl::AddAudioPacketsToGOP()
{
    PYXLock lock(&m_sync);
    if (!m_pActiveGOP && m_listOfGOPs.empty())
    {
        return PYX_OK;
    }
    while (!m_pendingAudio.empty())
    {
        const PYXInterfacePtr<PYXBuffer> spPacket = m_pendingAudio.front();
        bool placed = false;
        const PYX_RESULT result = PlaceAudio(spPacket.Get(), &placed);
        if (!placed)
        {
            return PYX_OK; // kept so: it stays in front and is tried again next time
        }
        m_pendingAudio.pop_front();
        if (result != PYX_OK)
        {
            return result;
        }
    }
    return PYX_OK;
}

/// Gives one packet to the group that covers its time. `*pPlaced` becomes false
/// when the active group refuses it: it has to wait, and that is no failure. What
/// an older group refuses is lost.
PYX_RESULT PYXRingBufferImpl::PlaceAudio(PYXBuffer* pPacket, bool* pPlaced)
{
    *pPlaced = true;
    const pyx_int64 pts = pPacket->GetPts();
    if (m_pActiveGOP && pts >= m_pActiveGOP->GetPts())
    {
        *pPlaced = AddAudioToActiveGOP(pPacket);
        return PYX_OK;
    }
    PASS_ON_FAILURE(AddAudioToCachedGOP(pPacket, pts),
                    L"AddAudioPacketsToGOP() failed to add audio packet to cached GOP");
    return PYX_OK;
}

bool PYXRingBufferImpl::AddAudioToActiveGOP(PYXBuffer* pPacket)
{
    if (m_pActiveGOP->AddAudioPacket(pPacket) != PYX_OK)
    {
        return false;
    }
    // Audio has passed the group's start, so the group before it gets no more in the normal case.
    if (!m_listOfGOPs.empty() && m_pActiveGOP->GetVideoPacketCount() == 1)
    {
        m_listOfGOPs.back()->CloseAudioFile();
    }
    return true;
}

/// Gives it to the newest group that starts at or before it; none: dropped.
PYX_RESULT PYXRingBufferImpl::AddAudioToCachedGOP(PYXBuffer* pPacket, pyx_int64 pts)
{
    const auto found = std::find_if(m_listOfGOPs.rbegin(), m_listOfGOPs.rend(),
                                    [pts](const auto& pGroup) { return pGroup->GetPts() <= pts; });
    return found == m_listOfGOPs.rend() ? PYX_OK : (*found)->AddAudioPacket(pPacket);
}

/// Drops the oldest groups as long as what remains is still longer than the
/// duration.
PYX_RESULT PYXRingBufferImpl::TrimGOPs()
{
    PYXLock lock(&m_sync);
    if (m_duration <= 0)
    {
        ClearGOPs();
        return PYX_OK;
    }
    if (m_listOfGOPs.empty())
    {
        return PYX_OK;
    }
    PYXRingBufferGOP& newest = m_pActiveGOP ? *m_pActiveGOP : *m_listOfGOPs.back();
    const pyx_int64 duration = newest.GetDuration();
    const pyx_int64 end = PYXAddTicks(newest.GetPts(), duration);
    pyx_int64 span = PYXSubtractTicks(end, m_listOfGOPs.front()->GetPts());
    while (!m_listOfGOPs.empty())
    {
        // A group takes its own length off the span, not the gap to the next
        // group's start. Kept exactly so: it decides which groups a clip begins with.
        const pyx_int64 remaining = PYXSubtractTicks(span, m_listOfGOPs.front()->GetDuration());
        if (remaining <= m_duration * PYX_TICKS_PER_SECOND)
        {
            break;
        }
        span = remaining;
        m_listOfGOPs.pop_front();
    }
    return PYX_OK;
}

void PYXRingBufferImpl::ClearGOPs()
{
    PYXLock lock(&m_sync);
    m_pendingAudio.clear();
    m_pActiveGOP.reset();
    m_listOfGOPs.clear();
}
