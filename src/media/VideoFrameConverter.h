#pragma once

#include "media/AvHandle.h"
#include "media/VideoFrame.h"
#include "media/VideoFramePool.h"

#include <cstdint>
#include <vector>

// Turns decoded frames (any pixel format libswscale reads, after a hardware frame has been copied to
// memory) into upright pictures: converted with the frame's own colour matrix and range, then turned
// by the display matrix's rotation. One converter per decoding thread; it keeps its scaler between
// frames of the same format.
class VideoFrameConverter {
public:
    // `rotation` is the clockwise turn: 0, 90, 180 or 270. A null frame when the pixel format cannot
    // be converted.
    VideoFrame convert(const AVFrame& frame, int rotation, AVRational sampleAspectRatio,
                       VideoFrame::Timing timing);
    // Pictures whose upright shape is larger come out scaled down to fit, with square pixels; 0 for no
    // limit. For a view that shows the video small: scaling while converting costs less than
    // converting the whole picture and scaling it for the screen.
    void setMaximumSize(int width, int height);

private:
    bool prepare(const AVFrame& frame, int width, int height);

    SwsContextHandle scaler_;
    int maximumWidth_ = 0;
    int maximumHeight_ = 0;
    std::vector<std::uint8_t> unrotated_;
    // A few pictures' worth: what the cache lets go while playing comes back here.
    std::shared_ptr<VideoFramePool> pool_ = VideoFramePool::create(4);
};
