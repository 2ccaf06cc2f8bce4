#include "media/VideoFrame.h"

#include "media/VideoFramePool.h"

#include <cstring>

namespace {

// Lines start on 64-byte boundaries: the converter's SIMD code writes whole vectors.
constexpr int lineAlignment = 64;

} // namespace

VideoFrame::VideoFrame(int width, int height, int displayWidth, int displayHeight, Timing timing,
                       VideoFramePool* pool)
    : width_(width), height_(height),
      stride_((width * 4 + lineAlignment - 1) / lineAlignment * lineAlignment), displayWidth_(displayWidth),
      displayHeight_(displayHeight), timing_(timing) {
    pixels_ = pool ? pool->allocate(byteCount()) : VideoFramePool::allocateUnpooled(byteCount());
}

std::uint32_t VideoFrame::pixel(int x, int y) const {
    std::uint32_t value;
    std::memcpy(&value, scanLine(y) + static_cast<std::ptrdiff_t>(x) * 4, sizeof value);
    return value;
}
