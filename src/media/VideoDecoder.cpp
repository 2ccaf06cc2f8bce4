#include "media/VideoDecoder.h"

#include "media/AvHandle.h"
#include "media/MediaInput.h"
#include "media/VaapiDevice.h"
#include "media/VideoFrameCache.h"
#include "media/VideoFrameConverter.h"

#include <QThread>
#include <algorithm>
#include <cmath>
#include <mutex>
#include <optional>
#include <set>

extern "C" {
#include <libavutil/display.h>
#include <libavutil/hwcontext.h>
#include <libavutil/pixdesc.h>
}

namespace {

// The frames in flight and the cost of a seek are each worth a few frames of decoding: a keyframe
// this close ahead is not worth seeking to.
constexpr int framesNotWorthASeek = 3;
// Without an index that covers the target, how far decoding on beats guessing a seek.
constexpr double forwardWithoutIndexSeconds = 2.0;
// A seek that lands on a keyframe shown after the target goes back this far, then twice as far.
constexpr double firstBackoffSeconds = 1.0;
constexpr int seekAttempts = 6;
// On the way to a target, frames that nothing refers to are not decoded at all when they are shown at
// least this many frames before it. Should the frame on screen at the target be among them after all
// (a gap in the stream), the target is decoded again without skipping.
constexpr int framesSkippableBeforeTarget = 2;
// Decoding errors in a row after which the rest of the stream counts as unreadable.
constexpr int errorsInARow = 64;

// The clockwise turn the display matrix asks for, to the nearest quarter. Mirroring is left out, as
// the ffmpeg program leaves it out.
int rotationOf(const AVStream& stream) {
    const auto* matrix = reinterpret_cast<const std::int32_t*>(
        av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr));
    if (!matrix)
        return 0;
    const double counterclockwise = av_display_rotation_get(matrix);
    if (std::isnan(counterclockwise))
        return 0;
    const int quarters = static_cast<int>(std::lround(-counterclockwise / 90.0));
    return ((quarters % 4) + 4) % 4 * 90;
}

AVPixelFormat chooseFormat(AVCodecContext* context, const AVPixelFormat* offered) {
    const auto hardware = static_cast<AVPixelFormat>(reinterpret_cast<std::intptr_t>(context->opaque));
    for (const AVPixelFormat* format = offered; *format != AV_PIX_FMT_NONE; ++format)
        if (*format == hardware)
            return *format;
    // The device cannot take this stream (its profile or size): software.
    for (const AVPixelFormat* format = offered; *format != AV_PIX_FMT_NONE; ++format) {
        const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(*format);
        if (descriptor && !(descriptor->flags & AV_PIX_FMT_FLAG_HWACCEL))
            return *format;
    }
    return AV_PIX_FMT_NONE;
}

} // namespace

struct VideoDecoder::State {
    enum class Step { frame, end, interrupted, hardwareFailed };

    explicit State(const Options& options) : options(options), cache(options.cacheBytes) {
        converter.setMaximumSize(options.maximumWidth, options.maximumHeight);
    }

    Options options;
    AvFormatContextHandle format;
    AVStream* stream = nullptr;
    const AVCodec* codec = nullptr;
    AvCodecContextHandle context;
    AVPixelFormat hardwareFormat = AV_PIX_FMT_NONE;
    AvPacketHandle packet{av_packet_alloc()};
    bool packetPending = false;
    AvFrameHandle received{av_frame_alloc()};
    VideoFrameCache cache;
    VideoFrameConverter converter;
    VideoStreamInfo info;
    AVRational timeBase{1, 1};
    std::int64_t origin = 0;
    std::int64_t firstPts = 0;
    std::int64_t frameTicks = 1;
    const std::atomic<bool>* interrupt = nullptr;
    Statistics statistics;

    // The run: frames decoded in order since the last seek.
    std::optional<std::int64_t> lastPts;
    std::int64_t lastPacketDts = AV_NOPTS_VALUE;
    // Presentation times of packets sent with non-reference frames skipped; those that never come
    // out leave a gap, across which no frame's interval may be closed.
    std::set<std::int64_t> maybeSkipped;
    // Presentation times of the packets read and not yet shown, and whether the last frame's interval
    // is known from them.
    std::set<std::int64_t> packetTimes;
    bool lastClosed = false;
    // Set while decoding towards a seek target: the frames shown well before it need not be decoded.
    std::optional<std::int64_t> heading;
    bool draining = false;
    bool ended = false;

