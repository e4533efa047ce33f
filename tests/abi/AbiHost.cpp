// A host as other teams build it: the platform's native class layout, the
// published headers and nothing else. It drives the module through every slot
// of its tables, and is the context, the runtime library and the muxer that the
// module calls. Prints what failed; its exit code is 0 when nothing did.

#include "Objects.h"

#define STREAM_TYPE(type)                                                                                              \
    "StreamType|Stream Type|2|0 2:" #type " 2:" #type " 0:0 0:0 3 0 Unknown 1 Video 2 Audio 3 Data 0 end"
#define FROM_RING_BUFFER " components/RingBuffer/RingBufferImpl PYXRingBufferImpl "

const char* g_step = "the start"; ///< the check in progress
int g_failures;

/// EXPECT(expression, result[, calls that it causes on the objects of this program and the value that it gives out])
#define EXPECT(expression, ...)                                                                                        \
    do                                                                                                                 \
    {                                                                                                                  \
        g_step = #expression;                                                                                          \
        Check(static_cast<pyx_int64>(expression), __VA_ARGS__);                                                        \
    } while (false)

void Check(pyx_int64 result, pyx_int64 expected, const char* calls = "")
{
    if (g_value.type != PYX_VARIANT_EMPTY)
    {
        TakeValue();
    }
    if (result != expected || strcmp(g_calls, calls) != 0)
    {
        ++g_failures;
        printf("FAILED %s\n  returned %lld, caused \"%s\"\n  expected %lld, \"%s\"\n", g_step, result, g_calls,
               expected, calls);
    }
    g_pCallsEnd = g_calls;
    *g_calls = 0;
}

/// A wrong slot is often given arguments that it cannot bear, so a crash names the call that it happened in.
pyx_int32 ReportCrash(void*)
{
    printf("FAILED %s\n  crashed, having caused \"%s\"\n", g_step, g_calls);
    exit(3);
}

/// Calls each operation of an object that records the slot that it is called in: the module is built from the same
/// headers, so both sides could move together, away from older hosts.
template <class... Methods> int FindSlots(Methods... methods)
{
    (__builtin_bit_cast(Slot, methods)(&g_plain), ...);
    return sizeof...(methods);
}

/// Calls an operation after the published ones, which the headers do not name.
template <class Result, class... Args> Result CallSlot(void* pObject, int slot, Args... args)
{
    void** const pTable = *static_cast<void***>(pObject);
    return reinterpret_cast<Result (*)(void*, Args...)>(pTable[slot])(pObject, args...);
}

constexpr PYXGuid c_ids[] = {
    PYXInterface::c_id,   PYXPropertyStorage::c_id, PYXPropertyStorageEx::c_id, PYXComponent::c_id,
    PYXComponentEx::c_id, PYXInput::c_id,           PYXDataStream::c_id,        PYXData::c_id,
    PYXBuffer::c_id,      PYXContext::c_id};

