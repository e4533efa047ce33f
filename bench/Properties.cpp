#include "bench/Measure.h"
#include "bench/Require.h"
#include "bench/Subject.h"
#include "bench/Suite.h"

#include "common/StreamProperties.h"
#include "common/Variant.h"

#include <benchmark/benchmark.h>

#include <memory>

// Reading and setting single properties, and the way from the module's entry to
// the first packet.

namespace
{

void Get(benchmark::State& state, PYXPropertyStorage* pStorage, const wchar_t* name)
{
    for (auto _ : state)
    {
        PYXVariantOwner value;
        benchmark::DoNotOptimize(pStorage->GetProperty(name, value.Out()));
    }
}

/// Two values in turns, so that each is news to the storage.
void Set(benchmark::State& state, PYXPropertyStorage* pStorage, const wchar_t* name, const PYXVariant& first,
         const PYXVariant& second)
{
    bool turn = false;
    PYX_RESULT failures = PYX_OK;
    for (auto _ : state)
    {
        turn = !turn;
        failures |= pStorage->SetProperty(name, turn ? first : second);
    }
    Require(failures == PYX_OK, "a value was refused");
}

constexpr int c_repetitions = 5;

template <class Function> void RegisterTimed(const char* name, Function function)
{
    benchmark::RegisterBenchmark(name, function)->MinTime(0.05)->Repetitions(c_repetitions);
}

void RegisterReadsAndWrites()
{
    RegisterTimed("Property/get/number", [](benchmark::State& state) {
        Subject subject(Storage::Memory, 30);
        Get(state, subject.Component(), L"Duration");
    });
    RegisterTimed("Property/get/text", [](benchmark::State& state) {
        Subject subject(Storage::Memory, 30);
        Get(state, subject.Component(), L"Path");
    });
    RegisterTimed("Property/set/own", [](benchmark::State& state) {
        Subject subject(Storage::Memory, 30);
        Set(state, subject.Component(), L"Duration", PYXVariantFromInt64(30), PYXVariantFromInt64(31));
    });
    RegisterTimed("Property/set/forwarded", [](benchmark::State& state) {
        Subject subject(Storage::Memory, 30);
        Set(state, subject.Component(), L"Path", PYXVariantBorrowWString(L"C:\\clips\\one.mp4"),
            PYXVariantBorrowWString(L"C:\\clips\\two.mp4"));
    });
    RegisterTimed("Property/set/mirrored", [](benchmark::State& state) {
        Subject subject(Storage::Memory, 30);
        Set(state, subject.VideoInput(), PYX_PROPERTY_BIT_RATE, PYXVariantFromInt64(1000), PYXVariantFromInt64(2000));
    });
}

/// From the module's entry through a host's usual settings to the first packet.
void Start(benchmark::State& state, Storage storage, bool cold)
{
    PacketSource source(120, 50'000);
    const Packet first = source.NextGroup().front();
    for (auto _ : state)
    {
        LoadModule();
        std::unique_ptr<Subject> pSubject;
        const pyx_uint64 ticks = TimeCall([&] {
            pSubject = std::make_unique<Subject>(storage, 30);
            pSubject->Take(first);
        });
        pSubject->RequireAllTaken();
        pSubject.reset();
        if (cold)
        {
            UnloadModule();
        }
        state.SetIterationTime(ToMicroseconds(ticks) / 1e6);
    }
}

void RegisterStart(const char* name, Storage storage, bool cold, const Effort& effort)
{
    benchmark::RegisterBenchmark(name, [=](benchmark::State& state) { Start(state, storage, cold); })
        ->Iterations(1)
        ->Repetitions(effort.quick ? 5 : 15)
        ->UseManualTime();
}

} // namespace

void RegisterProperties(const Effort& effort)
{
    RegisterReadsAndWrites();
    RegisterStart("Start/cold/files", Storage::Files, true, effort);
    RegisterStart("Start/warm/files", Storage::Files, false, effort);
    RegisterStart("Start/warm/memory", Storage::Memory, false, effort);
}
