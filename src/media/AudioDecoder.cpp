#include "media/AudioDecoder.h"

#include "media/AvHandle.h"
#include "media/MediaInput.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
#include <libswresample/swresample.h>
}

namespace {

// Decoding starts this far before a seek target: codecs whose frames overlap (AAC, MP3, Opus) make a
// damaged first frame after a seek, and it must lie before the target.
constexpr double prerollSeconds = 0.2;
// A seek that lands after the target goes back this much further, then twice as far.
constexpr double firstBackoffSeconds = 1.0;
constexpr int seekAttempts = 6;
// Timestamps this close to the samples counted so far (containers that round them to milliseconds)
// continue the sound; further off, silence fills a gap and an overlap is dropped.
constexpr double continuitySeconds = 0.005;
// Silence for a gap is made in pieces, so that a sound starting an hour after the position costs no
// memory.
constexpr int silencePiece = 4096;
// Decoding errors in a row after which the rest of the stream counts as unreadable.
constexpr int errorsInARow = 64;

void freeResampler(SwrContext* context) {
    swr_free(&context);
}
using SwrContextHandle = AvHandle<SwrContext, freeResampler>;

// A layout the resampler can take: streams that give only a channel count get the usual order.
AVChannelLayout layoutOf(const AVFrame& frame) {
    AVChannelLayout layout{};
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC ||
        av_channel_layout_copy(&layout, &frame.ch_layout) < 0)
        av_channel_layout_default(&layout, frame.ch_layout.nb_channels);
    return layout;
}

} // namespace

int AudioDecoder::Format::bytesPerFrame() const {
    return channels * (sampleType == SampleType::int16 ? 2 : 4);
}

struct AudioDecoder::State {
    ~State() {
        av_channel_layout_uninit(&inLayout);
        av_channel_layout_uninit(&outLayout);
    }

    Format format;
    AVSampleFormat outFormat = AV_SAMPLE_FMT_S16;
    AVChannelLayout outLayout{};
    AvFormatContextHandle container;
    AVStream* stream = nullptr;
    AvCodecContextHandle context;
    AvPacketHandle packet{av_packet_alloc()};
    AvFrameHandle frame{av_frame_alloc()};
    std::int64_t origin = 0;

    // The decoded frame being fed to the resampler; its first `frameOffset` samples are used or dropped.
    bool frameHeld = false;
    int frameOffset = 0;
    bool draining = false;
    bool ended = false;

    SwrContextHandle resampler;
    int inRate = 0;
    AVSampleFormat inFormat = AV_SAMPLE_FMT_NONE;
    AVChannelLayout inLayout{};
    std::vector<std::uint8_t> silence;

    // Samples at the stream's rate from file time 0: where the next sample fed to the resampler belongs.
    std::int64_t next = 0;
    // The stream's first sample, at its rate.
    std::int64_t firstSample = 0;
    // Set by a seek until the first samples are fed: they are placed to the sample.
    bool exact = false;
    // Output frames from file time 0: where the next read starts.
    std::int64_t position = 0;
    std::vector<std::uint8_t> output;
    std::size_t outputHead = 0;

    std::int64_t ticks(double seconds) const {
        constexpr double limit = 1e9;
        const double bounded = std::isnan(seconds) ? 0.0 : std::clamp(seconds, -limit, limit);
        return origin + static_cast<std::int64_t>(std::floor(bounded / av_q2d(stream->time_base)));
    }
    // Where the held frame starts, at the stream's rate; frames without a time continue the sound.
    std::int64_t frameStart() const {
        const std::int64_t pts = frame->pts != AV_NOPTS_VALUE ? frame->pts : frame->best_effort_timestamp;
        if (pts == AV_NOPTS_VALUE)
            return next - frameOffset;
        return av_rescale_q_rnd(pts - origin, stream->time_base, AVRational{1, inRate},
                                static_cast<AVRounding>(AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX));
    }

    bool receive();
    bool configure();
    void convert(const std::uint8_t* const* input, int count);
    void flushResampler();
    void feedSilence(int count);
    void feedFrame();
    void step();
    bool seek(double seconds);
};