void CheckNumbers()
{
    Record("%d %d %d %d %d %d %d %d %d %d %d %d %d %d", PYX_OK, PYX_FAIL, PYX_UNEXPECTED, PYX_ACCESS_DENIED,
           PYX_INVALID_ARG, PYX_OUT_OF_RANGE, PYX_OUT_OF_MEMORY, PYX_INVALID_POINTER, PYX_NO_INTERFACE,
           PYX_NOT_IMPLEMENTED, PYX_NOT_FOUND, PYX_NOT_INITIALIZED, PYX_FILE_NOT_OPEN, PYX_EOF);
    for (const PYXGuid& id : c_ids)
    {
        Record("%08x-%04x-%04x-%016llx", id.data1, id.data2, id.data3,
               __builtin_bswap64(__builtin_bit_cast(pyx_uint64, id.data4)));
    }
    EXPECT(sizeof(PYXGuid), 16,
           "0 1 2 3 4 5 6 7 8 10 11 13 16 23 "
           "9d872f34-90dc-4b93-b6b26ca37c8525db c7cec05b-cfb9-48af-ace3f68df8395fe3 "
           "16b8958d-e943-4a33-a35a885ad828f267 8b51e5e4-455d-4034-a746de1bedc3c406 "
           "fda792af-8712-44df-8ea0dffaad2c8093 1181eee7-95f2-434a-9b96ea550aa78489 "
           "db08fe70-b743-4c26-b277a5c8e814da04 07ecde9f-4361-4129-af2d8db33d053603 "
           "ac804e08-9757-4dd6-9beecfd0266354ba 7195266b-0417-4455-9a0dd234ff468f19");
    using C = PYXComponentEx;
    PYX_RESULT (C::*byName)(const wchar_t*, const PYXPropertyInfo**) = &C::GetPropertyInfo;
    PYX_RESULT (C::*byIndex)(pyx_size, const PYXPropertyInfo**) = &C::GetPropertyInfo;
    EXPECT(FindSlots(&C::Acquire, &C::Release, &C::QueryInterface, &C::SetProperty, &C::GetProperty, &C::HasProperty,
                     &C::GetPropertyCount, &C::GetPropertyAt, &C::Clear, &C::AddTo, &C::CopyTo, &C::AddObserver,
                     &C::RemoveObserver, &C::GetPropertiesInfoCount, byName, byIndex, &C::ValidateProperty, &C::Init,
                     &C::ReInit, &C::Terminate, &C::HostOperation20, &C::HostOperation21, &C::HostOperation22,
                     &C::HostOperation23, &C::GetContext, &C::HostOperation25, &C::HostOperation26, &C::HostOperation27,
                     &C::GetInputCount, &C::HostOperation29, &C::GetInput, &C::HostOperation31),
           32, "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25 26 27 28 29 30 31");
    EXPECT(FindSlots(&PYXInput::SubmitInput, &PYXBuffer::SetPts, &PYXBuffer::GetPts, &PYXBuffer::SetDuration,
                     &PYXBuffer::GetDuration, &PYXBuffer::GetSize, &PYXBuffer::GetNative, &PYXContext::AllocBuffer,
                     &PYXPropertyStorageObserver::OnPropertyChanged, &PYXFactory::GetDebug, &PYXFactory::GetTrace,
                     &PYXTrace::TraceW, &PYXTrace::GetResultText),
           13, "17 13 14 15 16 17 18 3 0 0 1 0 1");
}

/// For each interface whether an object has it, and then for one whose last byte differs. The table must be the same.
void RecordInterfaces(PYXInterface* p)
{
    char has[] = "00000000000";
    PYXGuid unknown = PYXInterface::c_id;
    ++unknown.data4[7];
    for (int i = 0; i <= 10; ++i)
    {
        void* pOut = nullptr;
        if (p->QueryInterface(i < 10 ? c_ids[i] : unknown, &pOut) == PYX_OK)
        {
            p->Release();
            has[i] = pOut == p ? '1' : '?';
        }
    }
    Record("%s", has);
}

/// One record per property in name order: name, display name, kind, content type, value, default, minimum, maximum,
/// access; then one per listed value and one for the number after them.
void Describe(PYXPropertyStorageEx* p)
{
    for (pyx_size i = 0; i < p->GetPropertiesInfoCount(); ++i)
    {
        const PYXPropertyInfo* pInfo = nullptr;
        const PYXPropertyInfo* pNamed = nullptr;
        wchar_t cutName[4];
        p->GetPropertyInfo(i, &pInfo);
        p->GetPropertyInfo(pInfo->name, &pNamed);
        p->GetPropertyAt(i, cutName, 4, &g_value);
        Record("%s%ls|%ls|%u|%u", pInfo == pNamed && cutName[2] == pInfo->name[2] && !cutName[3] ? "" : "another ",
               pInfo->name, pInfo->desc, static_cast<pyx_uint32>(pInfo->type), pInfo->contentType);
        TakeValue();
        RecordValue(pInfo->defaultValue);
        RecordValue(pInfo->minValue);
        RecordValue(pInfo->maxValue);
        Record("%u", pInfo->accessType);
        for (const PYXEnumDescriptionEntry* pRow = pInfo->pEnumDescription; pRow;
             pRow = pRow->name ? pRow + 1 : nullptr)
        {
            Record("%d %ls", pRow->value, pRow->name ? pRow->name : L"end");
        }
    }
}

