#pragma once

#include "media/VideoDecoder.h"

#include <QObject>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <thread>

// Decodes one video on a thread of its own for a view on the main thread, which never waits for a
// decode. The file is opened on that thread; `opened` or `failed` follows. `request(t)` answers at
// once: with the exact frame when it is ready, else with the newest frame handed out so far, and
// then the exact one comes with `frameReady`. While playing, the thread decodes and draws the frames
// just after the last request, so that the next ticks find them ready.
//
// All functions are called on the thread that made the object.
class VideoDecoderThread : public QObject {
    Q_OBJECT
public:
    struct Answer {
        VideoFrame frame; // null until a first frame is ready
        bool exact = false;
    };

    explicit VideoDecoderThread(const QString& path, const VideoDecoder::Options& options = {},
                                QObject* parent = nullptr);
    ~VideoDecoderThread() override;

    Answer request(double seconds);
    // The frame at `seconds` when it is ready now; null otherwise. Asks for nothing.
    VideoFrame readyFrameAt(double seconds) const;
    void setPlaying(bool playing);
    // The newest frame handed out answers the newest request.
    bool isCurrent() const { return generation_ != 0 && shownGeneration_ == generation_; }

    // Set once `opened` has come.
    const std::optional<VideoStreamInfo>& info() const { return info_; }
    // Set once `failed` has come.
    const QString& failure() const { return failure_; }

signals:
    void opened();
    void failed(const QString& reason);
    // The frame of a request that `request` could not answer exactly. While requests come faster
    // than frames decode (a drag along the timeline) frames of earlier requests come on the way, but
    // never one older than a frame already handed out.
    void frameReady(const VideoFrame& frame);

private:
    void run(const QString& path, const VideoDecoder::Options& options);
    void deliver(const VideoFrame& frame, std::uint64_t generation);

    // Main thread only.
    std::optional<VideoStreamInfo> info_;
    QString failure_;
    VideoFrame newest_;
    std::uint64_t generation_ = 0;      // of the newest request
    std::uint64_t shownGeneration_ = 0; // of the newest frame handed out

    // Shared with the decoding thread, under the mutex.
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::unique_ptr<VideoDecoder> decoder_;
    struct Request {
        double seconds;
        std::uint64_t generation;
    };
    std::optional<Request> pending_;
    double position_ = 0.0;
    bool playing_ = false;
    bool aheadDone_ = false;
    bool stopping_ = false;
    std::atomic<bool> interrupt_{false};

    std::thread worker_;
};
