#include "presentation/VideoSound.h"

#include <QAudioDevice>
#include <QAudioSink>
#include <QCoreApplication>
#include <QIODevice>
#include <QMediaDevices>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>

namespace {

// Decoded ahead of what the device takes: enough to ride out a busy machine.
constexpr double ringSeconds = 1.0;
// The decoding thread works in pieces this long.
constexpr double pieceSeconds = 0.02;
// Further ahead than this, the decoder seeks rather than decoding its way there.
constexpr double seekWorthSeconds = 0.5;
// Out of step by more than a tick of the clock counts; once on a few ticks in a row, since the device
// tells its position in steps of its own.
constexpr double stepTolerance = 0.04;
constexpr int ticksBeforeResync = 3;

// An endless stream of sound for the device, made by `fill` on the thread the device reads from.
class SoundFeed : public QIODevice {
public:
    SoundFeed(int bytesPerFrame, std::function<void(char*, std::int64_t)> fill)
        : bytesPerFrame_(bytesPerFrame), fill_(std::move(fill)) {}

    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return std::numeric_limits<int>::max(); }

protected:
    qint64 readData(char* data, qint64 size) override {
        const qint64 whole = size - size % bytesPerFrame_;
        fill_(data, whole);
        return whole;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    int bytesPerFrame_;
    std::function<void(char*, std::int64_t)> fill_;
};

} // namespace

VideoSound::VideoSound(const QString& path, QObject* parent) : QObject(parent) {
    clockTimer_.start();
    const QAudioDevice device = QMediaDevices::defaultAudioOutput();
    QAudioFormat sinkFormat = device.preferredFormat();
    if (device.isNull() || !sinkFormat.isValid()) {
        failure_ = device.isNull() ? QStringLiteral("there is no sound output device")
                                   : QStringLiteral("the sound output device has no usable format");
        // Told like every other outcome of opening: after the caller could connect.
        QMetaObject::invokeMethod(
            this, [this] { emit failed(failure_); }, Qt::QueuedConnection);
        return;
    }
    // The device's own rate and channels; samples of a kind the decoder makes.
    format_.sampleRate = sinkFormat.sampleRate();
    format_.channels = std::min(sinkFormat.channelCount(), 8);
    const bool floats = sinkFormat.sampleFormat() == QAudioFormat::Float ||
                        (sinkFormat.sampleFormat() != QAudioFormat::Int16 && !device.isFormatSupported([&] {
                            QAudioFormat int16 = sinkFormat;
                            int16.setSampleFormat(QAudioFormat::Int16);
                            return int16;
                        }()));
    format_.sampleType = floats ? AudioDecoder::SampleType::float32 : AudioDecoder::SampleType::int16;
    sinkFormat.setChannelCount(format_.channels);
    sinkFormat.setSampleFormat(floats ? QAudioFormat::Float : QAudioFormat::Int16);

    sink_ = std::make_unique<QAudioSink>(device, sinkFormat);
    connect(sink_.get(), &QAudioSink::stateChanged, this, [this](QAudio::State state) {
        // An underrun is ours to fill; anything else that stops the device ends the sound.
        const QAudio::Error error = sink_->error();
        if (running_ && state == QAudio::StoppedState && error != QAudio::NoError &&
            error != QAudio::UnderrunError)
            fail(QStringLiteral("the sound output device stopped"));
    });
    feed_ = std::make_unique<SoundFeed>(format_.bytesPerFrame(),
                                        [this](char* data, std::int64_t bytes) { fill(data, bytes); });
    // Unbuffered: every byte read is one the device plays, which the position relies on.
    feed_->open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    worker_ = std::thread([this, path, format = format_] { run(path, format); });
}

VideoSound::~VideoSound() {
    stop();
    if (worker_.joinable()) {
        {
            std::lock_guard lock(mutex_);
            stopping_ = true;
        }
        wake_.notify_all();
        worker_.join();
    }
    // The device lets go of the feed before the feed goes. It may run the event loop on its way out,
    // where nothing of this half-gone object may run any more.
    if (sink_) {
        sink_->disconnect(this);
        QCoreApplication::removePostedEvents(this);
        sink_.reset();
    }
}

