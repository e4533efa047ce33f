#include "media/FFmpeg.h"

int OpenMediaFile(const std::string& path, FFmpegPtr<AVFormatContext>* ppFile)
{
    // Named as a file, so that nothing in a name is taken for a protocol.
    AVFormatContext* pFile = nullptr;
    if (const int error = avformat_open_input(&pFile, ("file:" + path).c_str(), nullptr, nullptr); error < 0)
    {
        return error;
    }
    FFmpegPtr<AVFormatContext> file(pFile);
    if (const int error = avformat_find_stream_info(pFile, nullptr); error < 0)
    {
        return error;
    }
    *ppFile = std::move(file);
    return 0;
}

std::string FFmpegErrorText(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof(text));
    return text;
}
