#include "RingBufferCache.h"

#include "RingBufferTrace.h"

#include <algorithm>
#include <new>
#include <utility>

namespace
{

constexpr const PYXTraceSource& c_traceSource = c_ringBufferTraceSource;

} // namespace

PYXRingBufferCache::PYXRingBufferCache(PYXContext* pContext) : m_pContext(pContext)
{
}

PYX_RESULT PYXRingBufferCache::AddVideoStartPacket(PYXBuffer* pPacket)
{
    FAIL_IF_NOT(pPacket != nullptr, PYX_INVALID_ARG, L"AddVideoStartPacket() - Invalid buffer passed in");
    PASS_ON_FAILURE(CloseActiveGOP(), L"AddVideoStartPacket() failed");
    m_pActiveGOP = CreateGOP();
    FAIL_IF_NOT(m_pActiveGOP, PYX_OUT_OF_MEMORY, L"AddVideoStartPacket() - Out of memory");
    PASS_ON_FAILURE(m_pActiveGOP->AddVideoPacket(pPacket), L"AddVideoStartPacket() failed");
    PASS_ON_FAILURE(AddAudioPacketsToGOP(), L"AddVideoStartPacket() failed");
    return TrimGOPs();
}

/// Moves the active group, if any, into the list, with the audio that waits for
/// it. On failure it stays active.
PYX_RESULT PYXRingBufferCache::CloseActiveGOP()
{
    if (!m_pActiveGOP)
    {
        return PYX_OK;
    }
    PASS_ON_FAILURE_SILENTLY(AddAudioPacketsToGOP());
    FinishActiveGroup();
    static_cast<void>(m_listOfGOPs.back()->CloseVideoFile());
    return PYX_OK;
}

void PYXRingBufferCache::FinishActiveGroup()
{
    if (m_pActiveGOP)
    {
        m_listOfGOPs.push_back(std::move(m_pActiveGOP));
    }
}

/// Null when memory has run out.
std::shared_ptr<PYXRingBufferGOP> PYXRingBufferCache::CreateGOP()
{
    try
    {
        if (!m_memory.spVideo)
        {
            m_memory = {std::make_shared<PYXMemorySegments>(), std::make_shared<PYXMemorySegments>()};
        }
        m_memory.spVideo->BeginGroup();
        m_memory.spAudio->BeginGroup();
        return std::make_shared<PYXRingBufferGOP>(m_pContext, m_tempPath, m_bufferInRam, m_memory);
    }
    catch (const std::bad_alloc&)
    {
        return nullptr;
    }
}

PYX_RESULT PYXRingBufferCache::AddVideoRegularPacket(PYXBuffer* pPacket)
{
    FAIL_IF_NOT(pPacket != nullptr, PYX_INVALID_ARG, L"AddVideoRegularPacket() - Invalid buffer passed in");
    if (!m_pActiveGOP)
    {
        return PYX_OK;
    }
    PASS_ON_FAILURE(m_pActiveGOP->AddVideoPacket(pPacket), L"AddVideoRegularPacket() failed");
    return AddAudioPacketsToGOP();
}

PYX_RESULT PYXRingBufferCache::AddAudioPacket(PYXBuffer* pPacket)
{
    m_pendingAudio.emplace_back(pPacket);
    return AddAudioPacketsToGOP();
}

PYX_RESULT PYXRingBufferCache::AddAudioPacketsToGOP()
{
    if (!HasGOP())
    {
        return PYX_OK;
    }
    while (!m_pendingAudio.empty())
    {
        const PYXInterfacePtr<PYXBuffer> spPacket = m_pendingAudio.front();
        const pyx_int64 pts = spPacket->GetPts();
        if (m_pActiveGOP && pts >= m_pActiveGOP->GetPts())
        {
            if (!AddAudioToActiveGOP(spPacket.Get()))
            {
                return PYX_OK; // Hosts rely on this success: the packet stays in front and is tried again next time.
            }
            m_pendingAudio.pop_front();
        }
        else
        {
            m_pendingAudio.pop_front();
            PASS_ON_FAILURE(AddAudioToCachedGOP(spPacket.Get(), pts),
                            L"AddAudioPacketsToGOP() failed to add audio packet to cached GOP");
        }
    }
    return PYX_OK;
}

bool PYXRingBufferCache::AddAudioToActiveGOP(PYXBuffer* pPacket)
{
    if (m_pActiveGOP->AddAudioPacket(pPacket) != PYX_OK)
    {
        return false;
    }
    // Audio has passed the group's start, so the group before it gets no more in the normal case.
    if (!m_listOfGOPs.empty() && m_pActiveGOP->GetVideoPacketCount() == 1)
    {
        static_cast<void>(m_listOfGOPs.back()->CloseAudioFile());
    }
    return true;
}

/// Gives it to the newest group that starts at or before it; none: dropped.
PYX_RESULT PYXRingBufferCache::AddAudioToCachedGOP(PYXBuffer* pPacket, pyx_int64 pts)
{
    const auto found = std::find_if(m_listOfGOPs.rbegin(), m_listOfGOPs.rend(),
                                    [pts](const auto& pGroup) { return pGroup->GetPts() <= pts; });
    return found == m_listOfGOPs.rend() ? PYX_OK : (*found)->AddAudioPacket(pPacket);
}

PYX_RESULT PYXRingBufferCache::TrimGOPs()
{
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
        // A group takes its own length off the span, not the gap to the next group's
        // start. Hosts rely on it: it decides which groups a clip begins with.
        span = PYXSubtractTicks(span, m_listOfGOPs.front()->GetDuration());
        if (span <= m_duration * PYX_TICKS_PER_SECOND)
        {
            break;
        }
        m_listOfGOPs.pop_front();
    }
    return PYX_OK;
}

void PYXRingBufferCache::ClearGOPs()
{
    m_pendingAudio.clear();
    m_pActiveGOP.reset();
    m_listOfGOPs.clear();
    m_memory = {};
    // A block that an empty queue keeps would keep the heap from giving back what is around it.
    m_listOfGOPs.shrink_to_fit();
    m_pendingAudio.shrink_to_fit();
}