    // The tick at or before a time. A time a hair short of a tick counts as that tick: sums in doubles
    // land there (0.12 s is 1535.99999… ticks of 1/12800 s), and so do times written with six
    // decimals on a 90 kHz clock.
    std::int64_t ticks(double seconds) const {
        // Far beyond any file either way, and nothing for a time that is not a number.
        constexpr double limit = 1e9;
        const double bounded = std::isnan(seconds) ? 0.0 : std::clamp(seconds, -limit, limit);
        return origin + static_cast<std::int64_t>(std::floor(bounded * timeBase.den / timeBase.num + 0.05));
    }
    double seconds(std::int64_t ticks) const {
        return static_cast<double>(ticks - origin) * av_q2d(timeBase);
    }
    bool interrupted() const { return interrupt && interrupt->load(std::memory_order_relaxed); }

    bool openCodec(bool hardware);
    void resetRun();
    Step decodeNext();
    void feed();
    bool accept();
    void endRun();
    bool closeFromPackets();
    bool seek(std::int64_t target);
    bool forwardIsCheaper(std::int64_t target) const;
    bool switchToSoftware();
    VideoFrame picture(VideoFrameCache::Entry& entry);
    VideoFrame frameAt(std::int64_t target);
};

bool VideoDecoder::State::openCodec(bool hardware) {
    context.reset(avcodec_alloc_context3(codec));
    if (!context || avcodec_parameters_to_context(context.get(), stream->codecpar) < 0)
        return false;
    context->pkt_timebase = stream->time_base;
    hardwareFormat = AV_PIX_FMT_NONE;
    AVBufferRef* device = hardware ? VaapiDevice::shared() : nullptr;
    for (int i = 0; device; ++i) {
        const AVCodecHWConfig* config = avcodec_get_hw_config(codec, i);
        if (!config)
            break;
        if ((config->methods & AV_CODEC_HW_CONFIG_METHOD_HW_DEVICE_CTX) &&
            config->device_type == AV_HWDEVICE_TYPE_VAAPI) {
            hardwareFormat = config->pix_fmt;
            break;
        }
    }
    if (hardwareFormat != AV_PIX_FMT_NONE) {
        context->hw_device_ctx = av_buffer_ref(device);
        context->opaque = reinterpret_cast<void*>(static_cast<std::intptr_t>(hardwareFormat));
        context->get_format = chooseFormat;
    } else {
        // Frame threads for throughput while playing; a seek pays for them with a few frames of delay.
        context->thread_count =
            options.threads > 0 ? options.threads : std::max(1, QThread::idealThreadCount());
        context->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
    }
    if (avcodec_open2(context.get(), codec, nullptr) < 0) {
        context.reset();
        return false;
    }
    info.hardwareDecoding = hardwareFormat != AV_PIX_FMT_NONE;
    return true;
}

void VideoDecoder::State::resetRun() {
    lastPts.reset();
    lastPacketDts = AV_NOPTS_VALUE;
    maybeSkipped.clear();
    packetTimes.clear();
    lastClosed = false;
    packetPending = false;
    av_packet_unref(packet.get());
    draining = false;
    ended = false;
}

void VideoDecoder::State::feed() {
    if (!packetPending) {
        for (;;) {
            av_packet_unref(packet.get());
            // A read error past this point is where a damaged or cut file ends for us.
            if (av_read_frame(format.get(), packet.get()) < 0) {
                avcodec_send_packet(context.get(), nullptr);
                draining = true;
                return;
            }
            if (packet->stream_index == stream->index)
                break;
        }
    }
    const bool skipping = heading && packet->pts != AV_NOPTS_VALUE &&
                          packet->pts + framesSkippableBeforeTarget * frameTicks <= *heading;
    context->skip_frame = skipping ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
    const int sent = avcodec_send_packet(context.get(), packet.get());
    if (skipping && sent >= 0)
        maybeSkipped.insert(packet->pts);
    packetPending = sent == AVERROR(EAGAIN);
    if (sent >= 0) {
        lastPacketDts = packet->dts;
        // Frames an edit list hides are never shown: they end no interval.
        if (packet->pts != AV_NOPTS_VALUE && !(packet->flags & AV_PKT_FLAG_DISCARD))
            packetTimes.insert(packet->pts);
    }
}

