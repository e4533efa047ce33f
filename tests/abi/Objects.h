#pragma once

#include "common/Component.h"
#include "common/DataStream.h"
#include "common/HostContract.h"

#include <stdarg.h>

/// What a program without a C++ library takes from the C runtime and the system,
/// the record of calls that every check compares, and all objects that a ring
/// buffer meets in a process: the host's packets, context and observer, the
/// runtime library's objects and the muxer. Their tables are laid out by slot
/// number, so they stay as older hosts have them whatever happens to the headers;
/// a value goes by its address. Each call of them that matters is recorded.

extern "C"
{
    __declspec(dllimport) void* LoadLibraryW(const wchar_t* name);
    __declspec(dllimport) void (*GetProcAddress(void* module, const char* name))();
    __declspec(dllimport) void* SetUnhandledExceptionFilter(pyx_int32 (*filter)(void* exception));
    __declspec(dllimport) void CoTaskMemFree(void* p);
    int vsnprintf(char* text, pyx_size size, const char* format, va_list args) __asm__("_vsnprintf");
    int printf(const char* format, ...);
    int strcmp(const char* left, const char* right);
    int wcscmp(const wchar_t* left, const wchar_t* right);
    [[noreturn]] void exit(int code);
}

inline char g_calls[4096]; ///< what the objects of this program were asked since the last check
inline char* g_pCallsEnd = g_calls;
inline PYXVariant g_value; ///< what a call gave out; a text is this program's to free

__attribute__((format(printf, 1, 2))) inline void Record(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    *g_pCallsEnd = ' ';
    g_pCallsEnd += g_pCallsEnd == g_calls ? 0 : 1;
    g_pCallsEnd += vsnprintf(g_pCallsEnd, static_cast<pyx_size>(g_calls + sizeof(g_calls) - g_pCallsEnd), format, args);
    va_end(args);
}

/// The kind, then the value.
inline void RecordValue(const PYXVariant& value)
{
    const auto kind = static_cast<pyx_uint32>(value.type);
    if (value.type == PYX_VARIANT_WSTRING)
    {
        Record("%u:%ls", kind, value.wstringValue);
    }
    else if (value.type == PYX_VARIANT_SIZE || value.type == PYX_VARIANT_RATE)
    {
        Record("%u:%dx%d", kind, value.sizeValue.width, value.sizeValue.height);
    }
    else
    {
        Record("%u:%lld", kind, value.int64Value);
    }
}

/// Records g_value and empties it.
inline void TakeValue()
{
    RecordValue(g_value);
    if (g_value.type == PYX_VARIANT_WSTRING)
    {
        CoTaskMemFree(g_value.wstringValue);
    }
    g_value = {};
}

struct Object;
using Slot = pyx_int64 (*)(Object*);

/// Operations that the module does not call: a call is recorded, and no check expects it.
template <class Int, Int... Slots> struct Uncalled
{
    static constexpr Slot c_slots[sizeof...(Slots)] = {[](Object*) -> pyx_int64 { return Record("%d", Slots), 0; }...};
};

/// The operations of one kind of object.
struct Table
{
    Slot slots[40]{};
    PYXGuid id; ///< of its interface

    constexpr Table(const PYXGuid& interfaceId) : id(interfaceId)
    {
        for (int slot = 0; slot < 40; ++slot)
        {
            slots[slot] = __make_integer_seq<Uncalled, int, 40>::c_slots[slot];
        }
    }

    template <class Function> void Put(int slot, Function function)
    {
        slots[slot] = __builtin_bit_cast(Slot, +function);
    }
};

struct Object
{
    Table* pTable = nullptr;
    const char* name = nullptr;
    pyx_uint32 references = 0;
    pyx_int64 type = -1; ///< of a stream, or of a packet's frame; negative: none
    pyx_int64 pts = 0;
    pyx_int64 duration = 0;
    pyx_size size = 0;
    char bytes[16] = {};

    template <class Interface> Interface* As()
    {
        return reinterpret_cast<Interface*>(this);
    }
};