// The next decoded frame into `frame`; false at the end of the stream or when it cannot be read on.
bool AudioDecoder::State::receive() {
    int errors = 0;
    for (;;) {
        const int received = avcodec_receive_frame(context.get(), frame.get());
        if (received == 0) {
            if (frame->nb_samples > 0)
                return true;
            av_frame_unref(frame.get());
            continue;
        }
        if (received == AVERROR_EOF || draining)
            return false;
        // A broken frame: the decoder carries on with the next packet.
        if (received != AVERROR(EAGAIN) && ++errors > errorsInARow)
            return false;
        for (;;) {
            av_packet_unref(packet.get());
            // A read error past this point is where a damaged or cut file ends for us.
            if (av_read_frame(container.get(), packet.get()) < 0) {
                avcodec_send_packet(context.get(), nullptr);
                draining = true;
                break;
            }
            if (packet->stream_index != stream->index)
                continue;
            const int sent = avcodec_send_packet(context.get(), packet.get());
            if (sent >= 0 || sent == AVERROR(EAGAIN))
                break;
            if (++errors > errorsInARow)
                return false;
        }
    }
}

// Makes the resampler for the held frame's kind of samples, unless it has it already.
bool AudioDecoder::State::configure() {
    AVChannelLayout layout = layoutOf(*frame);
    const auto sampleFormat = static_cast<AVSampleFormat>(frame->format);
    if (resampler && frame->sample_rate == inRate && sampleFormat == inFormat &&
        av_channel_layout_compare(&layout, &inLayout) == 0) {
        av_channel_layout_uninit(&layout);
        return true;
    }
    flushResampler();
    // A stream that changes its rate keeps its place.
    if (inRate > 0 && frame->sample_rate > 0 && frame->sample_rate != inRate)
        next = av_rescale_rnd(next, frame->sample_rate, inRate, AV_ROUND_NEAR_INF);
    SwrContext* made = nullptr;
    if (frame->sample_rate <= 0 ||
        swr_alloc_set_opts2(&made, &outLayout, outFormat, format.sampleRate, &layout, sampleFormat,
                            frame->sample_rate, 0, nullptr) < 0 ||
        swr_init(made) < 0) {
        swr_free(&made);
        av_channel_layout_uninit(&layout);
        resampler.reset();
        return false;
    }
    resampler.reset(made);
    inRate = frame->sample_rate;
    inFormat = sampleFormat;
    av_channel_layout_uninit(&inLayout);
    inLayout = layout;
    silence.clear();
    return true;
}

void AudioDecoder::State::convert(const std::uint8_t* const* input, int count) {
    const int capacity = swr_get_out_samples(resampler.get(), count);
    if (capacity <= 0)
        return;
    if (outputHead == output.size()) {
        output.clear();
        outputHead = 0;
    }
    const std::size_t bytesPerFrame = static_cast<std::size_t>(format.bytesPerFrame());
    const std::size_t before = output.size();
    output.resize(before + static_cast<std::size_t>(capacity) * bytesPerFrame);
    std::uint8_t* out = output.data() + before;
    const int made =
        swr_convert(resampler.get(), &out, capacity, const_cast<const std::uint8_t**>(input), count);
    output.resize(before + static_cast<std::size_t>(std::max(made, 0)) * bytesPerFrame);
}

// The samples the resampler still holds, at the end of the sound or before it changes.
void AudioDecoder::State::flushResampler() {
    if (resampler)
        convert(nullptr, 0);
}

void AudioDecoder::State::feedSilence(int count) {
    const int channels = inLayout.nb_channels;
    const bool planar = av_sample_fmt_is_planar(inFormat);
    const int sampleBytes = av_get_bytes_per_sample(inFormat);
    const std::size_t planeBytes =
        static_cast<std::size_t>(silencePiece) * sampleBytes * (planar ? 1 : channels);
    if (silence.empty()) {
        silence.resize(planeBytes * (planar ? channels : 1));
        std::uint8_t* start = silence.data();
        // Unsigned 8-bit samples are silent at their middle value, not at zero.
        av_samples_set_silence(&start, 0, silencePiece * (planar ? channels : 1), 1,
                               av_get_packed_sample_fmt(inFormat));
    }
    std::vector<const std::uint8_t*> planes(static_cast<std::size_t>(planar ? channels : 1));
    for (std::size_t i = 0; i < planes.size(); ++i)
        planes[i] = silence.data() + i * planeBytes;
    convert(planes.data(), count);
}