// The last frame's interval ends where the next frame in presentation order begins. Once a packet
// decoding later than that time has been read, no packet still unread can be shown before it (none is
// shown before it is decoded), so the next frame is known without waiting for it to be decoded.
bool VideoDecoder::State::closeFromPackets() {
    if (!lastPts || lastClosed || lastPacketDts == AV_NOPTS_VALUE)
        return false;
    const auto next = packetTimes.upper_bound(*lastPts);
    if (next == packetTimes.end() || lastPacketDts < *next)
        return false;
    cache.close(*lastPts, *next);
    lastClosed = true;
    return true;
}

// Takes the frame just received into the cache. False only when a hardware frame cannot be copied
// to memory.
bool VideoDecoder::State::accept() {
    AvFrameHandle frame(av_frame_alloc());
    if (!frame) {
        av_frame_unref(received.get());
        return true;
    }
    if (hardwareFormat != AV_PIX_FMT_NONE && received->format == hardwareFormat) {
        if (av_hwframe_transfer_data(frame.get(), received.get(), 0) < 0)
            return false;
        av_frame_copy_props(frame.get(), received.get());
        av_frame_unref(received.get());
    } else {
        av_frame_move_ref(frame.get(), received.get());
    }
    std::int64_t pts = frame->best_effort_timestamp;
    if (pts == AV_NOPTS_VALUE) {
        if (!lastPts)
            return true;
        pts = *lastPts + std::max<std::int64_t>(frame->pkt_duration, 1);
    }
    // Timestamps that do not advance come from a damaged stream: such a frame has no interval.
    if (lastPts && pts <= *lastPts)
        return true;
    cache.insert(pts, std::move(frame));
    // Frames come out in presentation order: one sent before this one that has not come out by now
    // was skipped.
    const auto skipped = std::distance(lastPts ? maybeSkipped.upper_bound(*lastPts) : maybeSkipped.begin(),
                                       maybeSkipped.lower_bound(pts));
    statistics.skippedFrames += static_cast<int>(skipped);
    maybeSkipped.erase(maybeSkipped.begin(), maybeSkipped.upper_bound(pts));
    const bool gap = skipped > 0;
    if (lastPts && !gap)
        cache.close(*lastPts, pts);
    lastPts = pts;
    lastClosed = false;
    packetTimes.erase(packetTimes.begin(), packetTimes.upper_bound(pts));
    closeFromPackets();
    ++statistics.decodedFrames;
    return true;
}

void VideoDecoder::State::endRun() {
    if (lastPts && maybeSkipped.upper_bound(*lastPts) == maybeSkipped.end())
        cache.close(*lastPts, VideoFrameCache::openEnd);
    ended = true;
}

VideoDecoder::State::Step VideoDecoder::State::decodeNext() {
    int errors = 0;
    for (;;) {
        if (interrupted())
            return Step::interrupted;
        if (ended)
            return Step::end;
        const std::optional<std::int64_t> before = lastPts;
        const int result = avcodec_receive_frame(context.get(), received.get());
        if (result == 0) {
            if (!accept())
                return Step::hardwareFailed;
            if (lastPts != before)
                return Step::frame;
            continue;
        }
        if (result == AVERROR_EOF) {
            endRun();
            return Step::end;
        }
        if (result != AVERROR(EAGAIN)) {
            if (hardwareFormat != AV_PIX_FMT_NONE)
                return Step::hardwareFailed;
            // A broken frame: the decoder carries on with the next packet.
            if (++errors > errorsInARow) {
                endRun();
                return Step::end;
            }
        }
        if (draining) {
            endRun();
            return Step::end;
        }
        feed();
        if (closeFromPackets())
            return Step::frame;
    }
}

bool VideoDecoder::State::switchToSoftware() {
    resetRun();
    return openCodec(false);
}