void VideoSound::setMuted(bool muted) {
    if (muted == muted_)
        return;
    muted_ = muted;
    if (muted)
        stop();
    else if (playing_ && hasSound())
        start(clockNow());
}

void VideoSound::play(double fileSeconds) {
    clockTime_ = fileSeconds;
    clockTimer_.restart();
    if (playing_) {
        sync(fileSeconds);
        return;
    }
    playing_ = true;
    if (hasSound() && !muted_)
        start(fileSeconds);
}

void VideoSound::pause() {
    playing_ = false;
    stop();
}

void VideoSound::sync(double fileSeconds) {
    clockTime_ = fileSeconds;
    clockTimer_.restart();
    // Until the device plays, its position says nothing.
    if (!playing_ || !running_ || sink_->processedUSecs() <= 0)
        return;
    const double error = fileSeconds - *position();
    if (std::abs(error) <= stepTolerance) {
        outOfStep_ = 0;
        return;
    }
    // The device's position comes in steps and lags between them, which only makes the sound look
    // late: the smallest error of the last ticks is the one to trust.
    if (outOfStep_ > 0 && (error > 0) != (smallestError_ > 0))
        outOfStep_ = 0;
    if (outOfStep_ == 0 || std::abs(error) < std::abs(smallestError_))
        smallestError_ = error;
    if (++outOfStep_ < ticksBeforeResync)
        return;
    outOfStep_ = 0;
    // The sound handed out from now on moves; what the device holds already plays out first.
    nextFrame_ += std::llround(smallestError_ * format_.sampleRate);
    bool work = false;
    {
        std::lock_guard lock(mutex_);
        work = follow(nextFrame_);
    }
    if (work)
        wake_.notify_one();
}

bool VideoSound::hasSound() const {
    return opened_ && sink_ && failure_.isEmpty();
}

std::optional<double> VideoSound::position() const {
    if (!playing_ || !hasSound())
        return std::nullopt;
    if (!running_)
        return clockNow();
    const auto played =
        static_cast<std::int64_t>(static_cast<double>(sink_->processedUSecs()) * format_.sampleRate / 1e6);
    const std::int64_t held = std::max<std::int64_t>(0, handedOut_ - played);
    return static_cast<double>(nextFrame_ - held) / format_.sampleRate;
}

double VideoSound::clockNow() const {
    return clockTime_ + static_cast<double>(clockTimer_.nsecsElapsed()) / 1e9;
}

void VideoSound::fail(const QString& reason) {
    if (!failure_.isEmpty())
        return;
    stop();
    failure_ = reason;
    emit failed(reason);
}

void VideoSound::start(double fileSeconds) {
    stop();
    nextFrame_ = std::llround(fileSeconds * format_.sampleRate);
    handedOut_ = 0;
    outOfStep_ = 0;
    {
        std::lock_guard lock(mutex_);
        decoding_ = true;
        follow(nextFrame_);
    }
    wake_.notify_one();
    running_ = true;
    sink_->start(feed_.get());
    if (running_ && sink_->state() == QAudio::StoppedState && sink_->error() != QAudio::NoError)
        fail(QStringLiteral("the sound output device cannot be opened"));
}

void VideoSound::stop() {
    if (!running_)
        return;
    running_ = false;
    sink_->stop();
    std::lock_guard lock(mutex_);
    decoding_ = false;
}

bool VideoSound::follow(std::int64_t wanted) {
    const std::size_t bytesPerFrame = static_cast<std::size_t>(format_.bytesPerFrame());
    const auto held = static_cast<std::int64_t>((ring_.size() - ringHead_) / bytesPerFrame);
    if (seekTo_)
        return true;
    // After the end there is nothing to decode, before what is held the decoder must go back, and far
    // ahead it is quicker to seek than to decode the way there.
    if (endFrame_ && wanted >= *endFrame_)
        return false;
    if (wanted < ringStart_ ||
        wanted > ringStart_ + held + std::llround(seekWorthSeconds * format_.sampleRate)) {
        seekTo_ = wanted;
        return true;
    }
    const std::int64_t passed = std::min(wanted - ringStart_, held);
    ringHead_ += static_cast<std::size_t>(passed) * bytesPerFrame;
    ringStart_ += passed;
    return passed > 0 || held == 0;
}

