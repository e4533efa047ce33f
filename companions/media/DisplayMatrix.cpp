#include "media/DisplayMatrix.h"

extern "C"
{
#include <libavutil/display.h>
}

#include <array>
#include <cmath>
#include <cstring>

namespace
{

using Matrix = std::array<std::int32_t, 9>;

// Where a stream keeps its side data has changed between the releases of FFmpeg.
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(60, 31, 0)

const pyx_uint8* FindMatrix(const AVStream& stream)
{
    const AVCodecParameters& parameters = *stream.codecpar;
    const AVPacketSideData* pData =
        av_packet_side_data_get(parameters.coded_side_data, parameters.nb_coded_side_data, AV_PKT_DATA_DISPLAYMATRIX);
    return pData && pData->size >= sizeof(Matrix) ? pData->data : nullptr;
}

pyx_uint8* NewMatrix(AVStream* pStream)
{
    AVCodecParameters& parameters = *pStream->codecpar;
    AVPacketSideData* pData = av_packet_side_data_new(&parameters.coded_side_data, &parameters.nb_coded_side_data,
                                                      AV_PKT_DATA_DISPLAYMATRIX, sizeof(Matrix), 0);
    return pData ? pData->data : nullptr;
}

#else

const pyx_uint8* FindMatrix(const AVStream& stream)
{
    std::size_t size = 0;
    const pyx_uint8* pData = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    return pData && size >= sizeof(Matrix) ? pData : nullptr;
}

pyx_uint8* NewMatrix(AVStream* pStream)
{
    return av_stream_new_side_data(pStream, AV_PKT_DATA_DISPLAYMATRIX, sizeof(Matrix));
}

#endif

} // namespace

Orientation GetOrientation(const AVStream& stream)
{
    const pyx_uint8* pData = FindMatrix(stream);
    if (!pData)
    {
        return {};
    }
    Matrix matrix;
    std::memcpy(matrix.data(), pData, sizeof(matrix));
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
    pyx_uint8* pData = NewMatrix(pStream);
    if (pData)
    {
        std::memcpy(pData, matrix.data(), sizeof(matrix));
    }
    return pData != nullptr;
}
