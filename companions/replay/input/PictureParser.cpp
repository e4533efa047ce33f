#include "replay/input/PictureParser.h"

#include "media/NalStream.h"

bool PictureParser::Open(const AVCodecParameters& parameters)
{
    m_isHevc = parameters.codec_id == AV_CODEC_ID_HEVC;
    m_pParser.reset(av_parser_init(parameters.codec_id));
    m_pCodec.reset(avcodec_alloc_context3(nullptr));
    if (!m_pParser || !m_pCodec || avcodec_parameters_to_context(m_pCodec.get(), &parameters) < 0)
    {
        return false;
    }
    m_pParser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
    return true;
}

PictureParser::Picture PictureParser::Parse(const AVPacket& packet)
{
    pyx_uint8* pOut = nullptr;
    int size = 0;
    av_parser_parse2(m_pParser.get(), m_pCodec.get(), &pOut, &size, packet.data, packet.size, AV_NOPTS_VALUE,
                     AV_NOPTS_VALUE, 0);
    const int type = GetPictureType({packet.data, static_cast<std::size_t>(packet.size)}, m_isHevc, 0);
    m_sequence += StartsSequence(type, m_isHevc) ? 1 : 0;
    return {{m_sequence, m_pParser->output_picture_number},
            m_pParser->key_frame == 1,
            {m_pParser->width, m_pParser->height}};
}
