#include "common/KeyPacket.h"

#include "common/Component.h"
#include "common/PropertyNames.h"
#include "common/PropertyReader.h"

namespace
{

/// In the order in which they are asked for.
struct FrameTypeProperty
{
    const wchar_t* name;
    pyx_uint64 keyTypes;   // how many of its values, counted from 0, are key packets
    pyx_int64 regularType; // what an encoder sets on any other packet
};

constexpr FrameTypeProperty c_frameTypes[] = {
    {PYX_PROPERTY_OUTPUT_DATA_TYPE, 2, 2},
    {PYX_PROPERTY_HEVC_OUTPUT_DATA_TYPE, 2, 2},
    {PYX_PROPERTY_AV1_OUTPUT_FRAME_TYPE, 1, 1},
};

const FrameTypeProperty& OfCodec(pyx_int64 codecId)
{
    switch (codecId)
    {
    case PYX_VIDEO_CODEC_HEVC:
    case PYX_VIDEO_CODEC_HEVC_MAIN10:
        return c_frameTypes[1];
    case PYX_VIDEO_CODEC_AV1:
    case PYX_VIDEO_CODEC_AV1_12BIT:
        return c_frameTypes[2];
    default:
        return c_frameTypes[0];
    }
}

} // namespace

PYX_RESULT PYXReadIsKeyPacket(PYXPropertyStorage* pPacket, bool* pIsKey)
{
    PYX_RESULT firstResult = PYX_OK;
    for (const FrameTypeProperty& property : c_frameTypes)
    {
        pyx_int64 type = 0;
        const PYX_RESULT result = PYXReadProperty(pPacket, property.name, &type);
        if (result == PYX_OK)
        {
            *pIsKey = static_cast<pyx_uint64>(type) < property.keyTypes; // a negative type is a huge one
            return PYX_OK;
        }
        firstResult = firstResult == PYX_OK ? result : firstResult;
    }
    return firstResult;
}

bool PYXIsKeyPacket(PYXPropertyStorage* pPacket)
{
    bool isKey = false;
    static_cast<void>(PYXReadIsKeyPacket(pPacket, &isKey));
    return isKey;
}

PYX_RESULT PYXMarkVideoPacket(PYXPropertyStorage* pPacket, pyx_int64 codecId, bool isKey)
{
    const FrameTypeProperty& property = OfCodec(codecId);
    return pPacket->SetProperty(property.name, PYXVariantFromInt64(isKey ? 0 : property.regularType));
}