void AudioDecoder::State::feedFrame() {
    const int channels = frame->ch_layout.nb_channels;
    const bool planar = av_sample_fmt_is_planar(inFormat);
    const std::size_t offsetBytes =
        static_cast<std::size_t>(frameOffset) * av_get_bytes_per_sample(inFormat) * (planar ? 1 : channels);
    std::vector<const std::uint8_t*> planes(static_cast<std::size_t>(planar ? channels : 1));
    for (std::size_t i = 0; i < planes.size(); ++i)
        planes[i] = frame->extended_data[i] + offsetBytes;
    convert(planes.data(), frame->nb_samples - frameOffset);
}

// One piece of work towards more output: a frame decoded, silence for a gap, an overlap dropped or
// samples fed; or the end.
void AudioDecoder::State::step() {
    if (!frameHeld) {
        if (!receive() || !configure()) {
            flushResampler();
            ended = true;
            return;
        }
        frameHeld = true;
        frameOffset = 0;
    }
    const std::int64_t at = frameStart() + frameOffset;
    const std::int64_t tolerance = exact ? 0 : std::llround(continuitySeconds * inRate);
    if (at > next + tolerance) {
        const int count = static_cast<int>(std::min<std::int64_t>(at - next, silencePiece));
        feedSilence(count);
        next += count;
        return;
    }
    if (at < next - tolerance) {
        frameOffset += static_cast<int>(std::min<std::int64_t>(next - at, frame->nb_samples - frameOffset));
    } else {
        feedFrame();
        next += frame->nb_samples - frameOffset;
        frameOffset = frame->nb_samples;
        exact = false;
    }
    if (frameOffset >= frame->nb_samples) {
        av_frame_unref(frame.get());
        frameHeld = false;
    }
}

bool AudioDecoder::State::seek(double seconds) {
    constexpr double limit = 1e9;
    const double target = std::isnan(seconds) ? 0.0 : std::clamp(seconds, -limit, limit);
    position = std::llround(target * format.sampleRate);
    next = av_rescale_rnd(position, inRate, format.sampleRate, AV_ROUND_NEAR_INF);
    output.clear();
    outputHead = 0;
    resampler.reset();
    av_frame_unref(frame.get());
    frameHeld = false;
    exact = true;
    ended = false;

    std::int64_t seekTo = ticks(static_cast<double>(position) / format.sampleRate - prerollSeconds);
    std::int64_t backoff = std::max<std::int64_t>(1, ticks(firstBackoffSeconds) - origin);
    for (int attempt = 0; attempt < seekAttempts; ++attempt) {
        // Before the first packet a backward seek finds nothing; forward finds the first one.
        if (av_seek_frame(container.get(), stream->index, seekTo, AVSEEK_FLAG_BACKWARD) < 0 &&
            av_seek_frame(container.get(), stream->index, seekTo, 0) < 0)
            break;
        avcodec_flush_buffers(context.get());
        draining = false;
        if (receive()) {
            if (!configure())
                break;
            frameHeld = true;
            frameOffset = 0;
            // Found a frame at or before the target, or the very first one, before which there is
            // silence.
            if (frameStart() <= next || frameStart() <= firstSample)
                return true;
            seekTo = std::min(seekTo, frame->pts) - backoff;
            av_frame_unref(frame.get());
            frameHeld = false;
        } else {
            seekTo -= backoff;
        }
        // Packets are found by their index, which may place one after the target, or nothing decoded
        // from here: start earlier.
        backoff *= 2;
    }
    // Nothing at or before the target: the sound ended before it, or the file cannot be read on.
    ended = true;
    return false;
}

AudioDecoder::AudioDecoder(std::unique_ptr<State> state) : state_(std::move(state)) {}

AudioDecoder::~AudioDecoder() = default;

