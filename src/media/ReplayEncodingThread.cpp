#include "media/ReplayEncodingThread.h"

#include <vector>

ReplayEncodingThread::ReplayEncodingThread(std::unique_ptr<VideoEncoder> encoder, std::size_t capacity,
                                           std::function<void()> changed)
    : encoder_(std::move(encoder)), capacity_(std::max<std::size_t>(1, capacity)),
      changed_(std::move(changed)) {
    worker_ = std::thread([this] { run(); });
}

ReplayEncodingThread::~ReplayEncodingThread() {
    cancel();
    worker_.join();
}

bool ReplayEncodingThread::hasRoom() const {
    std::lock_guard lock(mutex_);
    return queue_.size() < capacity_;
}

void ReplayEncodingThread::push(Picture picture) {
    {
        std::lock_guard lock(mutex_);
        queue_.push_back(std::move(picture));
    }
    wake_.notify_one();
}

void ReplayEncodingThread::finish() {
    {
        std::lock_guard lock(mutex_);
        finishing_ = true;
    }
    wake_.notify_one();
}

void ReplayEncodingThread::cancel() {
    {
        std::lock_guard lock(mutex_);
        cancelled_ = true;
    }
    wake_.notify_one();
}

QString ReplayEncodingThread::failure() const {
    std::lock_guard lock(mutex_);
    return failure_;
}

std::vector<QString> ReplayEncodingThread::soundProblems() const {
    if (state() == State::running)
        return {};
    return sound_.problems();
}

void ReplayEncodingThread::run() {
    const bool withSound = encoder_->settings().sound;
    std::vector<float> samples;
    State ended = State::finished;
    for (;;) {
        Picture picture;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return cancelled_ || finishing_ || !queue_.empty(); });
            if (cancelled_) {
                ended = State::cancelled;
                break;
            }
            if (queue_.empty()) // finishing, all encoded
                break;
            picture = std::move(queue_.front());
        }
        bool encoded = true;
        if (withSound) {
            samples.clear();
            sound_.append(picture.sound, picture.soundFrames, samples);
            encoded = encoder_->addSound(samples.data(), picture.soundFrames);
        }
        encoded = encoded && encoder_->addFrame(picture.pixels, picture.stride);
        {
            std::lock_guard lock(mutex_);
            // Taken off only now, so that the producer's room counts the picture being encoded.
            queue_.pop_front();
            if (!encoded)
                failure_ = encoder_->failure();
        }
        if (!encoded) {
            ended = State::failed;
            break;
        }
        encoded_.fetch_add(1, std::memory_order_relaxed);
        if (changed_)
            changed_();
    }
    if (ended == State::finished && !encoder_->finish()) {
        std::lock_guard lock(mutex_);
        failure_ = encoder_->failure();
        ended = State::failed;
    }
    if (ended != State::finished) {
        std::lock_guard lock(mutex_);
        queue_.clear();
    }
    // The partial film goes with the encoder.
    encoder_.reset();
    state_.store(ended, std::memory_order_release);
    if (changed_)
        changed_();
}
