#pragma once

#include <QString>
#include <cstdint>
#include <memory>

// Decodes the sound of one media file into interleaved PCM of the rate, channel count and sample type
// its player asks for. Times count from the start of the file's timeline exactly as VideoDecoder
// counts them (edit lists and late starts keep their place; transport streams count from their first
// timestamp), so that sound and picture agree.
//
// The output runs on without gaps from the position of the last seek: before the sound starts it is
// silence, and a gap in the stream's timestamps is filled with silence, so that the n-th frame read
// after `seek(t)` always belongs to t + n / rate.
//
// One thread at a time uses a decoder.
class AudioDecoder {
public:
    enum class SampleType { int16, float32 };
    struct Format {
        int sampleRate = 48000;
        int channels = 2;
        SampleType sampleType = SampleType::int16;

        int bytesPerFrame() const;
    };

    // None, with a short reason for the user in `failure`, when the file has no sound that can be
    // played: missing, unreadable, no audio stream, a codec Wakeline cannot decode, damaged.
    static std::unique_ptr<AudioDecoder> open(const QString& path, const Format& format,
                                              QString* failure = nullptr);
    ~AudioDecoder();
    AudioDecoder(const AudioDecoder&) = delete;
    AudioDecoder& operator=(const AudioDecoder&) = delete;

    const Format& format() const;
    // The codec's name and the stream's own rate and channels, for diagnostics.
    QString codecName() const;
    int streamSampleRate() const;
    int streamChannels() const;

    // Where the next `read` starts, in frames of the output rate counted from file time 0.
    std::int64_t position() const;
    // Moves to the frame of the output rate nearest `seconds`; any time, before the start and after
    // the end included. False when the file cannot be read there any more.
    bool seek(double seconds);
    // Up to `frames` frames into `data` (`frames` × bytesPerFrame bytes); fewer only at the end of the
    // sound, none after it.
    std::int64_t read(void* data, std::int64_t frames);

private:
    struct State;
    explicit AudioDecoder(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};
