#pragma once

#include "common/PropertyStorage.h"

/// The one rule that tells a key packet, which starts a group of pictures, from
/// the packets that continue it: encoders put the picture's kind on each video
/// packet, each codec under a name of its own.
///
///     property               key packet    continues the group
///     "OutputDataType"       0, 1          everything else
///     "HevcOutputDataType"   0, 1          everything else
///     "Av1OutputFrameType"   0             everything else
///
/// The first of these that can be read decides. A value that is no number reads as
/// 0, as everywhere, and so marks a key packet.
/// Thread-safe if the packet is.

/// Stores in `*pIsKey` whether a video packet is a key packet.
/// When none of the properties can be read, the result is that of the first
/// read, and `*pIsKey` is untouched.
PYX_RESULT PYXReadIsKeyPacket(PYXPropertyStorage* pPacket, bool* pIsKey);

/// As above; a packet without a kind counts as one that continues its group.
bool PYXIsKeyPacket(PYXPropertyStorage* pPacket);

/// Marks a video packet as its encoder would. `codecId` is a video "CodecID"; one
/// that has no property of its own is marked with "OutputDataType". The result is
/// that of SetProperty.
PYX_RESULT PYXMarkVideoPacket(PYXPropertyStorage* pPacket, pyx_int64 codecId, bool isKey);
