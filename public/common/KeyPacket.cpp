#include "common/KeyPacket.h"

#include "common/Component.h"
#include "common/PropertyNames.h"
#include "common/PropertyReader.h"

namespace
{

struct FrameTypeProperty
{
    const wchar_t* name;
    pyx_int64 keyTypes;  // how many of its values, counted from 0, are key packets
    pyx_int64 codecs[2]; // video "CodecID"s whose encoders set it
};

/// In the order in which they are read.
constexpr FrameTypeProperty c_frameTypes[] = {
    {PYX_PROPERTY_OUTPUT_DATA_TYPE, 2, {PYX_VIDEO_CODEC_H264, PYX_VIDEO_CODEC_H264}},
    {PYX_PROPERTY_HEVC_OUTPUT_DATA_TYPE, 2, {PYX_VIDEO_CODEC_HEVC, PYX_VIDEO_CODEC_HEVC_MAIN10}},
    {PYX_PROPERTY_AV1_OUTPUT_FRAME_TYPE, 1, {PYX_VIDEO_CODEC_AV1, PYX_VIDEO_CODEC_AV1_12BIT}},
};

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
            *pIsKey = type >= 0 && type < property.keyTypes;
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
    const FrameTypeProperty* pProperty = &c_frameTypes[0];
    for (const FrameTypeProperty& property : c_frameTypes)
    {
        pProperty = codecId == property.codecs[0] || codecId == property.codecs[1] ? &property : pProperty;
    }
    return pPacket->SetProperty(pProperty->name, PYXVariantFromInt64(isKey ? 0 : pProperty->keyTypes));
}
