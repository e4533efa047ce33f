#pragma once

#include "common/PropertyStorage.h"

class PYXContext;
class PYXData;

/// Values of the property "StreamType".
inline constexpr pyx_int64 PYX_STREAM_TYPE_VIDEO = 1;
inline constexpr pyx_int64 PYX_STREAM_TYPE_AUDIO = 2;

/// Values of a video input's property "CodecID". The numbers 11 and 12 belong to
/// no codec.
inline constexpr pyx_int64 PYX_VIDEO_CODEC_H264 = 5;
inline constexpr pyx_int64 PYX_VIDEO_CODEC_HEVC = 9;
inline constexpr pyx_int64 PYX_VIDEO_CODEC_HEVC_MAIN10 = 10;
inline constexpr pyx_int64 PYX_VIDEO_CODEC_AV1 = 13;
inline constexpr pyx_int64 PYX_VIDEO_CODEC_AV1_12BIT = 14;

/// One stream into a component: its description as properties, and its packets.
///
/// Binary contract: slots in this order, after those of PYXPropertyStorageEx.
class PYXInput : public PYXPropertyStorageEx
{
public:
    static constexpr PYXGuid c_id{0x1181eee7, 0x95f2, 0x434a, {0x9b, 0x96, 0xea, 0x55, 0x0a, 0xa7, 0x84, 0x89}};

    /// Slot 17. [any-thread] Waits while a clip is being written. Hands over one packet, a stream's in decode order;
    /// null ends the stream. The caller keeps its reference; a component that needs the packet longer takes one of its
    /// own.
    /// PYX_EOF is the result of ending the stream and counts as success.
    virtual PYX_RESULT SubmitInput(PYXData* pData) = 0;

protected:
    ~PYXInput() = default;
};

/// A component of the framework.
///
/// Binary contract: slots in this order, after those of PYXPropertyStorageEx.
/// The operations named HostOperation belong to the host, which knows their
/// parameters; here they only keep their places. All are [any-thread].
/// A component calls its context, its muxer and the packets with its own lock held. None of them may wait for another
/// thread that calls the component. On the same thread the muxer may call it back with any operation. The context, a
/// packet, the trace object and an interface value that ends may too, but not with SubmitInput, Init, ReInit, Terminate
/// or a new "TempPath", "BufferInRamEnabled" or "Duration": the call under way is using the groups that these change.
class PYXComponent : public PYXPropertyStorageEx
{
public:
    static constexpr PYXGuid c_id{0x8b51e5e4, 0x455d, 0x4034, {0xa7, 0x46, 0xde, 0x1b, 0xed, 0xc3, 0xc4, 0x06}};

    /// Slot 17. [any-thread] Waits while a clip is being written. Makes the component ready for packets. What it still
    /// keeps is lost.
    virtual PYX_RESULT Init(pyx_int32 format, pyx_int32 width, pyx_int32 height) = 0;
    /// Slot 18. [any-thread] Waits while a clip is being written. Terminate, whatever its result, then Init with format
    /// 0.
    virtual PYX_RESULT ReInit(pyx_int32 width, pyx_int32 height) = 0;
    /// Slot 19. [any-thread] Ends the work, initialised or not: a component that keeps packets writes them out. On
    /// failure it keeps them, and may be called again. PYX_OK also with nothing to write; a ring buffer without a
    /// completed group drops what it keeps.
    virtual PYX_RESULT Terminate() = 0;
    virtual PYX_RESULT HostOperation20() = 0;
    virtual PYX_RESULT HostOperation21() = 0;
    virtual PYX_RESULT HostOperation22() = 0;
    virtual PYX_RESULT HostOperation23() = 0;
    /// Slot 24. [any-thread] The context given at creation, borrowed; the component holds it.
    virtual PYXContext* GetContext() = 0;
    virtual PYX_RESULT HostOperation25() = 0;
    virtual PYX_RESULT HostOperation26() = 0;
    virtual PYX_RESULT HostOperation27() = 0;

protected:
    ~PYXComponent() = default;
};

/// A component with inputs.
///
/// Binary contract: slots in this order, after those of PYXComponent.
class PYXComponentEx : public PYXComponent
{
public:
    static constexpr PYXGuid c_id{0xfda792af, 0x8712, 0x44df, {0x8e, 0xa0, 0xdf, 0xfa, 0xad, 0x2c, 0x80, 0x93}};

    /// Slot 28. [any-thread] May be outdated at once while another thread switches a stream.
    virtual pyx_int32 GetInputCount() = 0;
    virtual pyx_int32 HostOperation29() = 0;
    /// Slot 30. [any-thread] Waits while a clip is being written. `*ppInput` is acquired for the caller.
    /// PYX_INVALID_ARG: index out of range.
    virtual PYX_RESULT GetInput(pyx_int32 index, PYXInput** ppInput) = 0;
    virtual PYX_RESULT HostOperation31() = 0;

protected:
    ~PYXComponentEx() = default;
};

/// The entry that every component module exports by this name. The component is handed out acquired once.
/// [one-thread-at-a-time] in the process, and not from a module's entry point.
#define PYX_CREATE_COMPONENT_ENTRY "PYXCreateComponentInt"
using PYXCreateComponentFunction = PYX_RESULT (*)(PYXContext* pContext, const wchar_t* id, PYXComponent** ppOut);