std::unique_ptr<AudioDecoder> AudioDecoder::open(const QString& path, const Format& format,
                                                 QString* failure) {
    silenceFfmpegLogging();
    auto fail = [failure](const QString& reason) {
        if (failure)
            *failure = reason;
        return nullptr;
    };
    // Rates from telephone to studio, channels up to 7.1.
    if (format.sampleRate < 8000 || format.sampleRate > 384000 || format.channels < 1 || format.channels > 8)
        return fail(QStringLiteral("the sound output wants %1 channels at %2 Hz, which Wakeline cannot make")
                        .arg(format.channels)
                        .arg(format.sampleRate));
    auto state = std::make_unique<State>();
    if (!state->packet || !state->frame)
        return fail(QStringLiteral("there is not enough memory"));
    state->format = format;
    state->outFormat = format.sampleType == SampleType::int16 ? AV_SAMPLE_FMT_S16 : AV_SAMPLE_FMT_FLT;
    av_channel_layout_default(&state->outLayout, format.channels);

    state->container = openMediaInput(path, QStringLiteral("it is not a video or sound file"), failure);
    if (!state->container)
        return nullptr;
    AVFormatContext* opened = state->container.get();

    const AVCodec* codec = nullptr;
    const int index = av_find_best_stream(opened, AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
    if (index == AVERROR_DECODER_NOT_FOUND) {
        const int undecodable = av_find_best_stream(opened, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
        const QString name =
            undecodable >= 0 ? codecNameOf(*opened->streams[undecodable]->codecpar) : QString();
        return fail(QStringLiteral("its sound is coded in a format Wakeline cannot decode (%1)").arg(name));
    }
    if (index < 0 || !codec)
        return fail(QStringLiteral("the file has no sound"));
    state->stream = opened->streams[index];
    for (unsigned i = 0; i < opened->nb_streams; ++i)
        if (static_cast<int>(i) != index)
            opened->streams[i]->discard = AVDISCARD_ALL;

    AVStream& stream = *state->stream;
    const QString codecName = QString::fromUtf8(avcodec_get_name(stream.codecpar->codec_id));
    state->context.reset(avcodec_alloc_context3(codec));
    if (!state->context || avcodec_parameters_to_context(state->context.get(), stream.codecpar) < 0)
        return fail(QStringLiteral("there is not enough memory"));
    // Frame times in the stream's time base, and the samples an edit list hides left out.
    state->context->pkt_timebase = stream.time_base;
    if (avcodec_open2(state->context.get(), codec, nullptr) < 0)
        return fail(QStringLiteral("the %1 sound decoder could not be started").arg(codecName));
    // The same origin as the pictures: transport streams from their first timestamp, else zero.
    if ((opened->iformat->flags & AVFMT_TS_DISCONT) && opened->start_time != AV_NOPTS_VALUE)
        state->origin = av_rescale_q(opened->start_time, AV_TIME_BASE_Q, stream.time_base);

    // A file whose sound does not decode from the start is not worth playing.
    if (!state->receive() || !state->configure())
        return fail(QStringLiteral("no sound in it can be decoded; the file may be damaged"));
    state->firstSample = state->frameStart();
    if (!state->seek(0.0))
        return fail(QStringLiteral("no sound in it can be decoded; the file may be damaged"));
    return std::unique_ptr<AudioDecoder>(new AudioDecoder(std::move(state)));
}

const AudioDecoder::Format& AudioDecoder::format() const {
    return state_->format;
}

QString AudioDecoder::codecName() const {
    return QString::fromUtf8(avcodec_get_name(state_->stream->codecpar->codec_id));
}

int AudioDecoder::streamSampleRate() const {
    return state_->inRate;
}

int AudioDecoder::streamChannels() const {
    return state_->inLayout.nb_channels;
}

std::int64_t AudioDecoder::position() const {
    return state_->position;
}

bool AudioDecoder::seek(double seconds) {
    return state_->seek(seconds);
}

std::int64_t AudioDecoder::read(void* data, std::int64_t frames) {
    State& state = *state_;
    const std::size_t bytesPerFrame = static_cast<std::size_t>(state.format.bytesPerFrame());
    auto* out = static_cast<std::uint8_t*>(data);
    std::int64_t done = 0;
    while (done < frames) {
        const auto ready =
            static_cast<std::int64_t>((state.output.size() - state.outputHead) / bytesPerFrame);
        if (ready > 0) {
            const std::int64_t count = std::min(ready, frames - done);
            const std::size_t bytes = static_cast<std::size_t>(count) * bytesPerFrame;
            std::memcpy(out + static_cast<std::size_t>(done) * bytesPerFrame,
                        state.output.data() + state.outputHead, bytes);
            state.outputHead += bytes;
            done += count;
            continue;
        }
        if (state.ended)
            break;
        state.step();
    }
    state.position += done;
    return done;
}
