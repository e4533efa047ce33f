#include "bench/Probes.h"

#include "bench/Clock.h"
#include "bench/Require.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>
#include <vector>
#include <windows.h>

namespace
{

constexpr const wchar_t* c_moduleFile = L"pyx-component-ring-buffer64.dll";

std::array<ProbeReading, c_probes>& Table();

class Watch
{
public:
    explicit Watch(size_t row) : m_row(row), m_begin(ReadTicks())
    {
    }

    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    ~Watch()
    {
        const pyx_uint64 ticks = ReadTicks() - m_begin;
        if (ProbeSession::IsWatching())
        {
            ProbeReading& reading = Table()[m_row];
            ++reading.calls;
            reading.ticks += ticks - std::min(ticks, EmptyMeasurement());
        }
    }

private:
    const size_t m_row;
    const pyx_uint64 m_begin;
};

/// Stands in for the function whose address it took over. An operation of an
/// object is a function whose first argument is the object.
template <size_t Row, class Function> struct Probe;

template <size_t Row, class Result, class... Arguments> struct Probe<Row, Result(Arguments...)>
{
    static inline void* s_original = nullptr;

    static Result Call(Arguments... arguments)
    {
        const Watch watch(Row);
        return reinterpret_cast<Result (*)(Arguments...)>(s_original)(arguments...);
    }
};

/// Where the probe of a row takes over.
struct Place
{
    const char* import;  // name in the module's import table, or null
    int bufferSlot = -1; // of the host's buffer
    int contextSlot = -1;
};

struct Row
{
    ProbeReading reading;
    Place place;
    void* pCall;
    void** ppOriginal;
};

template <size_t Index, class Function> Row MakeRow(const char* name, ProbeGroup group, const Place& place)
{
    using ProbeHere = Probe<Index, Function>;
    return {{name, group, 0, 0}, place, reinterpret_cast<void*>(&ProbeHere::Call), &ProbeHere::s_original};
}

using Bytes = unsigned int;

const std::array<Row, c_probes> s_rows{
    MakeRow<0, int(const wchar_t*, int, int, int)>("_wsopen", ProbeGroup::Files, {"_wsopen"}),
    MakeRow<1, int(int, const void*, Bytes)>("_write", ProbeGroup::Files, {"_write"}),
    MakeRow<2, int(int, void*, Bytes)>("_read", ProbeGroup::Files, {"_read"}),
    MakeRow<3, pyx_int64(int, pyx_int64, int)>("_lseeki64", ProbeGroup::Files, {"_lseeki64"}),
    MakeRow<4, int(int)>("_close", ProbeGroup::Files, {"_close"}),
    MakeRow<5, BOOL(const wchar_t*)>("DeleteFileW", ProbeGroup::Files, {"DeleteFileW"}),
    MakeRow<6, PYX_RESULT(void*, int, pyx_size, void**)>("host: AllocBuffer", ProbeGroup::Host, {nullptr, -1, 3}),
    MakeRow<7, pyx_uint32(void*)>("host: Acquire", ProbeGroup::Host, {nullptr, 0}),
    MakeRow<8, pyx_uint32(void*)>("host: Release", ProbeGroup::Host, {nullptr, 1}),
    MakeRow<9, PYX_RESULT(void*, const PYXGuid&, void**)>("host: QueryInterface", ProbeGroup::Host, {nullptr, 2}),
    MakeRow<10, PYX_RESULT(void*, const wchar_t*, PYXVariant*)>("host: GetProperty", ProbeGroup::Host, {nullptr, 4}),
    MakeRow<11, PYX_RESULT(void*, void*, bool)>("host: CopyTo", ProbeGroup::Host, {nullptr, 10}),
    MakeRow<12, pyx_int64(void*)>("host: GetPts", ProbeGroup::Host, {nullptr, 14}),
    MakeRow<13, pyx_size(void*)>("host: GetSize", ProbeGroup::Host, {nullptr, 17}),
    MakeRow<14, void(void*)>("EnterCriticalSection", ProbeGroup::Other, {"EnterCriticalSection"}),
    MakeRow<15, void(void*)>("LeaveCriticalSection", ProbeGroup::Other, {"LeaveCriticalSection"}),
    MakeRow<16, void*(size_t)>("malloc", ProbeGroup::Other, {"malloc"}),
    MakeRow<17, void(void*)>("free", ProbeGroup::Other, {"free"}),
    MakeRow<18, void*(void*, const void*, size_t)>("memcpy", ProbeGroup::Other, {"memcpy"}),
};

std::array<ProbeReading, c_probes>& Table()
{
    static std::array<ProbeReading, c_probes> table;
    return table;
}

/// The addresses that were put in somebody's table, to be taken out again.
std::vector<std::pair<void**, void*>>& TakenPlaces()
{
    static std::vector<std::pair<void**, void*>> places;
    return places;
}

void Write(void** ppPlace, void* pValue)
{
    DWORD old = 0;
    Require(VirtualProtect(static_cast<void*>(ppPlace), sizeof pValue, PAGE_READWRITE, &old), "writing to a table");
    *ppPlace = pValue;
    VirtualProtect(static_cast<void*>(ppPlace), sizeof pValue, old, &old);
}

void TakeOver(void** ppPlace, const Row& row)
{
    TakenPlaces().emplace_back(ppPlace, *ppPlace);
    *row.ppOriginal = *ppPlace;
    Write(ppPlace, row.pCall);
}

/// Every place of that name: a module may list a function twice.
void TakeOverImport(HMODULE module, const Row& row)
{
    auto* const pBase = reinterpret_cast<pyx_uint8*>(module);
    const auto* const pDos = reinterpret_cast<const IMAGE_DOS_HEADER*>(pBase);
    const auto* const pHeaders = reinterpret_cast<const IMAGE_NT_HEADERS64*>(pBase + pDos->e_lfanew);
    const DWORD imports = pHeaders->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    const auto* pLibrary = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(pBase + imports);
    for (; pLibrary->Name != 0; ++pLibrary)
    {
        const auto* pName = reinterpret_cast<const pyx_uint64*>(pBase + pLibrary->OriginalFirstThunk);
        auto* ppAddress = reinterpret_cast<void**>(pBase + pLibrary->FirstThunk);
        for (; *pName != 0; ++pName, ++ppAddress)
        {
            const bool byNumber = (*pName & IMAGE_ORDINAL_FLAG64) != 0;
            if (!byNumber && std::strcmp(reinterpret_cast<const char*>(pBase + *pName + 2), row.place.import) == 0)
            {
                TakeOver(ppAddress, row);
            }
        }
    }
}

} // namespace

