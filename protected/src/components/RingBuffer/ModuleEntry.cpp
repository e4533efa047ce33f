#include "RingBufferImpl.h"

/// The module's one entry. Hands out a ring buffer, acquired once, whatever `id`
/// asks for; `id` may be null. `context` may be null, and the component then has
/// no muxer.
PYX_EXPORT PYX_RESULT PYXCreateComponentInt(PYXContext* context, [[maybe_unused]] const wchar_t* id, PYXComponent** out)
{
    PYXInterfacePtr<PYXComponent> spComponent(new PYXRingBufferImpl(context));
    *out = spComponent.Detach();
    return *out ? PYX_OK : PYX_FAIL;
}