bool VideoDecoder::State::seek(std::int64_t target) {
    std::int64_t seekTo = target;
    const std::int64_t firstBackoff = std::max<std::int64_t>(1, ticks(firstBackoffSeconds) - origin);
    std::int64_t backoff = firstBackoff;
    for (int attempt = 0; attempt < seekAttempts; ++attempt) {
        ++statistics.seeks;
        // Before the first keyframe a backward seek finds nothing; forward finds the first one.
        if (av_seek_frame(format.get(), stream->index, seekTo, AVSEEK_FLAG_BACKWARD) < 0 &&
            av_seek_frame(format.get(), stream->index, seekTo, 0) < 0)
            return false;
        avcodec_flush_buffers(context.get());
        resetRun();
        Step step = decodeNext();
        if (step == Step::hardwareFailed) {
            if (!switchToSoftware())
                return false;
            --attempt;
            continue;
        }
        if (step == Step::interrupted)
            return false;
        if (step == Step::frame && *lastPts <= target)
            return true;
        // Nothing earlier exists: the first frame of the stream is the answer for times before it.
        if (seekTo < firstPts)
            return step == Step::frame;
        // Keyframes are found by decoding time, so the one found may be shown after the target; or
        // nothing decoded from here. Either way start earlier.
        seekTo = std::min(seekTo, lastPts.value_or(seekTo)) - backoff;
        backoff *= 2;
    }
    return lastPts.has_value();
}

bool VideoDecoder::State::forwardIsCheaper(std::int64_t target) const {
    if (!lastPts || ended || target < *lastPts)
        return false;
    const int entries = avformat_index_get_entries_count(stream);
    if (entries > 0 && lastPacketDts != AV_NOPTS_VALUE) {
        const AVIndexEntry* lastEntry = avformat_index_get_entry(stream, entries - 1);
        // Formats that index as they read (transport streams) know nothing beyond the read position.
        if (lastEntry && target <= lastEntry->timestamp) {
            const int keyframe = av_index_search_timestamp(stream, target, AVSEEK_FLAG_BACKWARD);
            if (const AVIndexEntry* entry =
                    keyframe >= 0 ? avformat_index_get_entry(stream, keyframe) : nullptr)
                return entry->timestamp <= lastPacketDts + framesNotWorthASeek * frameTicks;
        }
    }
    return target - *lastPts <= ticks(forwardWithoutIndexSeconds) - origin;
}

VideoFrame VideoDecoder::State::picture(VideoFrameCache::Entry& entry) {
    if (!entry.picture.isNull())
        return entry.picture;
    if (!entry.decoded)
        return {};
    VideoFrame::Timing timing;
    timing.time = seconds(entry.pts);
    if (entry.end != VideoFrameCache::openEnd)
        timing.duration = static_cast<double>(entry.end - entry.pts) * av_q2d(timeBase);
    else if (entry.decoded->pkt_duration > 0)
        timing.duration = static_cast<double>(entry.decoded->pkt_duration) * av_q2d(timeBase);
    else
        timing.duration = info.frameRate > 0 ? 1.0 / info.frameRate : 0.0;
    if (info.constantFrameRate)
        timing.index =
            std::llround(static_cast<double>(entry.pts - firstPts) * av_q2d(timeBase) * info.frameRate);
    const AVRational aspect = av_guess_sample_aspect_ratio(format.get(), stream, entry.decoded.get());
    VideoFrame result = converter.convert(*entry.decoded, info.rotation, aspect, timing);
    if (!result.isNull()) {
        cache.storePicture(entry.pts, result);
        ++statistics.convertedFrames;
    }
    return result;
}

