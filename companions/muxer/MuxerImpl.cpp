#include "muxer/MuxerImpl.h"

#include "common/PropertyNames.h"
#include "common/PropertyReader.h"
#include "common/Trace.h"
#include "media/ClipProperties.h"

#include <algorithm>
#include <cwchar>

namespace
{

constexpr PYXTraceSource c_traceSource{L"companions/muxer/MuxerImpl", L"PYXMuxerImpl"};

// clang-format off
const PYXPropertyDeclaration c_properties[] = {
    //                           display name            kind                 default                        min max access                          content
    {PYX_PROPERTY_PATH,          L"Output file",         PYX_VARIANT_WSTRING, PYXVariantBorrowWString(L""),  {}, {}, PYX_PROPERTY_ACCESS_READ_WRITE, 2},
    {PYX_PROPERTY_ENABLE_VIDEO,  L"Enable video stream", PYX_VARIANT_BOOL,    PYXVariantFromBool(true),      {}, {}, PYX_PROPERTY_ACCESS_FULL},
    {PYX_PROPERTY_ENABLE_AUDIO,  L"Enable audio stream", PYX_VARIANT_BOOL,    PYXVariantFromBool(false),     {}, {}, PYX_PROPERTY_ACCESS_FULL},
    {PYX_PROPERTY_CREATION_TIME, L"Creation time",       PYX_VARIANT_WSTRING, PYXVariantBorrowWString(L""),  {}, {}, PYX_PROPERTY_ACCESS_READ_WRITE},
    {PYX_PROPERTY_TITLE,         L"Title",               PYX_VARIANT_WSTRING, PYXVariantBorrowWString(L""),  {}, {}, PYX_PROPERTY_ACCESS_READ_WRITE},
    {PYX_PROPERTY_FAST_START,    L"Index in front",      PYX_VARIANT_BOOL,    PYXVariantFromBool(false),     {}, {}, PYX_PROPERTY_ACCESS_READ_WRITE},
};
// clang-format on

} // namespace

PYXMuxerImpl::PYXMuxerImpl(PYXContext* pContext) : m_spContext(pContext), m_spSession(std::make_shared<MuxSession>())
{
    for (const PYXPropertyDeclaration& declaration : c_properties)
    {
        DeclareProperty(declaration);
    }
    PYXMuxerImpl::OnPropertyChanged(nullptr);
}

PYXMuxerImpl::~PYXMuxerImpl()
{
    m_spSession->Attach(StreamKind::Video, nullptr);
    m_spSession->Attach(StreamKind::Audio, nullptr);
}

PYX_RESULT PYXMuxerImpl::QueryInterface(const PYXGuid& id, void** out)
{
    return PYXQueryInterface<PYXInterface, PYXPropertyStorage, PYXPropertyStorageEx, PYXComponent, PYXComponentEx>(
        static_cast<PYXComponentEx*>(this), id, out);
}

PYX_RESULT PYXMuxerImpl::ValidateProperty(const wchar_t* name, PYXVariant value, PYXVariant* pOutValidated)
{
    PASS_ON_FAILURE_SILENTLY(PYXPropertyStorageExImpl<PYXComponentEx>::ValidateProperty(name, value, pOutValidated));
    const bool isText = pOutValidated->type == PYX_VARIANT_WSTRING && pOutValidated->wstringValue;
    if (wcscmp(name, PYX_PROPERTY_PATH) != 0 || !isText)
    {
        return PYX_OK;
    }
    const std::wstring path = pOutValidated->wstringValue;
    FAIL_IF_NOT(path.empty() || MediaFile::FindFormat(path), PYX_INVALID_ARG,
                L"the file name ends neither in .mp4 nor .mov nor .mkv: %s", path.c_str());
    return PYX_OK;
}

PYX_RESULT PYXMuxerImpl::Init(pyx_int32, pyx_int32, pyx_int32)
{
    return Terminate();
}

PYX_RESULT PYXMuxerImpl::ReInit(pyx_int32, pyx_int32)
{
    return Terminate();
}

PYX_RESULT PYXMuxerImpl::Terminate()
{
    m_spSession->Abandon();
    return PYX_OK;
}

PYXContext* PYXMuxerImpl::GetContext()
{
    return m_spContext.Get();
}

pyx_int32 PYXMuxerImpl::GetInputCount()
{
    PYXLock lock(&m_sync);
    return static_cast<pyx_int32>(m_inputs.size());
}

PYX_RESULT PYXMuxerImpl::GetInput(pyx_int32 index, PYXInput** ppInput)
{
    PYXLock lock(&m_sync);
    FAIL_IF_NOT(index >= 0 && index < static_cast<pyx_int32>(m_inputs.size()), PYX_INVALID_ARG, L"Invalid index");
    FAIL_IF_NOT(ppInput, PYX_INVALID_POINTER, L"invalid pointer : ppInput");
    *ppInput = PYXInterfacePtr<PYXInput>(m_inputs[static_cast<std::size_t>(index)].spInput).Detach();
    return PYX_OK;
}

void PYXMuxerImpl::OnPropertyChanged(const wchar_t*)
{
    PYXLock lock(&m_sync); // so that of two changes at once the later one's values stay
    FileDetails details;
    details.creationTime = ReadText(PYX_PROPERTY_CREATION_TIME);
    details.title = ReadText(PYX_PROPERTY_TITLE);
    details.fastStart = PYXReadPropertyOr(this, PYX_PROPERTY_FAST_START, false);
    m_spSession->SetNext(ReadText(PYX_PROPERTY_PATH), details);
    UpdateInput(StreamKind::Video, PYX_PROPERTY_ENABLE_VIDEO);
    UpdateInput(StreamKind::Audio, PYX_PROPERTY_ENABLE_AUDIO);
}

/// Creates or removes an input as its switch says. m_sync is held.
void PYXMuxerImpl::UpdateInput(StreamKind kind, const wchar_t* switchName)
{
    const bool wanted = PYXReadPropertyOr(this, switchName, false);
    const auto found = std::ranges::find(m_inputs, kind, &InputEntry::kind);
    const bool exists = found != m_inputs.end();
    if (wanted && !exists)
    {
        PYXInterfacePtr<PYXInput> spInput(new PYXMuxerInput(kind, m_spSession));
        m_spSession->Attach(kind, spInput.Get());
        m_inputs.push_back({kind, std::move(spInput)});
    }
    else if (!wanted && exists)
    {
        m_spSession->Attach(kind, nullptr);
        m_inputs.erase(found);
    }
}