PYXBuffer* NewPacket(pyx_size size)
{
    PYXBuffer* pPacket = nullptr;
    AllocBuffer(&g_context, PYX_MEMORY_HOST, size, reinterpret_cast<Object**>(&pPacket));
    return pPacket;
}

/// Checks a storage by one of its integer properties; `sets` is what two changes of it cause, the first one observed.
void CheckStorage(PYXPropertyStorageEx* p, const wchar_t* name, const char* sets, const char* description)
{
    g_property = name;
    auto* const pObserver = g_observer.As<PYXPropertyStorageObserver>();
    PYXBuffer* const pSink = NewPacket(0);
    const pyx_uint32 references = p->Acquire();
    EXPECT(p->Release(), references - 1);
    p->AddObserver(pObserver);
    p->SetProperty(name, PYXVariantFromInt64(45));
    p->RemoveObserver(pObserver);
    EXPECT(p->SetProperty(name, PYXVariantFromInt64(46)), PYX_OK, sets);
    EXPECT(p->GetProperty(name, &g_value), PYX_OK, "2:46");
    EXPECT(p->HasProperty(name) && !p->HasProperty(L"Nothing"), true);
    EXPECT(p->AddTo(pSink, false, true), PYX_OK, "asked");
    EXPECT(p->AddTo(pSink, true, false), PYX_OK, "set 2:46");
    EXPECT(p->CopyTo(pSink, false), PYX_OK, "cleared set 2:46");
    EXPECT(p->Clear(), PYX_OK);
    Describe(p);
    RecordInterfaces(p);
    EXPECT(p->GetPropertyCount() == p->GetPropertiesInfoCount(), true, description);
    EXPECT(p->ValidateProperty(name, PYXVariantBorrowWString(L"47"), &g_value), PYX_OK, "2:47");
    pSink->Release();
}

void CheckComponent(PYXComponentEx* p, PYXInput** ppVideo, PYXInput** ppAudio)
{
    CheckStorage(p, L"Duration", "changed(Duration)",
                 "BufferInRamEnabled|BufferInRamEnabled|1|0 1:0 1:0 0:0 0:0 255 "
                 "Duration|Duration (sec)|2|0 2:30 2:30 2:1 2:2147483647 3 "
                 "EnableAudio|Enable audio stream|1|0 1:0 1:0 0:0 0:0 255 "
                 "EnableVideo|Enable video stream|1|0 1:1 1:1 0:0 0:0 255 Path|Output file|11|2 11: 11: 0:0 0:0 3 "
                 "TempPath|Temp location|11|2 11: 11: 0:0 0:0 3 11111000000");
    EXPECT(p->Init(7, 640, 480), PYX_OK, "init(7,640,480)");
    EXPECT(p->ReInit(320, 240), PYX_OK, "init(0,320,240)");
    EXPECT(p->Terminate(), PYX_OK);
    Record("%d%d %d%d %d%d%d %d%d", p->HostOperation20(), p->HostOperation21(), p->HostOperation22(),
           p->HostOperation23(), p->HostOperation25(), p->HostOperation26(), p->HostOperation27(), p->HostOperation29(),
           p->HostOperation31());
    EXPECT(p->GetContext() == g_context.As<PYXContext>(), true, "00 1010 0100 010");
    EXPECT(p->SetProperty(L"EnableAudio", PYXVariantFromBool(true)), PYX_OK, "muxer.EnableAudio 1:1");
    EXPECT(p->GetInputCount(), 2);
    EXPECT(p->GetInput(0, ppVideo), PYX_OK);
    EXPECT(p->GetInput(1, ppAudio), PYX_OK);
    EXPECT((CallSlot<void>(p, 32, L"BufferInRamEnabled"), 0), 0, "init(0,0,0)"); // OnPropertyChanged
    EXPECT(p->GetInput(-1, nullptr), PYX_INVALID_ARG, "trace 0" FROM_RING_BUFFER "'Assertion failed:Invalid index'");
    EXPECT(p->GetInput(0, nullptr), PYX_INVALID_ARG, "trace 0" FROM_RING_BUFFER "'Assertion failed:ppOutput = NULL'");
}