VideoFrame VideoDecoder::State::frameAt(std::int64_t target) {
    cache.setPosition(target);
    // Near the end every frame is decoded: the last one answers for all times after it.
    const std::int64_t lastSkippable =
        info.duration > 0 ? ticks(info.duration) - framesSkippableBeforeTarget * frameTicks : target;
    struct Heading {
        std::optional<std::int64_t>& heading;
        ~Heading() { heading.reset(); }
    } clearOnReturn{heading};
    heading = std::min(target, lastSkippable);
    bool sought = false;
    for (;;) {
        if (interrupted())
            return {};
        if (auto entry = cache.find(target)) {
            if (VideoFrame found = picture(*entry); !found.isNull())
                return found;
        }
        // Decoding went past the target without it: its frame was skipped after all, or timestamps
        // are out of order, or the frame was evicted at once. One more seek, decoding every frame,
        // then give up.
        const bool passed = lastPts && *lastPts > target;
        if (!lastPts || ended || passed || (!sought && !forwardIsCheaper(target))) {
            if (sought && (passed || ended)) {
                if (!heading)
                    return {};
                heading.reset();
            }
            sought = true;
            if (!seek(target))
                return {};
            continue;
        }
        switch (decodeNext()) {
        case Step::frame:
        case Step::end:
            break;
        case Step::interrupted:
            return {};
        case Step::hardwareFailed:
            if (!switchToSoftware())
                return {};
            break;
        }
    }
}

VideoDecoder::VideoDecoder(std::unique_ptr<State> state) : state_(std::move(state)) {}

VideoDecoder::~VideoDecoder() = default;

std::unique_ptr<VideoDecoder> VideoDecoder::open(const QString& path, QString* failure) {
    return open(path, Options(), failure);
}

std::unique_ptr<VideoDecoder> VideoDecoder::open(const QString& path, const Options& options,
                                                 QString* failure) {
    silenceFfmpegLogging();
    auto fail = [failure](const QString& reason) {
        if (failure)
            *failure = reason;
        return nullptr;
    };
    auto state = std::make_unique<State>(options);
    if (!state->packet || !state->received)
        return fail(QStringLiteral("there is not enough memory"));
    state->format = openMediaInput(path, QStringLiteral("it is not a video file"), failure);
    if (!state->format)
        return nullptr;
    AVFormatContext* opened = state->format.get();

    // The first video stream that has a decoder; cover art is a picture, not a video.
    bool sound = false;
    AVStream* undecodable = nullptr;
    for (unsigned i = 0; i < opened->nb_streams; ++i) {
        AVStream* stream = opened->streams[i];
        sound = sound || stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
        if (stream->codecpar->codec_type != AVMEDIA_TYPE_VIDEO ||
            (stream->disposition & AV_DISPOSITION_ATTACHED_PIC))
            continue;
        if (state->stream)
            continue;
        if (const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id)) {
            state->stream = stream;
            state->codec = codec;
        } else if (!undecodable) {
            undecodable = stream;
        }
    }
    if (!state->stream && undecodable) {
        const QString name = codecNameOf(*undecodable->codecpar);
        return fail(QStringLiteral("its video is coded in a format Wakeline cannot decode (%1)").arg(name));
    }
    if (!state->stream)
        return fail(sound ? QStringLiteral("the file holds sound only, no picture")
                          : QStringLiteral("the file has no video stream"));
    for (unsigned i = 0; i < opened->nb_streams; ++i)
        if (opened->streams[i] != state->stream)
            opened->streams[i]->discard = AVDISCARD_ALL;

    AVStream& stream = *state->stream;
    const QString codecName = QString::fromUtf8(avcodec_get_name(stream.codecpar->codec_id));
    if (!(options.allowHardware && state->openCodec(true)) && !state->openCodec(false))
        return fail(QStringLiteral("the %1 decoder could not be started").arg(codecName));

    state->timeBase = stream.time_base;
    // Transport streams run a clock that starts anywhere; other containers count from zero, and a
    // stream starting later than zero starts later in the file.
    if ((opened->iformat->flags & AVFMT_TS_DISCONT) && opened->start_time != AV_NOPTS_VALUE)
        state->origin = av_rescale_q(opened->start_time, AV_TIME_BASE_Q, stream.time_base);
    const AVRational rate = av_guess_frame_rate(opened, &stream, nullptr);
    VideoStreamInfo& info = state->info;
    info.frameRate = rate.num > 0 && rate.den > 0 ? av_q2d(rate) : 0.0;
    info.constantFrameRate = stream.r_frame_rate.num > 0 && stream.avg_frame_rate.num > 0 &&
                             av_cmp_q(stream.r_frame_rate, stream.avg_frame_rate) == 0;
    state->frameTicks = info.frameRate > 0
                            ? std::max<std::int64_t>(1, state->ticks(1.0 / info.frameRate) - state->origin)
                            : 1;
    info.rotation = rotationOf(stream);
    info.codecName = codecName.toStdString();
    if (opened->duration != AV_NOPTS_VALUE && opened->duration > 0)
        info.duration = static_cast<double>(opened->duration) / AV_TIME_BASE;
    else if (stream.duration != AV_NOPTS_VALUE && stream.duration > 0)
        info.duration = static_cast<double>(stream.duration) * av_q2d(stream.time_base);

    // A file whose first picture does not decode is not worth showing at all.
    State::Step step = state->decodeNext();
    if (step == State::Step::hardwareFailed && state->switchToSoftware()) {
        av_seek_frame(opened, stream.index, stream.start_time != AV_NOPTS_VALUE ? stream.start_time : 0,
                      AVSEEK_FLAG_BACKWARD);
        step = state->decodeNext();
    }
    if (step != State::Step::frame)
        return fail(QStringLiteral("no picture in it can be decoded; the file may be damaged"));
    state->firstPts = *state->lastPts;
    const int width = state->context->width;
    const int height = state->context->height;
    const AVRational aspect = av_guess_sample_aspect_ratio(opened, &stream, nullptr);
    const int stretched =
        aspect.num > 0 && aspect.den > 0 ? static_cast<int>(std::lround(width * av_q2d(aspect))) : width;
    const bool sideways = info.rotation == 90 || info.rotation == 270;
    info.width = sideways ? height : width;
    info.height = sideways ? width : height;
    info.displayWidth = sideways ? height : stretched;
    info.displayHeight = sideways ? stretched : height;
    return std::unique_ptr<VideoDecoder>(new VideoDecoder(std::move(state)));
}

