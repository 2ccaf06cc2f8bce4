#include "media/VideoDecoderThread.h"

namespace {

// How far ahead of the playing position frames are made ready: a dozen ticks, enough to ride out a
// slow frame without holding much memory.
constexpr double aheadSeconds = 0.5;

} // namespace

VideoDecoderThread::VideoDecoderThread(const QString& path, const VideoDecoder::Options& options,
                                       QObject* parent)
    : QObject(parent) {
    worker_ = std::thread([this, path, options] { run(path, options); });
}

VideoDecoderThread::~VideoDecoderThread() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    interrupt_ = true;
    wake_.notify_all();
    worker_.join();
}

VideoDecoderThread::Answer VideoDecoderThread::request(double seconds) {
    const std::uint64_t generation = ++generation_;
    VideoFrame ready;
    {
        std::lock_guard lock(mutex_);
        position_ = seconds;
        aheadDone_ = false;
        if (decoder_)
            ready = decoder_->readyFrameAt(seconds);
        if (ready.isNull())
            pending_ = Request{seconds, generation};
        else
            pending_.reset();
    }
    wake_.notify_one();
    if (ready.isNull())
        return {newest_, false};
    newest_ = ready;
    shownGeneration_ = generation;
    return {ready, true};
}

VideoFrame VideoDecoderThread::readyFrameAt(double seconds) const {
    std::lock_guard lock(mutex_);
    return decoder_ ? decoder_->readyFrameAt(seconds) : VideoFrame();
}

void VideoDecoderThread::setPlaying(bool playing) {
    {
        std::lock_guard lock(mutex_);
        playing_ = playing;
        aheadDone_ = false;
    }
    wake_.notify_one();
}

void VideoDecoderThread::deliver(const VideoFrame& frame, std::uint64_t generation) {
    // Runs on the object's thread; dropped with the object.
    QMetaObject::invokeMethod(
        this,
        [this, frame, generation] {
            if (generation <= shownGeneration_)
                return;
            shownGeneration_ = generation;
            newest_ = frame;
            emit frameReady(frame);
        },
        Qt::QueuedConnection);
}

void VideoDecoderThread::run(const QString& path, const VideoDecoder::Options& options) {
    QString failure;
    std::unique_ptr<VideoDecoder> made = VideoDecoder::open(path, options, &failure);
    if (!made) {
        QMetaObject::invokeMethod(
            this,
            [this, failure] {
                failure_ = failure;
                emit failed(failure);
            },
            Qt::QueuedConnection);
        return;
    }
    made->setInterruptFlag(&interrupt_);
    const VideoStreamInfo info = made->info();
    VideoDecoder* decoder = made.get();
    {
        std::lock_guard lock(mutex_);
        decoder_ = std::move(made);
    }
    QMetaObject::invokeMethod(
        this,
        [this, info] {
            info_ = info;
            emit opened();
        },
        Qt::QueuedConnection);

    // The decoder is used here without the lock: the main thread only looks into its cache.
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || pending_ || (playing_ && !aheadDone_); });
        if (stopping_)
            return;
        if (pending_) {
            const Request request = *pending_;
            pending_.reset();
            lock.unlock();
            const VideoFrame frame = decoder->frameAt(request.seconds);
            if (!frame.isNull())
                deliver(frame, request.generation);
            lock.lock();
            continue;
        }
        const double position = position_;
        lock.unlock();
        const bool more = decoder->decodeAhead(position, aheadSeconds);
        lock.lock();
        // A request or a move of the position in the meantime starts the look-ahead afresh.
        if (!more && position_ == position)
            aheadDone_ = true;
    }
}
