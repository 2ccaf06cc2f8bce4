#include "media/VideoFrameConverter.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// The "J" formats are the full-range twins of the plain ones; libswscale wants the plain format
// and the range said separately (and complains otherwise).
AVPixelFormat withoutFullRangeAlias(AVPixelFormat format, bool* fullRange) {
    switch (format) {
    case AV_PIX_FMT_YUVJ420P:
        *fullRange = true;
        return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P:
        *fullRange = true;
        return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ444P:
        *fullRange = true;
        return AV_PIX_FMT_YUV444P;
    case AV_PIX_FMT_YUVJ440P:
        *fullRange = true;
        return AV_PIX_FMT_YUV440P;
    case AV_PIX_FMT_YUVJ411P:
        *fullRange = true;
        return AV_PIX_FMT_YUV411P;
    default:
        return format;
    }
}

constexpr int tile = 32;

// Moves 32-bit pixels from `source` (width × height) into `target` turned clockwise by `rotation`.
// Tiles keep both sides' lines in cache while the pixels cross over.
void rotate(const std::uint8_t* source, std::ptrdiff_t sourceStride, int width, int height, int rotation,
            std::uint8_t* target, std::ptrdiff_t targetStride) {
    for (int y0 = 0; y0 < height; y0 += tile) {
        for (int x0 = 0; x0 < width; x0 += tile) {
            const int y1 = std::min(y0 + tile, height);
            const int x1 = std::min(x0 + tile, width);
            for (int y = y0; y < y1; ++y) {
                const std::uint8_t* from = source + y * sourceStride;
                for (int x = x0; x < x1; ++x) {
                    std::ptrdiff_t at;
                    if (rotation == 90)
                        at = x * targetStride + (height - 1 - y) * 4;
                    else if (rotation == 270)
                        at = (width - 1 - x) * targetStride + y * 4;
                    else
                        at = (height - 1 - y) * targetStride + (width - 1 - x) * 4;
                    std::memcpy(target + at, from + x * 4, 4);
                }
            }
        }
    }
}

} // namespace

void VideoFrameConverter::setMaximumSize(int width, int height) {
    maximumWidth_ = std::max(0, width);
    maximumHeight_ = std::max(0, height);
}

bool VideoFrameConverter::prepare(const AVFrame& frame, int width, int height) {
    bool fullRange = frame.color_range == AVCOL_RANGE_JPEG;
    const AVPixelFormat format = withoutFullRangeAlias(static_cast<AVPixelFormat>(frame.format), &fullRange);
    // An unscaled YUV to RGB conversion takes libswscale's fast path whatever the filter; bilinear
    // only matters for formats that need a chroma filter.
    SwsContext* scaler =
        sws_getCachedContext(scaler_.release(), frame.width, frame.height, format, width, height,
                             AV_PIX_FMT_BGRA, SWS_BILINEAR, nullptr, nullptr, nullptr);
    scaler_.reset(scaler);
    if (!scaler)
        return false;
    // The frame's matrix (BT.709 for HD, BT.601 when unspecified), as the ffmpeg program does.
    const int* matrix = sws_getCoefficients(frame.colorspace);
    sws_setColorspaceDetails(scaler, matrix, fullRange ? 1 : 0, sws_getCoefficients(SWS_CS_DEFAULT), 1, 0,
                             1 << 16, 1 << 16);
    return true;
}

VideoFrame VideoFrameConverter::convert(const AVFrame& frame, int rotation, AVRational sampleAspectRatio,
                                        VideoFrame::Timing timing) {
    if (frame.width <= 0 || frame.height <= 0)
        return {};
    const double aspect =
        sampleAspectRatio.num > 0 && sampleAspectRatio.den > 0 ? av_q2d(sampleAspectRatio) : 1.0;
    int stretchedWidth = std::max(1, static_cast<int>(std::lround(frame.width * aspect)));
    const bool sideways = rotation == 90 || rotation == 270;
    // The stored picture's size: the frame's own, or scaled to fit the limit with square pixels.
    int width = frame.width;
    int height = frame.height;
    double scale = 1.0;
    if (maximumWidth_ > 0)
        scale = std::min(scale, double(maximumWidth_) / (sideways ? frame.height : stretchedWidth));
    if (maximumHeight_ > 0)
        scale = std::min(scale, double(maximumHeight_) / (sideways ? stretchedWidth : frame.height));
    if (scale < 1.0) {
        width = stretchedWidth = std::max(1, static_cast<int>(std::lround(stretchedWidth * scale)));
        height = std::max(1, static_cast<int>(std::lround(frame.height * scale)));
    }
    if (!prepare(frame, width, height))
        return {};
    VideoFrame picture = sideways ? VideoFrame(height, width, height, stretchedWidth, timing, pool_.get())
                                  : VideoFrame(width, height, stretchedWidth, height, timing, pool_.get());

    if (rotation == 0) {
        std::uint8_t* planes[4] = {picture.scanLineForWriting(0), nullptr, nullptr, nullptr};
        int strides[4] = {picture.stride(), 0, 0, 0};
        if (sws_scale(scaler_.get(), frame.data, frame.linesize, 0, frame.height, planes, strides) != height)
            return {};
        return picture;
    }
    // Converted first, then turned: libswscale writes lines only.
    const std::ptrdiff_t unrotatedStride = (width * 4 + 63) / 64 * 64;
    unrotated_.resize(static_cast<std::size_t>(unrotatedStride) * static_cast<std::size_t>(height) + 64);
    auto* unrotated = reinterpret_cast<std::uint8_t*>(
        (reinterpret_cast<std::uintptr_t>(unrotated_.data()) + 63) & ~static_cast<std::uintptr_t>(63));
    std::uint8_t* planes[4] = {unrotated, nullptr, nullptr, nullptr};
    int strides[4] = {static_cast<int>(unrotatedStride), 0, 0, 0};
    if (sws_scale(scaler_.get(), frame.data, frame.linesize, 0, frame.height, planes, strides) != height)
        return {};
    rotate(unrotated, unrotatedStride, width, height, rotation, picture.scanLineForWriting(0),
           picture.stride());
    return picture;
}