void CheckInputs(PYXInput* pVideo, PYXInput* pAudio)
{
    CheckStorage(pVideo, L"BitRate", "video.BitRate 2:45 changed(BitRate) video.BitRate 2:46",
                 "BitRate|Bit Rate|2|0 2:100000 2:100000 2:1 2:2147483647 3 CodecID|Codec ID|2|0 2:5 2:5 0:0 0:0 3 "
                 "0 UNKNOWN 1 PYXVideoDecoderKRN_MPEG2 2 PYXVideoDecoderKRN_MPEG4 3 PYXVideoDecoderKRN_WMV3 "
                 "4 PYXVideoDecoderKRN_VC1 5 PYXVideoDecoderKRN_H264_AVC 6 PYXVideoDecoderKRN_H264_MVC "
                 "7 PYXVideoDecoderKRN_H264_SVC 8 PYXVideoDecoderKRN_MJPEG 9 PYXVideoDecoderHW_H265_HEVC "
                 "10 PYXVideoDecoderHW_H265_MAIN10 13 PYXVideoDecoderHW_AV1 14 PYXVideoDecoderHW_AV1_12BIT 0 end "
                 "Enabled|Enabled|1|0 1:1 1:1 0:0 0:0 3 ExtraData|Extra Data|12|0 12:0 12:0 0:0 0:0 3 " STREAM_TYPE(
                     1) " VideoFrameRate|Frame Rate|7|0 7:30x1 7:30x1 7:0x1 7:2147483647x2147483647 3 "
                        "VideoFrameSize|Frame Size|5|0 5:1920x1080 5:1920x1080 5:1x1 5:100000x100000 3 11100100000");
    CheckStorage(pAudio, L"BitRate", "audio.BitRate 2:45 changed(BitRate) audio.BitRate 2:46",
                 "AudioBlockAlign|Block Align|2|0 2:0 2:0 2:0 2:2147483647 3 "
                 "AudioChannelLayout|Channel Layout|2|0 2:3 2:3 2:0 2:2147483647 3 "
                 "AudioChannels|Channels|2|0 2:2 2:2 2:1 2:2147483647 3 "
                 "AudioFormat|Sample Format|2|0 2:-1 2:-1 0:0 0:0 3 "
                 "-1 UNKNOWN 0 U8 1 S16 2 S32 3 FLT 4 DBL 5 U8P 6 S16P 7 S32P 8 FLTP 9 DBLP -1 end "
                 "AudioFrameSize|Frame Size|2|0 2:0 2:0 2:0 2:2147483647 3 "
                 "AudioSampleRate|Sample Rate|2|0 2:44100 2:44100 2:0 2:2147483647 3 "
                 "BitRate|Bit Rate|2|0 2:100000 2:100000 2:1 2:2147483647 3 "
                 "CodecID|Codec ID|2|0 2:86018 2:86018 2:0 2:2147483647 3 "
                 "Enabled|Enabled|1|0 1:1 1:1 0:0 0:0 3 ExtraData|Extra Data|12|0 12:0 12:0 0:0 0:0 3 " STREAM_TYPE(
                     2) " 11100100000");
    CallSlot<void>(pVideo, 18, L"Enabled");      // OnPropertyChanged
    EXPECT(CallSlot<pyx_uint32>(pVideo, 19), 2); // GetRefCount
    EXPECT(pVideo->SetProperty(L"VideoFrameSize", PYXVariantFromSize(640, 480)), PYX_OK,
           "video.VideoFrameSize 5:640x480");
    EXPECT(pVideo->GetProperty(L"VideoFrameSize", &g_value), PYX_OK, "5:640x480");
}