const VideoStreamInfo& VideoDecoder::info() const {
    return state_->info;
}

VideoFrame VideoDecoder::frameAt(double seconds) {
    return state_->frameAt(std::max(state_->ticks(seconds), state_->firstPts));
}

VideoFrame VideoDecoder::readyFrameAt(double seconds) const {
    return state_->cache.findPicture(std::max(state_->ticks(seconds), state_->firstPts));
}

bool VideoDecoder::decodeAhead(double position, double aheadSeconds) {
    State& state = *state_;
    if (state.interrupted())
        return false;
    const std::int64_t from = std::max(state.ticks(position), state.firstPts);
    state.cache.setPosition(from);
    // At most half the cache ahead, so that the frames just shown stay for stepping back.
    const std::size_t pictureBytes = static_cast<std::size_t>(state.info.width) * 4 * state.info.height + 1;
    const auto framesAhead =
        std::max<std::int64_t>(2, static_cast<std::int64_t>(state.options.cacheBytes / 2 / pictureBytes));
    const std::int64_t until =
        std::min(state.ticks(position + aheadSeconds), from + framesAhead * state.frameTicks);

    const bool near = state.lastPts && !state.ended && *state.lastPts < until &&
                      *state.lastPts >= from - (state.ticks(forwardWithoutIndexSeconds) - state.origin);
    if (!near) {
        // The decoder is elsewhere (the position came from memory, say) or past the window: the first
        // frame ahead that is not drawn yet, from memory or decoded.
        std::int64_t next = from;
        while (next < until) {
            const auto entry = state.cache.find(next);
            if (!entry || entry->picture.isNull())
                break;
            if (entry->end == VideoFrameCache::openEnd)
                return false;
            next = entry->end;
        }
        if (next >= until)
            return false;
        return !state.frameAt(next).isNull();
    }
    const std::int64_t previous = *state.lastPts;
    const State::Step step = state.decodeNext();
    if (step == State::Step::hardwareFailed)
        state.switchToSoftware();
    if (step != State::Step::frame && step != State::Step::end)
        return false;
    // The frame before is complete now that the next one is known; from the position on, frames are
    // drawn ahead of time.
    if (auto entry = state.cache.find(previous); entry && entry->end > from)
        state.picture(*entry);
    return step == State::Step::frame;
}

void VideoDecoder::setInterruptFlag(const std::atomic<bool>* flag) {
    state_->interrupt = flag;
}

const VideoDecoder::Statistics& VideoDecoder::statistics() const {
    return state_->statistics;
}
