#include "RingBufferMuxer.h"

#include "common/MuxerLoader.h"
#include "common/PropertyNames.h"
#include "common/PropertyReader.h"
#include "RingBufferTrace.h"

namespace
{

constexpr const PYXTraceSource& c_traceSource = c_ringBufferTraceSource;

} // namespace

PYXRingBufferMuxer::PYXRingBufferMuxer(PYXContext* pContext)
{
    static_cast<void>(CreateMuxer(pContext, m_spMuxer.Out()));
}

std::optional<PYX_RESULT> PYXRingBufferMuxer::MirrorProperty(pyx_int64 streamType, const wchar_t* name,
                                                             const PYXVariant& value)
{
    const auto spMuxerEx = m_spMuxer.Query<PYXComponentEx>();
    FAIL_IF_NOT(spMuxerEx, PYX_NO_INTERFACE, L"Muxer is of invalid type");
    for (pyx_int32 i = 0; i < spMuxerEx->GetInputCount(); ++i)
    {
        PYXInterfacePtr<PYXInput> spInput;
        PASS_ON_FAILURE(spMuxerEx->GetInput(i, spInput.Out()), L"Muxer has invalid input stream");
        FAIL_IF_NOT(spInput, PYX_OK, L"Muxer input stream is NULL"); // Hosts rely on this success.
        pyx_int64 muxerStreamType = 0;
        PASS_ON_FAILURE(PYXReadProperty(spInput.Get(), PYX_PROPERTY_STREAM_TYPE, &muxerStreamType),
                        L"Muxer input GetProperty() failed");
        if (muxerStreamType == streamType)
        {
            PASS_ON_FAILURE(spInput->SetProperty(name, value), L"Unable to set property for muxer");
            break;
        }
    }
    return std::nullopt;
}
