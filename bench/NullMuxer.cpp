/// A muxer module that takes every property and packet and does nothing. One video
/// and one audio input.

#include "common/Component.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "common/PropertyStorageExImpl.h"
#include "common/RefCounted.h"
#include "common/ReservedOperations.h"
#include "common/StreamProperties.h"

#include <array>

namespace
{

/// The part that the component and its inputs share.
template <class Interface> class NullObject : public PYXRefCounted<PYXPropertyStorageExImpl<Interface>>
{
public:
    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override
    {
        if (id == Interface::c_id || id == PYXInterface::c_id)
        {
            *out = PYXInterfacePtr<Interface>(this).Detach();
            return PYX_OK;
        }
        return PYXPropertyStorageExImpl<Interface>::QueryInterface(id, out);
    }

    PYX_RESULT SetProperty(const wchar_t*, PYXVariant) override
    {
        return PYX_OK;
    }
};

class NullInput final : public NullObject<PYXInput>
{
public:
    explicit NullInput(std::span<const PYXPropertyDeclaration> properties)
    {
        for (const PYXPropertyDeclaration& property : properties)
        {
            DeclareProperty(property);
        }
    }

    PYX_RESULT SubmitInput(PYXData* pData) override
    {
        return pData ? PYX_OK : PYX_EOF;
    }
};

class NullMuxer final : public PYXReservedOperations<NullObject<PYXComponentEx>>
{
public:
    explicit NullMuxer(PYXContext* pContext)
        : m_pContext(pContext), m_inputs{PYXInterfacePtr<PYXInput>(new NullInput(PYX_VIDEO_STREAM_PROPERTIES)),
                                         PYXInterfacePtr<PYXInput>(new NullInput(PYX_AUDIO_STREAM_PROPERTIES))}
    {
    }

    PYX_RESULT Init(pyx_int32, pyx_int32, pyx_int32) override
    {
        return PYX_OK;
    }
    PYX_RESULT ReInit(pyx_int32, pyx_int32) override
    {
        return PYX_OK;
    }
    PYX_RESULT Terminate() override
    {
        return PYX_OK;
    }
    PYXContext* GetContext() override
    {
        return m_pContext;
    }
    pyx_int32 GetInputCount() override
    {
        return static_cast<pyx_int32>(m_inputs.size());
    }

    PYX_RESULT GetInput(pyx_int32 index, PYXInput** ppInput) override
    {
        *ppInput = PYXInterfacePtr<PYXInput>(m_inputs.at(static_cast<size_t>(index))).Detach();
        return PYX_OK;
    }

private:
    PYXContext* m_pContext; // the ring buffer's, which outlives its muxer
    std::array<PYXInterfacePtr<PYXInput>, 2> m_inputs;
};

} // namespace

PYX_EXPORT PYX_RESULT PYXCreateComponentInt(PYXContext* pContext, const wchar_t*, PYXComponent** ppOut)
{
    *ppOut = PYXInterfacePtr<PYXComponent>(new NullMuxer(pContext)).Detach();
    return PYX_OK;
}
