#pragma once

#include "common/PropertyDeclaration.h"
#include "common/PropertyNames.h"

#include <span>

/// The description of a compressed stream as properties, the same on every
/// component's inputs: a producer sets them, and each component mirrors them to
/// the next one. In the order of declaration.
extern const std::span<const PYXPropertyDeclaration> PYX_VIDEO_STREAM_PROPERTIES;
extern const std::span<const PYXPropertyDeclaration> PYX_AUDIO_STREAM_PROPERTIES;
