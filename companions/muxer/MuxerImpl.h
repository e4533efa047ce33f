#pragma once

#include "common/Component.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "common/PropertyStorageExImpl.h"
#include "common/RefCounted.h"
#include "common/ReservedOperations.h"
#include "common/RuntimeLoader.h"
#include "muxer/MuxerInput.h"
#include "muxer/MuxSession.h"

#include <memory>
#include <vector>

/// The component "MuxerFFMPEG": writes compressed video and audio into a clip.
///
///     property        default  meaning
///     "Path"          ""       the clip; its ending (.mp4, .mov, .mkv) chooses the container
///     "EnableVideo"   true     whether there is a video input
///     "EnableAudio"   false    whether there is an audio input
///     "CreationTime"  ""       when the clip was recorded, see media/ClipProperties.h
///     "Title"         ""       the clip's name for players
///     "FastStart"     false    whether an .mp4 or .mov has its index in front
///
/// A clip begins with the first packet and is complete when every input has
/// been given its end mark; the next packet begins another. Init, ReInit and
/// Terminate give an unfinished clip up, and so does a change of the inputs.
/// Threads: any; m_sync guards the inputs and is taken before the session's.
class PYXMuxerImpl final : public PYXRefCounted<PYXReservedOperations<PYXPropertyStorageExImpl<PYXComponentEx>>>
{
public:
    explicit PYXMuxerImpl(PYXContext* pContext);

    // PYXInterface
    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override;

    // PYXPropertyStorageEx
    /// Refuses a path whose ending names no container, with PYX_INVALID_ARG.
    PYX_RESULT ValidateProperty(const wchar_t* name, PYXVariant value, PYXVariant* pOutValidated) override;

    // PYXComponent
    /// The streams describe themselves, so the arguments are not used.
    PYX_RESULT Init(pyx_int32 format, pyx_int32 width, pyx_int32 height) override;
    PYX_RESULT ReInit(pyx_int32 width, pyx_int32 height) override;
    PYX_RESULT Terminate() override;
    PYXContext* GetContext() override;

    // PYXComponentEx
    pyx_int32 GetInputCount() override;
    PYX_RESULT GetInput(pyx_int32 index, PYXInput** ppInput) override;

    /// Takes all properties over, whichever has changed.
    void OnPropertyChanged(const wchar_t* name) override;

private:
    ~PYXMuxerImpl() override;
    void UpdateInput(StreamKind kind, const wchar_t* switchName);

    const PYXRuntimeReference m_runtime; // first, so that everything here can trace until its end
    const PYXInterfacePtr<PYXContext> m_spContext;
    const std::shared_ptr<MuxSession> m_spSession;
    struct InputEntry
    {
        StreamKind kind;
        PYXInterfacePtr<PYXInput> spInput;
    };
    std::vector<InputEntry> m_inputs; // in the order created
    PYXCriticalSection m_sync;
};
