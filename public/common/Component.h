#pragma once

#include "common/PropertyStorage.h"

class PYXContext;
class PYXData;

/// Values of the property "StreamType".
inline constexpr pyx_int64 PYX_STREAM_TYPE_VIDEO = 1;
inline constexpr pyx_int64 PYX_STREAM_TYPE_AUDIO = 2;

/// One stream into a component: its description as properties, and its packets.
///
/// Binary contract: slots in this order, after those of PYXPropertyStorageEx.
class PYXInput : public PYXPropertyStorageEx
{
public:
    static constexpr PYXGuid c_id{0x1181eee7, 0x95f2, 0x434a, {0x9b, 0x96, 0xea, 0x55, 0x0a, 0xa7, 0x84, 0x89}};

    /// Slot 17. Hands over one packet, borrowed for the call; null ends the
    /// stream. PYX_EOF answers the end and counts as success.
    virtual PYX_RESULT SubmitInput(PYXData* pData) = 0;

protected:
    ~PYXInput() = default;
};

/// A component of the framework.
///
/// Binary contract: slots in this order, after those of PYXPropertyStorageEx.
/// The operations named HostOperation belong to the host, which knows their
/// parameters; here they only keep their places.
class PYXComponent : public PYXPropertyStorageEx
{
public:
    static constexpr PYXGuid c_id{0x8b51e5e4, 0x455d, 0x4034, {0xa7, 0x46, 0xde, 0x1b, 0xed, 0xc3, 0xc4, 0x06}};

    /// Slot 17.
    virtual PYX_RESULT Init(pyx_int32 format, pyx_int32 width, pyx_int32 height) = 0;
    /// Slot 18.
    virtual PYX_RESULT ReInit(pyx_int32 width, pyx_int32 height) = 0;
    /// Slot 19.
    virtual PYX_RESULT Terminate() = 0;
    virtual PYX_RESULT HostOperation20() = 0;
    virtual PYX_RESULT HostOperation21() = 0;
    virtual PYX_RESULT HostOperation22() = 0;
    virtual PYX_RESULT HostOperation23() = 0;
    /// Slot 24. The context given at creation, borrowed.
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

    /// Slot 28.
    virtual pyx_int32 GetInputCount() = 0;
    virtual pyx_int32 HostOperation29() = 0;
    /// Slot 30. `*ppInput` is acquired for the caller.
    virtual PYX_RESULT GetInput(pyx_int32 index, PYXInput** ppInput) = 0;
    virtual PYX_RESULT HostOperation31() = 0;

protected:
    ~PYXComponentEx() = default;
};

/// The entry that every component module exports by this name. The component
/// is handed out acquired once.
#define PYX_CREATE_COMPONENT_ENTRY "PYXCreateComponentInt"
using PYXCreateComponentFunction = PYX_RESULT (*)(PYXContext* pContext, const wchar_t* id, PYXComponent** ppOut);
