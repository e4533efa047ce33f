#include "media/DisplayMatrix.h"

extern "C"
{
#include <libavutil/display.h>
}

#include <array>
#include <cmath>
#include <cstring>
#include <span>

namespace
{

using Matrix = std::array<std::int32_t, 9>;
} // namespace

Orientation GetOrientation(const AVStream& stream)
{
    Matrix matrix;
    const std::span<const pyx_uint8> found = FindSideData(stream, AV_PKT_DATA_DISPLAYMATRIX);
    if (found.size() < sizeof(matrix))
    {
        return {};
    }
    std::memcpy(matrix.data(), found.data(), sizeof(matrix));
    const pyx_int64 determinant = pyx_int64{matrix[0]} * matrix[4] - pyx_int64{matrix[1]} * matrix[3];
    if (determinant < 0)
    {
        av_display_matrix_flip(matrix.data(), 1, 0);
    }
    const double counterclockwise = av_display_rotation_get(matrix.data());
    if (std::isnan(counterclockwise))
    {
        return {};
    }
    return {(360 - static_cast<int>(std::lround(counterclockwise))) % 360, determinant < 0};
}

bool KeepsOrientation(std::string_view formatName)
{
    return formatName != "matroska" || LIBAVFORMAT_VERSION_MAJOR >= 61;
}

bool SetOrientation(AVStream* pStream, Orientation orientation)
{
    if (orientation == Orientation())
    {
        return true;
    }
    Matrix matrix;
    av_display_rotation_set(matrix.data(), orientation.rotation);
    av_display_matrix_flip(matrix.data(), orientation.mirrored, 0);
    const auto* pBytes = reinterpret_cast<const pyx_uint8*>(matrix.data());
    return AddSideData(pStream, AV_PKT_DATA_DISPLAYMATRIX, {pBytes, sizeof(matrix)});
}
