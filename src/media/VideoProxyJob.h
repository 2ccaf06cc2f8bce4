#pragma once

#include <QString>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

// Makes the proxy of one video: an H.264 copy that decodes quickly, for playback on a machine that
// cannot decode the original in real time. Exports and stills keep using the original.
//
// Every frame keeps its presentation time, so the proxy's frame at any time is the original's frame
// at that time (edit lists and late starts included). The picture is scaled to `width` with square
// pixels and the display rotation is copied rather than applied: the decoder turns the proxy just as
// it turns the original, and a sideways video costs no more to make or to play than a level one.
// The sound is copied as it is, unless QuickTime cannot hold it; then the proxy is silent and
// `warning` says so.
//
// The proxy is written under VideoProxyStore::partialPath and renamed when complete; a job that fails
// or is cancelled leaves no file.
class VideoProxyJob {
public:
    struct Settings {
        // Of the stored picture; a narrower original keeps its width.
        int width = 960;
        int crf = 23;
        // Frames from one keyframe to the next: short, so that a seek decodes little.
        int gop = 12;
        std::string preset = "veryfast";
        // Decoding and encoding threads each; 0 for one per core.
        int threads = 0;
    };
    enum class Outcome { pending, finished, failed, cancelled };

    VideoProxyJob(const QString& original, const QString& proxy, const Settings& settings);
    VideoProxyJob(const QString& original, const QString& proxy);
    // Cancels the work and waits for it to stop.
    ~VideoProxyJob();
    VideoProxyJob(const VideoProxyJob&) = delete;
    VideoProxyJob& operator=(const VideoProxyJob&) = delete;

    // Starts the work on a thread of its own. `done` is called on that thread when it ends.
    void start(std::function<void(Outcome)> done = {});
    // Does the work on the calling thread.
    Outcome run();
    // Any thread; the work stops soon after.
    void cancel();
    // Waits for the work started by `start`.
    void wait();

    // From 0 to 1. Any thread.
    double progress() const { return progress_.load(std::memory_order_relaxed); }
    // Any thread; `failure` and `warning` may be read once it is no longer pending.
    Outcome outcome() const { return outcome_.load(std::memory_order_acquire); }
    // Why the proxy could not be made, for the user ("the file does not exist", …).
    const QString& failure() const { return failure_; }
    // Something the user may want to know about a proxy that was made; empty mostly.
    const QString& warning() const { return warning_; }

    const QString& original() const { return original_; }
    const QString& proxy() const { return proxy_; }

private:
    struct Transcode;
    friend struct Transcode;

    QString original_;
    QString proxy_;
    Settings settings_;
    std::atomic<double> progress_{0.0};
    std::atomic<bool> ran_{false};
    std::atomic<bool> cancelled_{false};
    std::atomic<Outcome> outcome_{Outcome::pending};
    QString failure_;
    QString warning_;
    std::thread worker_;
};
