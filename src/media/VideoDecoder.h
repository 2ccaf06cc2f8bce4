#pragma once

#include "media/VideoFrame.h"
#include "media/VideoStreamInfo.h"

#include <QString>
#include <atomic>
#include <cstddef>
#include <memory>

// Decodes the frames of one video file exactly: `frameAt(t)` is the frame on screen t seconds into
// the file, that is the last frame whose presentation time is at most t (the first frame before it,
// the last frame after the end). Times count from the start of the file's timeline, so that an edit
// list or a stream that starts late keeps its place; transport streams, whose clocks start anywhere,
// count from their first timestamp.
//
// Moving forward decodes on from where the decoder is; anything else seeks to the keyframe before the
// target and decodes forward from there. The frames met on the way are kept (VideoFrameCache), so
// stepping back or showing a moment again costs no decoding.
//
// One thread at a time decodes. `readyFrameAt` may be called from another thread meanwhile.
class VideoDecoder {
public:
    struct Options {
        // Decoding threads; 0 for one per core.
        int threads = 0;
        // VA-API when the machine has it; software otherwise.
        bool allowHardware = true;
        std::size_t cacheBytes = std::size_t{256} << 20;
        // Pictures whose upright shape is larger are scaled down to fit as they are converted, with
        // square pixels; 0 for full size. For a view that shows the video small, such as an export's.
        int maximumWidth = 0;
        int maximumHeight = 0;
    };

    // None, with a short reason for the user in `failure` ("the file does not exist", …), when the
    // file cannot be played: missing, unreadable, not a video, damaged, no picture that decodes.
    static std::unique_ptr<VideoDecoder> open(const QString& path, QString* failure = nullptr);
    static std::unique_ptr<VideoDecoder> open(const QString& path, const Options& options,
                                              QString* failure = nullptr);
    ~VideoDecoder();
    VideoDecoder(const VideoDecoder&) = delete;
    VideoDecoder& operator=(const VideoDecoder&) = delete;

    const VideoStreamInfo& info() const;

    // The frame on screen at `seconds`; null only when no frame can be decoded any more (the file
    // went away, say) or when interrupted.
    VideoFrame frameAt(double seconds);
    // The frame at `seconds` when it has been decoded and converted already; null otherwise.
    // Never decodes.
    VideoFrame readyFrameAt(double seconds) const;
    // While playing: decodes one more frame after the last one decoded, when the decoder is near
    // `position` and has not yet decoded `aheadSeconds` beyond it, and draws the frame before it,
    // complete now. False when there is nothing to do.
    bool decodeAhead(double position, double aheadSeconds);

    // While set, decoding stops at the next frame and frameAt answers null.
    void setInterruptFlag(const std::atomic<bool>* flag);

    struct Statistics {
        int seeks = 0;
        int decodedFrames = 0;
        // Frames nothing refers to, left out on the way to a target.
        int skippedFrames = 0;
        int convertedFrames = 0;
    };
    const Statistics& statistics() const;

private:
    struct State;
    explicit VideoDecoder(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};
