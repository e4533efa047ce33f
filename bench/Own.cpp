#include "bench/Measure.h"
#include "bench/Subject.h"
#include "bench/Suite.h"
#include "support/Hooks.h"

#include <string>
#include <utility>

// What the module adds to a packet: what is left of a call into it when the file
// operations in it are taken off, and the host's part of that. Both sides of the
// difference come from the same call, so it is steady where two runs over the
// same files are not.

namespace
{

constexpr int c_picturesPerGroup = 120;
constexpr int c_kilobits = 50'000;
constexpr int c_seconds = 30;
constexpr const wchar_t* c_moduleFile = L"pyx-component-ring-buffer64.dll";

pyx_uint64 s_fileTicks;
pyx_uint64 s_hostTicks;
bool s_isWatching;

class StopWatch
{
public:
    explicit StopWatch(pyx_uint64* pTicks) : m_pTicks(pTicks), m_begin(ReadTicks())
    {
    }
    StopWatch(const StopWatch&) = delete;
    StopWatch& operator=(const StopWatch&) = delete;

    ~StopWatch()
    {
        const pyx_uint64 ticks = ReadTicks() - m_begin;
        *m_pTicks += s_isWatching ? ticks - std::min(ticks, EmptyMeasurement()) : 0;
    }

private:
    pyx_uint64* const m_pTicks;
    const pyx_uint64 m_begin;
};

/// Puts a stop watch around the function whose address lies in a table. One per
/// `index` and `pTicks` at a time.
template <pyx_uint64* pTicks, int index, class Function> class TimedCall;
template <pyx_uint64* pTicks, int index, class Result, class... Args> class TimedCall<pTicks, index, Result(Args...)>
{
public:
    explicit TimedCall(void** ppPlace) : m_ppPlace(ppPlace)
    {
        s_pOriginal = *ppPlace;
        WritePointer(ppPlace, reinterpret_cast<void*>(&Call));
    }

    TimedCall(const TimedCall&) = delete;
    TimedCall& operator=(const TimedCall&) = delete;
    ~TimedCall()
    {
        WritePointer(m_ppPlace, s_pOriginal);
    }

private:
    static Result Call(Args... args)
    {
        const StopWatch watch(pTicks);
        return reinterpret_cast<Result (*)(Args...)>(s_pOriginal)(args...);
    }

    static inline void* s_pOriginal = nullptr;
    void** const m_ppPlace;
};

template <int index, class Function> using FileCall = TimedCall<&s_fileTicks, index, Function>;
template <int slot, class Function> using HostCall = TimedCall<&s_hostTicks, slot, Function>;

/// Stop watches around every file operation that the module imports, and around
/// the operations of the host's buffers and context that it calls.
struct Probes
{
    HMODULE module;
    void** pBuffer;
    void** pContext;

    FileCall<0, int(const wchar_t*, int, int, int)> open{FindImport(module, "_wsopen")};
    FileCall<1, int(int, const void*, unsigned)> write{FindImport(module, "_write")};
    FileCall<2, int(int)> close{FindImport(module, "_close")};
    FileCall<3, BOOL(const wchar_t*)> remove{FindImport(module, "DeleteFileW")};
    HostCall<0, pyx_uint32(void*)> acquire{pBuffer};
    HostCall<1, pyx_uint32(void*)> release{pBuffer + 1};
    HostCall<2, PYX_RESULT(void*, const PYXGuid&, void**)> query{pBuffer + 2};
    HostCall<4, PYX_RESULT(void*, const wchar_t*, PYXVariant*)> getProperty{pBuffer + 4};
    HostCall<10, PYX_RESULT(void*, void*, bool)> copy{pBuffer + 10};
    HostCall<14, pyx_int64(void*)> getPts{pBuffer + 14};
    HostCall<17, pyx_size(void*)> getSize{pBuffer + 17};
    HostCall<3, PYX_RESULT(void*, int, pyx_size, void**)> allocate{pContext + 3};
};

void OwnPartOfIntake(Counters* pCounters, int groups)
{
    PacketSource source(c_picturesPerGroup, c_kilobits);
    Subject subject(Storage::Files, c_seconds);
    for (size_t i = 0; i < GroupsKept(c_seconds, source); ++i)
    {
        TakeAll(source.NextGroup(), &subject);
    }
    Cost own;
    Cost host;
    PYXBuffer* const pPacket = source.NextGroup().front().pBuffer;
    const Probes probes{GetModuleHandleW(c_moduleFile), *reinterpret_cast<void***>(pPacket),
                        *reinterpret_cast<void***>(subject.Context())};
    for (int i = 0; i < groups; ++i)
    {
        for (const Packet& packet : source.NextGroup())
        {
            s_fileTicks = s_hostTicks = 0;
            s_isWatching = true;
            const pyx_uint64 ticks = TimeCall([&] { subject.Take(packet); });
            s_isWatching = false;
            own.Add(packet.kind, ticks - std::min(ticks, s_fileTicks));
            host.Add(packet.kind, s_hostTicks);
        }
    }
    subject.RequireAllTaken();
    subject.Keep(1); // the rest need not be written out
    for (auto& [name, pCost] : {std::pair<std::string, Cost*>{"own", &own}, {"host", &host}})
    {
        (*pCounters)[name + "_start_us"] = pCost->Of(PacketKind::Start).Median();
        (*pCounters)[name + "_regular_us"] = pCost->Of(PacketKind::Regular).Median();
        (*pCounters)[name + "_video_us"] = pCost->PerVideoPacket();
        (*pCounters)[name + "_audio_us"] = pCost->Of(PacketKind::Audio).Median();
    }
}

} // namespace

void RegisterOwn(const Effort& effort)
{
    Register("Own/files", effort.quick ? 1 : 3, OwnPartOfIntake, effort.quick ? 4 : 16);
}