inline pyx_int64 g_references;    ///< held on all objects of this program
inline const wchar_t* g_property; ///< the one that packets and the module's storages have

inline constinit Table g_plainTable{{}}; ///< nothing but recorded slots
inline constinit Table g_observerTable{{}};
inline constinit Table g_traceTable{{}};
inline constinit Table g_factoryTable{{}};
inline constinit Table g_contextTable{PYXContext::c_id};
inline constinit Table g_packetTable{PYXBuffer::c_id};
inline constinit Table g_muxerTable{PYXComponentEx::c_id};
inline constinit Table g_inputTable{PYXInput::c_id};

inline constinit Object g_plain{&g_plainTable};
inline constinit Object g_observer{&g_observerTable};
inline constinit Object g_trace{&g_traceTable};
inline constinit Object g_factory{&g_factoryTable};
inline constinit Object g_context{&g_contextTable};
inline constinit Object g_muxer{&g_muxerTable, "muxer"};
inline constinit Object g_inputs[] = {{&g_inputTable, "audio", 0, PYX_STREAM_TYPE_AUDIO},
                                      {&g_inputTable, "video", 0, PYX_STREAM_TYPE_VIDEO}};

/// None is used twice, so a call on a packet that has ended does no harm and is recorded.
inline constinit Object g_packets[32];
inline constinit Object* g_pNextPacket = g_packets;
inline constexpr pyx_uint64 c_runtimeVersion = 0x0001000400240000;

inline pyx_uint32 Acquire(Object* p)
{
    ++g_references;
    return ++p->references;
}

inline PYX_RESULT GiveOut(Object* p, Object** ppOut)
{
    Acquire(p);
    *ppOut = p;
    return PYX_OK;
}

inline PYX_RESULT AllocBuffer(Object*, PYX_MEMORY_TYPE type, pyx_size size, Object** ppOut)
{
    *g_pNextPacket = {.pTable = &g_packetTable, .size = size};
    GiveOut(g_pNextPacket++, ppOut);
    return static_cast<int>(type) == 1 ? PYX_OK : PYX_INVALID_ARG;
}

inline PYX_RESULT SubmitToMuxer(Object* pInput, Object* p)
{
    if (!p)
    {
        return Record("%s(end)", pInput->name), PYX_EOF;
    }
    Record("%s(%lld+%lld %lld %llu %s)", pInput->name, p->pts, p->duration, p->type, p->size, p->bytes);
    return PYX_OK;
}

inline void Trace(Object*, const wchar_t* path, pyx_int32 line, pyx_int32 level, const wchar_t* scope,
                  const wchar_t* format, va_list* pArgs)
{
    Record("trace %d %ls%s%ls '%ls'", level, path, line > 0 ? " " : " without a line ", scope, format);
    if (pArgs)
    {
        Record("with %d", va_arg(*pArgs, int));
    }
}

inline void LayOutPackets()
{
    Table& table = g_packetTable;
    table.Put(3, [](Object*, const wchar_t* name, const PYXVariant& value) { // SetProperty
        return wcscmp(name, g_property) == 0 ? (Record("set"), RecordValue(value), PYX_OK) : PYX_OK;
    });
    table.Put(4, [](Object* p, const wchar_t* name, PYXVariant* pValue) { // GetProperty
        *pValue = PYXVariantFromInt64(p->type);
        return p->type >= 0 && wcscmp(name, L"OutputDataType") == 0 ? PYX_OK : PYX_NOT_FOUND;
    });
    table.Put(5, [](Object*, const wchar_t* name) { // HasProperty
        return wcscmp(name, g_property) == 0 && (Record("asked"), true);
    });
    table.Put(8, [](Object*) { return Record("cleared"), PYX_OK; });                               // Clear
    table.Put(10, [](Object* p, Object* pDest, bool) { return (pDest->type = p->type), PYX_OK; }); // CopyTo
    table.Put(13, [](Object* p, pyx_int64 pts) { p->pts = pts; });                                 // SetPts
    table.Put(14, [](Object* p) { return p->pts; });                                               // GetPts
    table.Put(15, [](Object* p, pyx_int64 duration) { p->duration = duration; });                  // SetDuration
    table.Put(16, [](Object* p) { return p->duration; });                                          // GetDuration
    table.Put(17, [](Object* p) { return p->size; });                                              // GetSize
    table.Put(18, [](Object* p) { return p->bytes; });                                             // GetNative
}

