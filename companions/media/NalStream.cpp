#include "media/NalStream.h"

#include <algorithm>
#include <iterator>

namespace
{

constexpr pyx_uint8 c_startCode[] = {0, 0, 1};

/// Cuts the next NAL unit off `*pBytes`; empty: there is none.
Bytes TakeUnitAfterStartCode(Bytes* pBytes)
{
    const auto begin = std::ranges::search(*pBytes, c_startCode).end();
    const Bytes rest(begin, pBytes->end());
    const auto end = std::ranges::search(rest, c_startCode).begin();
    *pBytes = Bytes(end, rest.end());
    return {rest.begin(), end};
}

/// The same; one that its length makes longer than `*pBytes` is cut.
Bytes TakeUnitAfterLength(Bytes* pBytes, std::size_t lengthSize, bool* pIsWhole)
{
    *pIsWhole = false;
    if (pBytes->size() <= lengthSize)
    {
        return {};
    }
    std::size_t length = 0;
    for (const pyx_uint8 byte : pBytes->first(lengthSize))
    {
        length = length << 8 | byte;
    }
    const Bytes rest = pBytes->subspan(lengthSize);
    const Bytes unit = rest.first(std::min(length, rest.size()));
    *pBytes = rest.subspan(unit.size());
    *pIsWhole = length > 0 && length == unit.size();
    return unit;
}

int GetNalType(pyx_uint8 header, bool isHevc)
{
    return isHevc ? header >> 1 & 63 : header & 31;
}

/// H.264 has slices up to type 5, HEVC up to 31; 0 is a slice in HEVC only.
bool IsSlice(int type, bool isHevc)
{
    return isHevc ? type < 32 : type >= 1 && type <= 5;
}

} // namespace

bool IsAnnexB(Bytes bytes)
{
    const std::size_t zeros = bytes.size() > 3 && bytes[2] == 0 ? 1 : 0; // in front of the start code
    return bytes.size() >= 3 && bytes[0] == 0 && std::ranges::equal(bytes.subspan(zeros, 3), c_startCode);
}

bool IsLengthPrefixed(Bytes bytes, std::size_t lengthSize)
{
    bool isWhole = lengthSize > 0 && !bytes.empty();
    while (isWhole && !bytes.empty())
    {
        TakeUnitAfterLength(&bytes, lengthSize, &isWhole);
    }
    return isWhole;
}

bool IsConfigurationRecord(Bytes extraData)
{
    return !extraData.empty() && extraData[0] == 1;
}

std::size_t GetLengthSize(Bytes record, bool isHevc)
{
    const std::size_t at = isHevc ? 21 : 4;
    return record.size() > at ? (record[at] & 3u) + 1 : 0;
}

int GetPictureType(Bytes packet, bool isHevc, std::size_t lengthSize)
{
    while (!packet.empty())
    {
        bool isWhole = false;
        const Bytes unit =
            lengthSize > 0 ? TakeUnitAfterLength(&packet, lengthSize, &isWhole) : TakeUnitAfterStartCode(&packet);
        const int type = unit.empty() ? -1 : GetNalType(unit[0], isHevc);
        if (unit.empty() || IsSlice(type, isHevc))
        {
            return type;
        }
    }
    return -1;
}

bool StartsSequence(int type, bool isHevc)
{
    return isHevc ? type >= 16 && type <= 20 : type == 5;
}

bool IsSkippedLeading(int type)
{
    return type == 8 || type == 9;
}