ProbeSession::ProbeSession(bool filesOnly, PYXContext* pContext, PYXBuffer* pPacket)
{
    const HMODULE module = GetModuleHandleW(c_moduleFile);
    for (size_t i = 0; i < c_probes; ++i)
    {
        const Row& row = s_rows[i];
        Table()[i] = row.reading;
        if (filesOnly && row.reading.group != ProbeGroup::Files)
        {
            continue;
        }
        if (row.place.import)
        {
            TakeOverImport(module, row);
        }
        if (row.place.bufferSlot >= 0)
        {
            TakeOver(*reinterpret_cast<void***>(pPacket) + row.place.bufferSlot, row);
        }
        if (row.place.contextSlot >= 0)
        {
            TakeOver(*reinterpret_cast<void***>(pContext) + row.place.contextSlot, row);
        }
    }
}

ProbeSession::~ProbeSession()
{
    for (const auto& [ppPlace, pOriginal] : TakenPlaces())
    {
        Write(ppPlace, pOriginal);
    }
    TakenPlaces().clear();
}

std::span<const ProbeReading> ProbeSession::Readings()
{
    return Table();
}

pyx_uint64 ProbeSession::TicksInFiles()
{
    pyx_uint64 ticks = 0;
    for (const ProbeReading& reading : Table())
    {
        ticks += reading.group == ProbeGroup::Files ? reading.ticks : 0;
    }
    return ticks;
}
