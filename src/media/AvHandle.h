#pragma once

#include <QString>
#include <memory>
#include <mutex>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/buffer.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libswscale/swscale.h>
}

// Owns one FFmpeg object and releases it with the function of its kind. FFmpeg's release functions
// mostly take the address of the pointer; `AvRelease` adapts each to a plain pointer.
template <class T, void (*Release)(T*)> struct AvRelease {
    void operator()(T* object) const { Release(object); }
};
template <class T, void (*Release)(T*)> using AvHandle = std::unique_ptr<T, AvRelease<T, Release>>;

namespace AvReleaseFunctions {
inline void closeInput(AVFormatContext* context) {
    avformat_close_input(&context);
}
inline void freeCodecContext(AVCodecContext* context) {
    avcodec_free_context(&context);
}
inline void freeFrame(AVFrame* frame) {
    av_frame_free(&frame);
}
inline void freePacket(AVPacket* packet) {
    av_packet_free(&packet);
}
inline void unrefBuffer(AVBufferRef* buffer) {
    av_buffer_unref(&buffer);
}
// A file being written: its output closed, then the context freed.
inline void closeOutput(AVFormatContext* context) {
    avio_closep(&context->pb);
    avformat_free_context(context);
}
} // namespace AvReleaseFunctions

using AvFormatContextHandle = AvHandle<AVFormatContext, AvReleaseFunctions::closeInput>;
using AvCodecContextHandle = AvHandle<AVCodecContext, AvReleaseFunctions::freeCodecContext>;
using AvFrameHandle = AvHandle<AVFrame, AvReleaseFunctions::freeFrame>;
using AvPacketHandle = AvHandle<AVPacket, AvReleaseFunctions::freePacket>;
using AvBufferHandle = AvHandle<AVBufferRef, AvReleaseFunctions::unrefBuffer>;
using SwsContextHandle = AvHandle<SwsContext, sws_freeContext>;
using AvOutputHandle = AvHandle<AVFormatContext, AvReleaseFunctions::closeOutput>;

// FFmpeg's words for an error code, for the reasons given to the user.
inline QString avErrorText(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return QString::fromUtf8(text);
}

// Damaged files make FFmpeg talk on stderr, where the verbs print their own lines and the reasons
// Wakeline gives say what the user needs: it is quieted once for the whole process.
inline void silenceFfmpegLogging() {
    static std::once_flag quiet;
    std::call_once(quiet, [] { av_log_set_level(AV_LOG_QUIET); });
}
