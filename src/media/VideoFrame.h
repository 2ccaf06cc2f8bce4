#pragma once

#include <cstdint>
#include <memory>
#include <optional>

class VideoFramePool;

// One decoded picture of a video, upright, as 32-bit pixels in memory order B, G, R, 255 (what
// QImage calls Format_RGB32 on this platform), so that a view can wrap the bits without a copy while
// it holds a copy of the frame. Copies share the pixels, which never change once the frame is made.
// A default-made frame is null.
class VideoFrame {
public:
    struct Timing {
        double time = 0.0;     // presentation time in seconds within the file
        double duration = 0.0; // how long it stays on screen, seconds
        std::optional<std::int64_t> index;
    };

    VideoFrame() = default;
    // A frame of the given size, its pixels not yet set, in memory from `pool` when there is one. The
    // display size is the picture's shape once its pixel aspect is applied.
    VideoFrame(int width, int height, int displayWidth, int displayHeight, Timing timing,
               VideoFramePool* pool = nullptr);

    bool isNull() const { return !pixels_; }
    int width() const { return width_; }
    int height() const { return height_; }
    // Bytes from one line to the next: a multiple of 64.
    int stride() const { return stride_; }
    const std::uint8_t* bits() const { return pixels_.get(); }
    const std::uint8_t* scanLine(int y) const { return bits() + static_cast<std::ptrdiff_t>(y) * stride_; }
    // The pixel at (x, y) as 0xAARRGGBB.
    std::uint32_t pixel(int x, int y) const;

    int displayWidth() const { return displayWidth_; }
    int displayHeight() const { return displayHeight_; }
    double time() const { return timing_.time; }
    double duration() const { return timing_.duration; }
    // The frame's number counted from the first shown one, when the stream's frame rate is constant.
    std::optional<std::int64_t> index() const { return timing_.index; }

    std::size_t byteCount() const {
        return static_cast<std::size_t>(stride_) * static_cast<std::size_t>(height_);
    }

private:
    // Only the converter fills pixels, before any copy of the frame exists.
    friend class VideoFrameConverter;
    std::uint8_t* scanLineForWriting(int y) {
        return pixels_.get() + static_cast<std::ptrdiff_t>(y) * stride_;
    }

    std::shared_ptr<std::uint8_t> pixels_;
    int width_ = 0;
    int height_ = 0;
    int stride_ = 0;
    int displayWidth_ = 0;
    int displayHeight_ = 0;
    Timing timing_;
};
