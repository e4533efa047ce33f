#include "muxer/ClipDetails.h"

#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "common/PropertyReader.h"
#include "common/Trace.h"

#include <string>
#include <type_traits>

namespace
{

constexpr PYXTraceSource c_traceSource{L"companions/muxer/ClipDetails", L"ClipDetails"};

constexpr PYXVariant Number(pyx_int64 value)
{
    return PYXVariantFromInt64(value);
}

constexpr PYXVariant c_none{};
constexpr pyx_uint32 c_access = PYX_PROPERTY_ACCESS_READ_WRITE;

// clang-format off
const PYXPropertyDeclaration c_videoDetails[] = { // the first two are those of audio too
    //                                     display name          kind                   default                       minimum    maximum                    access
    {PYX_PROPERTY_LANGUAGE,                L"Language",          PYX_VARIANT_WSTRING,   PYXVariantBorrowWString(L""), c_none,    c_none,                    c_access},
    {PYX_PROPERTY_DEFAULT_STREAM,          L"Default stream",    PYX_VARIANT_BOOL,      PYXVariantFromBool(true),     c_none,    c_none,                    c_access},
    {PYX_PROPERTY_VIDEO_PIXEL_ASPECT,      L"Pixel aspect",      PYX_VARIANT_RATE,      PYXVariantFromRate(1, 1),     c_none,    c_none,                    c_access},
    {PYX_PROPERTY_VIDEO_DISPLAY_MATRIX,    L"Display matrix",    PYX_VARIANT_INTERFACE, c_none,                       c_none,    c_none,                    c_access},
    {PYX_PROPERTY_VIDEO_MASTERING_DISPLAY, L"Mastering display", PYX_VARIANT_INTERFACE, c_none,                       c_none,    c_none,                    c_access},
    {PYX_PROPERTY_VIDEO_CONTENT_LIGHT,     L"Content light",     PYX_VARIANT_INTERFACE, c_none,                       c_none,    c_none,                    c_access},
    {PYX_PROPERTY_VIDEO_COLOR_RANGE,       L"Color range",       PYX_VARIANT_INT64,     Number(0),                    Number(0), Number(AVCOL_RANGE_JPEG),  c_access},
    {PYX_PROPERTY_VIDEO_COLOR_PRIMARIES,   L"Color primaries",   PYX_VARIANT_INT64,     Number(2),                    Number(0), Number(AVCOL_PRI_NB - 1),  c_access},
    {PYX_PROPERTY_VIDEO_COLOR_TRANSFER,    L"Color transfer",    PYX_VARIANT_INT64,     Number(2),                    Number(0), Number(AVCOL_TRC_NB - 1),  c_access},
    {PYX_PROPERTY_VIDEO_COLOR_MATRIX,      L"Color matrix",      PYX_VARIANT_INT64,     Number(2),                    Number(0), Number(AVCOL_SPC_NB - 1),  c_access},
};
// clang-format on

PYX_RESULT SetSideData(PYXPropertyStorage* pInput, const SideDataRow& row, AVStream* pStream)
{
    PYXVariantOwner value;
    PASS_ON_FAILURE(pInput->GetProperty(row.property, value.Out()), L"the stream's %s cannot be read", row.property);
    const bool isGiven = value.Get().type == PYX_VARIANT_INTERFACE;
    const auto spBuffer = PYXQuery<PYXBuffer>(isGiven ? value.Get().interfaceValue : nullptr);
    if (!spBuffer || spBuffer->GetSize() != row.size)
    {
        return PYX_OK;
    }
    const bool added = AddSideData(pStream, row.type, {static_cast<pyx_uint8*>(spBuffer->GetNative()), row.size});
    FAIL_IF_NOT(added, PYX_OUT_OF_MEMORY, L"no memory for the stream's %s", row.property);
    return PYX_OK;
}

} // namespace

const std::span<const PYXPropertyDeclaration> VIDEO_DETAIL_PROPERTIES{c_videoDetails};
const std::span<const PYXPropertyDeclaration> AUDIO_DETAIL_PROPERTIES{VIDEO_DETAIL_PROPERTIES.first(2)};

PYX_RESULT SetVideoDetails(PYXPropertyStorage* pInput, AVStream* pStream)
{
    AVCodecParameters& parameters = *pStream->codecpar;
    const auto read = [pInput](const wchar_t* name, auto* pValue) { // declared above, within the range of an int
        *pValue = static_cast<std::remove_pointer_t<decltype(pValue)>>(PYXReadPropertyOr<pyx_int64>(pInput, name, 0));
    };
    read(PYX_PROPERTY_VIDEO_COLOR_RANGE, &parameters.color_range);
    read(PYX_PROPERTY_VIDEO_COLOR_PRIMARIES, &parameters.color_primaries);
    read(PYX_PROPERTY_VIDEO_COLOR_TRANSFER, &parameters.color_trc);
    read(PYX_PROPERTY_VIDEO_COLOR_MATRIX, &parameters.color_space);
    PYXVariantOwner aspect;
    static_cast<void>(PYXReadPropertyAs(pInput, PYX_PROPERTY_VIDEO_PIXEL_ASPECT, PYX_VARIANT_RATE, &aspect));
    parameters.sample_aspect_ratio = ToRational(aspect.Get().rateValue);
    pStream->sample_aspect_ratio = parameters.sample_aspect_ratio;
    for (const SideDataRow& row : c_sideData)
    {
        PASS_ON_FAILURE_SILENTLY(SetSideData(pInput, row, pStream));
    }
    return SetAudioDetails(pInput, pStream);
}

PYX_RESULT SetAudioDetails(PYXPropertyStorage* pInput, AVStream* pStream)
{
    PYXVariantOwner language; // in UTF-8; no text sets nothing
    static_cast<void>(PYXReadPropertyAs(pInput, PYX_PROPERTY_LANGUAGE, PYX_VARIANT_STRING, &language));
    const int error = av_dict_set(&pStream->metadata, "language", language.Get().stringValue, 0);
    FAIL_IF_NOT(error >= 0, PYX_OUT_OF_MEMORY, L"no memory for a stream's language");
    pStream->disposition = PYXReadPropertyOr(pInput, PYX_PROPERTY_DEFAULT_STREAM, false) ? AV_DISPOSITION_DEFAULT : 0;
    return PYX_OK;
}
