#pragma once

#include <QString>
#include <cstdint>
#include <memory>
#include <string>

// Writes a film: pictures of one size at a constant frame rate, with stereo sound when asked.
//
// H.264 (libx264) with AAC sound in MP4, its index at the front so that a browser or a phone starts
// playing before the whole file arrived; or, for pictures with transparency that an editor lays
// over its own cut, ProRes 4444 with alpha in QuickTime.
//
// The film is written beside its path under a partial name and takes its name in `finish`: a film
// that fails or is abandoned leaves no file, and never replaces an earlier film half-way.
//
// One thread at a time uses an encoder.
class VideoEncoder {
public:
    enum class Codec { h264, proRes4444 };
    struct Settings {
        Codec codec = Codec::h264;
        int width = 1280;
        int height = 720;
        int framesPerSecond = 25;
        // AAC, stereo at `soundRate`; H.264 films only.
        bool sound = false;
        // H.264: quality by constant rate factor, speed by preset.
        int crf = 21;
        std::string preset = "veryfast";
        // Encoding threads; 0 for one per core.
        int threads = 0;
    };
    static constexpr int soundRate = 48000;
    static constexpr int soundChannels = 2;

    // None, with a reason for the user in `failure`, when the film cannot be started: a folder that
    // does not exist or cannot be written, a size the codec refuses, a codec missing from FFmpeg.
    static std::unique_ptr<VideoEncoder> open(const QString& path, const Settings& settings,
                                              QString* failure = nullptr);
    // Removes the partial file unless `finish` succeeded.
    ~VideoEncoder();
    VideoEncoder(const VideoEncoder&) = delete;
    VideoEncoder& operator=(const VideoEncoder&) = delete;

    const Settings& settings() const;
    // The next picture: 32-bit pixels in memory order B, G, R, A, at the settings' size. Alpha is
    // straight (not premultiplied) and only ProRes keeps it.
    bool addFrame(const std::uint8_t* pixels, int stride);
    // Sound to go with the pictures: interleaved float samples, `frames` × soundChannels of them.
    bool addSound(const float* samples, std::int64_t frames);
    // Writes what is buffered and the index, then gives the film its name.
    bool finish();

    int framesWritten() const;
    // Why the last call failed, for the user.
    const QString& failure() const;
    // Where the film is written until `finish`.
    static QString partialPath(const QString& path);

private:
    struct State;
    explicit VideoEncoder(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
};
