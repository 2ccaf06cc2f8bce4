#pragma once

#include "media/ReplaySoundTrack.h"
#include "media/VideoEncoder.h"

#include <QString>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

// Encodes the pictures of an export on a thread of its own, so that the next picture is drawn while
// this one is encoded. The queue is short: pictures are large, and a producer that runs ahead of the
// encoder gains nothing.
class ReplayEncodingThread {
public:
    struct Picture {
        // At the encoder's size, in its pixel layout; `keeper` holds the memory until encoded.
        const std::uint8_t* pixels = nullptr;
        int stride = 0;
        std::shared_ptr<const void> keeper;
        // The sound that goes with this picture, `soundFrames` sample frames of it.
        std::optional<ReplaySoundTrack::Source> sound;
        std::int64_t soundFrames = 0;
    };
    enum class State { running, finished, failed, cancelled };

    // `changed` is called on the encoding thread after every picture and when the work ends.
    ReplayEncodingThread(std::unique_ptr<VideoEncoder> encoder, std::size_t capacity,
                         std::function<void()> changed);
    // Cancels unless finished, and waits for the thread.
    ~ReplayEncodingThread();
    ReplayEncodingThread(const ReplayEncodingThread&) = delete;
    ReplayEncodingThread& operator=(const ReplayEncodingThread&) = delete;

    bool hasRoom() const;
    // Only when there is room.
    void push(Picture picture);
    // No more pictures: the film is finished once the queue is empty.
    void finish();
    // Stops soon; the partial film is removed.
    void cancel();

    State state() const { return state_.load(std::memory_order_acquire); }
    int picturesEncoded() const { return encoded_.load(std::memory_order_relaxed); }
    // Once failed.
    QString failure() const;
    // Sound files that could not be read; once the work ended.
    std::vector<QString> soundProblems() const;

private:
    void run();

    std::unique_ptr<VideoEncoder> encoder_;
    const std::size_t capacity_;
    std::function<void()> changed_;
    ReplaySoundTrack sound_;

    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Picture> queue_;
    bool finishing_ = false;
    bool cancelled_ = false;
    QString failure_;

    std::atomic<State> state_{State::running};
    std::atomic<int> encoded_{0};
    std::thread worker_;
};