void VideoSound::fill(char* data, std::int64_t bytes) {
    const std::int64_t bytesPerFrame = format_.bytesPerFrame();
    const std::int64_t frames = bytes / bytesPerFrame;
    std::int64_t copied = 0;
    bool work = false;
    {
        std::lock_guard lock(mutex_);
        work = follow(nextFrame_);
        if (!seekTo_ && ringStart_ == nextFrame_) {
            const auto held = static_cast<std::int64_t>(ring_.size() - ringHead_) / bytesPerFrame;
            copied = std::min(held, frames);
            std::memcpy(data, ring_.data() + ringHead_, static_cast<std::size_t>(copied * bytesPerFrame));
            ringHead_ += static_cast<std::size_t>(copied * bytesPerFrame);
            ringStart_ += copied;
            work = work || copied > 0;
        }
    }
    if (work)
        wake_.notify_one();
    // What is not decoded yet is silence.
    std::memset(data + copied * bytesPerFrame, 0,
                static_cast<std::size_t>((frames - copied) * bytesPerFrame));
    nextFrame_ += frames;
    handedOut_ += frames;
}

void VideoSound::run(const QString& path, const AudioDecoder::Format& format) {
    QString failure;
    std::unique_ptr<AudioDecoder> decoder = AudioDecoder::open(path, format, &failure);
    if (!decoder) {
        QMetaObject::invokeMethod(
            this, [this, failure] { fail(failure); }, Qt::QueuedConnection);
        return;
    }
    QMetaObject::invokeMethod(
        this,
        [this] {
            opened_ = true;
            if (playing_ && !muted_)
                start(clockNow());
            emit opened();
        },
        Qt::QueuedConnection);

    const std::size_t bytesPerFrame = static_cast<std::size_t>(format.bytesPerFrame());
    const auto pieceFrames = static_cast<std::int64_t>(pieceSeconds * format.sampleRate);
    const auto ringBytes = static_cast<std::size_t>(ringSeconds * format.sampleRate) * bytesPerFrame;
    std::vector<char> piece(static_cast<std::size_t>(pieceFrames) * bytesPerFrame);
    std::unique_lock lock(mutex_);
    auto held = [&] { return ring_.size() - ringHead_; };
    for (;;) {
        wake_.wait(lock,
                   [&] { return stopping_ || seekTo_ || (decoding_ && !endFrame_ && held() < ringBytes); });
        if (stopping_)
            return;
        if (seekTo_) {
            const std::int64_t target = *seekTo_;
            ring_.clear();
            ringHead_ = 0;
            ringStart_ = target;
            endFrame_.reset();
            lock.unlock();
            const bool found = decoder->seek(static_cast<double>(target) / format.sampleRate);
            lock.lock();
            // Another seek came meanwhile: that one is next.
            if (seekTo_ != target)
                continue;
            seekTo_.reset();
            if (!found)
                endFrame_ = target;
            continue;
        }
        lock.unlock();
        const std::int64_t count = decoder->read(piece.data(), pieceFrames);
        lock.lock();
        // The piece belongs where the decoder was; a seek asked for meanwhile makes it worthless.
        if (seekTo_)
            continue;
        if (ringHead_ > ring_.size() / 2) {
            ring_.erase(ring_.begin(), ring_.begin() + static_cast<std::ptrdiff_t>(ringHead_));
            ringHead_ = 0;
        }
        ring_.insert(ring_.end(), piece.begin(),
                     piece.begin() + static_cast<std::ptrdiff_t>(count * bytesPerFrame));
        if (count < pieceFrames)
            endFrame_ = ringStart_ + static_cast<std::int64_t>(held() / bytesPerFrame);
    }
}
