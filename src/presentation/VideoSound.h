#pragma once

#include "media/AudioDecoder.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

class QAudioSink;
class QIODevice;

// Plays the sound of one video on the default output device, in step with the playback clock. The
// clock is the master: the sound goes where the times it is given say and never moves the clock.
//
// The file is opened and decoded on a thread of its own, a second or less ahead of what is heard.
// The device pulls its sound on the main thread from what that thread decoded and never waits for it:
// sound not decoded in time is played as silence and skipped, so that what follows stays in place.
//
// Without an output device, or for a file without sound, every call is a no-op and `failure` says why.
// That is for diagnostics, not for a message box: a machine without sound is no error.
//
// All functions are called on the thread that made the object, which has an event loop.
class VideoSound : public QObject {
    Q_OBJECT
public:
    explicit VideoSound(const QString& path, QObject* parent = nullptr);
    ~VideoSound() override;

    // Muted, the device is let go; the sound comes back at the clock's time when unmuted.
    void setMuted(bool muted);
    bool isMuted() const { return muted_; }
    // Starts the sound at `fileSeconds`, the clock's time in the file.
    void play(double fileSeconds);
    // Silence at once.
    void pause();
    // Called on every tick while playing: brings the sound back to the clock's time when it has drifted
    // or the clock jumped.
    void sync(double fileSeconds);

    // True once the sound has opened and an output device is there; false with a reason after that
    // failed.
    bool hasSound() const;
    const QString& failure() const { return failure_; }
    // The file time heard now, while playing (the clock's time while muted); none otherwise.
    std::optional<double> position() const;

signals:
    void opened();
    void failed(const QString& reason);

private:
    void run(const QString& path, const AudioDecoder::Format& format);
    void fail(const QString& reason);
    void start(double fileSeconds);
    void stop();
    void fill(char* data, std::int64_t bytes);
    // With the mutex held: keeps the decoded sound where frame `wanted` will be needed, seeking when
    // it lies elsewhere. True when the decoding thread has work.
    bool follow(std::int64_t wanted);
    double clockNow() const;

    // Main thread only.
    AudioDecoder::Format format_;
    std::unique_ptr<QIODevice> feed_;
    std::unique_ptr<QAudioSink> sink_;
    bool opened_ = false;
    QString failure_;
    bool playing_ = false;
    bool muted_ = false;
    bool running_ = false;
    // The device plays frame `nextFrame_` of the file after the `handedOut_` it was given so far.
    std::int64_t nextFrame_ = 0;
    std::int64_t handedOut_ = 0;
    // Out of step on this many ticks in a row, by at least `smallestError_` seconds.
    int outOfStep_ = 0;
    double smallestError_ = 0.0;
    // The clock's last time and when it was given.
    double clockTime_ = 0.0;
    QElapsedTimer clockTimer_;

    // Shared with the decoding thread, under the mutex. The ring holds decoded frames from file frame
    // `ringStart_` on, in order.
    std::mutex mutex_;
    std::condition_variable wake_;
    std::vector<char> ring_;
    std::size_t ringHead_ = 0;
    std::int64_t ringStart_ = 0;
    std::optional<std::int64_t> seekTo_;
    std::optional<std::int64_t> endFrame_;
    bool decoding_ = false;
    bool stopping_ = false;

    std::thread worker_;
};