/// Submits a packet of which the host keeps nothing.
template <pyx_size Size>
PYX_RESULT Submit(PYXInput* pInput, const char (&bytes)[Size], pyx_int64 pts, pyx_int64 duration, int type)
{
    PYXBuffer* const pPacket = NewPacket(Size);
    pPacket->SetPts(pts);
    pPacket->SetDuration(duration);
    reinterpret_cast<Object*>(pPacket)->type = type;
    __builtin_memcpy(pPacket->GetNative(), bytes, Size);
    const PYX_RESULT result = pInput->SubmitInput(pPacket);
    pPacket->Release();
    return result;
}

/// Times and durations that need more than 32 bits. A record costs the host one byte.
void CheckPackets(PYXComponentEx* p, PYXInput* pVideo, PYXInput* pAudio)
{
    EXPECT(p->SetProperty(L"Duration", PYXVariantFromInt64(3600)), PYX_OK);
    EXPECT(p->SetProperty(L"TempPath", PYXVariantBorrowWString(L"abi-temp")), PYX_OK, "init(0,0,0)");
    EXPECT(p->SetProperty(L"BufferInRamEnabled", PYXVariantFromBool(true)), PYX_OK, "init(0,0,0)");
    EXPECT(p->SetProperty(L"Path", PYXVariantBorrowWString(L"clip.mp4")), PYX_OK, "muxer.Path 11:clip.mp4");
    EXPECT(p->GetProperty(L"Path", &g_value), PYX_OK, "11:clip.mp4");
    EXPECT(Submit(pVideo, "one", 70'000'000'000, 200, 0), PYX_OK, "alloc 1");
    EXPECT(Submit(pAudio, "audio", 70'000'000'100, 300, -1), PYX_OK, "alloc 1");
    EXPECT(Submit(pVideo, "two two", 75'000'000'000, 6'000'000'000, 1), PYX_OK, "alloc 1");
    EXPECT(Submit(pVideo, "no kind", 75'000'000'200, 200, -1), PYX_NOT_FOUND,
           "trace 0" FROM_RING_BUFFER "'PYX_ERROR 11 : not found: SubmitInput() unable to get video frame type'");
    EXPECT(pVideo->SubmitInput(g_context.As<PYXData>()), PYX_UNEXPECTED,
           "trace 0" FROM_RING_BUFFER "'Assertion failed:SubmitInput() - invalid pointer type'");
    EXPECT(pVideo->SubmitInput(nullptr), PYX_EOF);
    EXPECT(p->Terminate(), PYX_OK,
           "alloc 4 alloc 6 video(0+200 0 4 one) audio(100+300 -1 6 audio) alloc 8 "
           "video(5000000000+6000000000 1 8 two two) video(end) audio(end)");
}

extern "C" void RunHost()
{
    SetUnhandledExceptionFilter(ReportCrash);
    CheckNumbers();
    LayOutObjects();
    const auto pCreate = reinterpret_cast<PYXCreateComponentFunction>(
        GetProcAddress(LoadLibraryW(L"pyx-component-ring-buffer64.dll"), PYX_CREATE_COMPONENT_ENTRY));
    PYXComponent* pComponent = nullptr;
    PYXInput* pVideo = nullptr;
    PYXInput* pAudio = nullptr;
    Acquire(&g_context);
    EXPECT(pCreate(g_context.As<PYXContext>(), L"RingBuffer", &pComponent), PYX_OK, "create(MuxerFFMPEG)");
    const auto p = static_cast<PYXComponentEx*>(pComponent);
    CheckComponent(p, &pVideo, &pAudio);
    CheckInputs(pVideo, pAudio);
    CheckPackets(p, pVideo, pAudio);
    EXPECT(pVideo->Release(), 1);
    EXPECT(pAudio->Release(), 1);
    EXPECT(p->Release(), 0,
           "trace 2" FROM_RING_BUFFER "'Video stream - packets written %d' with 4 "
           "trace 2" FROM_RING_BUFFER "'Audio stream - packets written %d' with 1");
    EXPECT(g_references, 1); // this program's own on its context
    printf("Checks that failed between a native host and the module: %d\n", g_failures);
    exit(g_failures != 0);
}