inline void LayOutMuxer()
{
    Table* const tables[] = {&g_muxerTable, &g_inputTable};
    for (Table* pTable : tables)
    {
        pTable->Put(3, [](Object* p, const wchar_t* name, const PYXVariant& value) { // SetProperty
            return Record("%s.%ls", p->name, name), RecordValue(value), PYX_OK;
        });
        pTable->Put(4, [](Object* p, const wchar_t* name, PYXVariant* pValue) { // GetProperty
            *pValue = PYXVariantFromInt64(p->type);
            return wcscmp(name, L"StreamType") == 0 ? PYX_OK : PYX_NOT_FOUND;
        });
    }
    g_inputTable.Put(17, SubmitToMuxer);
    g_muxerTable.Put(17, [](Object*, pyx_int32 format, pyx_int32 width, pyx_int32 height) { // Init
        return Record("init(%d,%d,%d)", format, width, height), PYX_OK;
    });
    g_muxerTable.Put(28, [](Object*) { return 2; }); // GetInputCount
    g_muxerTable.Put(30, [](Object*, pyx_int32 index, Object** ppOut) { return GiveOut(&g_inputs[index], ppOut); });
}

inline void LayOutObjects()
{
    Table* const tables[] = {&g_contextTable, &g_packetTable, &g_muxerTable, &g_inputTable};
    for (Table* pTable : tables)
    {
        pTable->Put(0, Acquire);
        pTable->Put(1, [](Object* p) { return --g_references, --p->references; }); // Release
        pTable->Put(2, [](Object* p, const PYXGuid& id, Object** ppOut) {          // QueryInterface
            *ppOut = nullptr;
            return id == p->pTable->id ? GiveOut(p, ppOut) : PYX_NO_INTERFACE;
        });
    }
    LayOutPackets();
    LayOutMuxer();
    g_contextTable.Put(3, [](Object* p, PYX_MEMORY_TYPE type, pyx_size size, Object** ppOut) { // AllocBuffer
        return Record("alloc %llu", size), AllocBuffer(p, type, size, ppOut);
    });
    g_observerTable.Put(0, [](Object*, const wchar_t* name) { Record("changed(%ls)", name); });
    g_traceTable.Put(0, Trace);
    g_traceTable.Put(1, [](Object*, PYX_RESULT code) { return code == PYX_NOT_FOUND ? L"not found" : L"unknown"; });
    g_factoryTable.Put(0, [](Object*, Object** ppOut) { return (*ppOut = &g_trace), PYX_OK; }); // GetDebug
    g_factoryTable.Put(1, [](Object*, Object** ppOut) { return (*ppOut = &g_trace), PYX_OK; }); // GetTrace
}

// What the companion modules export.

PYX_EXPORT PYX_RESULT PYXInit(pyx_uint64 version, PYXFactory** ppFactory)
{
    *ppFactory = g_factory.As<PYXFactory>();
    return version == c_runtimeVersion ? PYX_OK : PYX_FAIL;
}

PYX_EXPORT PYX_RESULT PYXQueryVersion(pyx_uint64* pVersion)
{
    *pVersion = c_runtimeVersion;
    return PYX_OK;
}

PYX_EXPORT PYX_RESULT PYXCreateComponentInt(PYXContext* pContext, const wchar_t* id, PYXComponent** ppOut)
{
    Record("%screate(%ls)", pContext == g_context.As<PYXContext>() ? "" : "context lost, ", id);
    return GiveOut(&g_muxer, reinterpret_cast<Object**>(ppOut));
}
