#include "media/VideoProxyJob.h"

#include "core/FatalError.h"
#include "media/AvHandle.h"
#include "media/VideoDecoder.h"
#include "media/VideoProxyStore.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <system_error>

extern "C" {
#include <libavutil/opt.h>
}

namespace {

// Decoding errors in a row after which the rest of the stream counts as unreadable, as for playback.
constexpr int errorsInARow = 64;
// Packets read between two looks at whether the original changed.
constexpr int packetsBetweenChecks = 64;

const QString originalChangedFailure = QStringLiteral("the file changed while its proxy was being made");

QString writeFailure(int error) {
    return QStringLiteral("the proxy cannot be written (%1)").arg(avErrorText(error));
}

// The nearest even number, at least 2: H.264 in 4:2:0 wants even sizes.
int even(double value) {
    return std::max(2, static_cast<int>(std::lround(value / 2)) * 2);
}

int interrupted(void* flag) {
    return static_cast<const std::atomic<bool>*>(flag)->load(std::memory_order_relaxed) ? 1 : 0;
}

} // namespace

struct VideoProxyJob::Transcode {
    explicit Transcode(VideoProxyJob& job)
        : job(job), threads(job.settings_.threads > 0 ? job.settings_.threads
                                                      : std::max(1, QThread::idealThreadCount())) {
        const QFileInfo original(job.original_);
        originalSize = original.size();
        originalModified = original.lastModified();
    }

    VideoProxyJob& job;
    const int threads;
    QString failure;
    QString warning;
    // The proxy stands for the original as it was when the job began.
    qint64 originalSize = 0;
    QDateTime originalModified;

    AvFormatContextHandle input;
    AVStream* video = nullptr;
    AVStream* sound = nullptr;
    AvCodecContextHandle decoder;
    // In the video's time base: where the decoder's time 0 is, and one frame at the nominal rate.
    std::int64_t origin = 0;
    std::int64_t soundOrigin = 0;
    std::int64_t frameTicks = 1;
    // Where the file ends, in the video's time base; none when the container does not say.
    std::optional<std::int64_t> end;
    AVRational frameRate{0, 1};
    double durationSeconds = 0.0;
    int width = 0;
    int height = 0;

    AvOutputHandle output;
    AVStream* videoOut = nullptr;
    AVStream* soundOut = nullptr;
    AvCodecContextHandle encoder;
    SwsContextHandle scaler;

    AvPacketHandle packet{av_packet_alloc()};
    AvPacketHandle encoded{av_packet_alloc()};
    AvFrameHandle decoded{av_frame_alloc()};
    AvFrameHandle scaled{av_frame_alloc()};
    std::optional<std::int64_t> lastPts;
    // Durations of the frames sent to the encoder by their times; the muxer needs the last one's.
    std::map<std::int64_t, std::int64_t> durations;
    int errors = 0;
    bool unreadable = false;
    int frames = 0;

    bool fail(const QString& reason) {
        failure = reason;
        return false;
    }
    bool cancelled() const { return job.cancelled_.load(std::memory_order_relaxed); }
    bool originalChanged() const {
        const QFileInfo now(job.original_);
        return !now.exists() || now.size() != originalSize || now.lastModified() != originalModified;
    }
    bool failAsPlaybackWould();
    bool openInput();
    bool openOutput(const QString& path);
    bool decode(const AVPacket* sent);
    bool scaleAndEncode(const AVFrame& frame);
    bool encode(const AVFrame* frame);
    bool copySound(AVPacket& copied);
    void updateProgress();
    bool make(const QString& path);
};

// The reason playback gives for a file that will not play, so that the user reads the same words.
bool VideoProxyJob::Transcode::failAsPlaybackWould() {
    VideoDecoder::Options options;
    options.threads = 1;
    options.allowHardware = false;
    QString reason;
    if (VideoDecoder::open(job.original_, options, &reason) || reason.isEmpty())
        reason = QStringLiteral("no picture in it can be decoded; the file may be damaged");
    return fail(reason);
}

bool VideoProxyJob::Transcode::openInput() {
    if (!packet || !encoded || !decoded || !scaled)
        return fail(QStringLiteral("there is not enough memory"));
    AVFormatContext* opened = avformat_alloc_context();
    if (!opened)
        return fail(QStringLiteral("there is not enough memory"));
    // Cancelling stops a read that waits for a slow disk.
    opened->interrupt_callback = {interrupted, &job.cancelled_};
    if (avformat_open_input(&opened, QFile::encodeName(job.original_).constData(), nullptr, nullptr) < 0)
        return failAsPlaybackWould();
    input.reset(opened);
    avformat_find_stream_info(opened, nullptr);

    // The streams playback uses: the first video stream that decodes, and the first sound.
    for (unsigned i = 0; i < opened->nb_streams; ++i) {
        AVStream* stream = opened->streams[i];
        const AVMediaType type = stream->codecpar->codec_type;
        if (!video && type == AVMEDIA_TYPE_VIDEO && !(stream->disposition & AV_DISPOSITION_ATTACHED_PIC) &&
            avcodec_find_decoder(stream->codecpar->codec_id))
            video = stream;
        else if (!sound && type == AVMEDIA_TYPE_AUDIO)
            sound = stream;
        else
            stream->discard = AVDISCARD_ALL;
    }
    if (!video)
        return failAsPlaybackWould();

    const AVCodec* codec = avcodec_find_decoder(video->codecpar->codec_id);
    decoder.reset(avcodec_alloc_context3(codec));
    if (!decoder || avcodec_parameters_to_context(decoder.get(), video->codecpar) < 0)
        return fail(QStringLiteral("there is not enough memory"));
    decoder->pkt_timebase = video->time_base;
    decoder->thread_count = threads;
    decoder->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
    if (avcodec_open2(decoder.get(), codec, nullptr) < 0)
        return failAsPlaybackWould();

    // Times count as playback counts them: transport streams from their first timestamp, other
    // containers from zero.
    if ((opened->iformat->flags & AVFMT_TS_DISCONT) && opened->start_time != AV_NOPTS_VALUE)
        origin = av_rescale_q(opened->start_time, AV_TIME_BASE_Q, video->time_base);
    if (sound)
        soundOrigin = av_rescale_q(origin, video->time_base, sound->time_base);
    frameRate = av_guess_frame_rate(opened, video, nullptr);
    if (frameRate.num > 0 && frameRate.den > 0)
        frameTicks = std::max<std::int64_t>(1, av_rescale_q(1, av_inv_q(frameRate), video->time_base));
    if (opened->duration != AV_NOPTS_VALUE && opened->duration > 0) {
        durationSeconds = static_cast<double>(opened->duration) / AV_TIME_BASE;
        // Playback takes the duration to count from its time 0, as QuickTime's does.
        end = origin + av_rescale_q(opened->duration, AV_TIME_BASE_Q, video->time_base);
    } else if (video->duration != AV_NOPTS_VALUE && video->duration > 0)
        durationSeconds = static_cast<double>(video->duration) * av_q2d(video->time_base);

    // Square pixels at the width asked for, the picture's shape on screen kept.
    if (decoder->width <= 0 || decoder->height <= 0)
        return failAsPlaybackWould();
    const AVRational aspect = av_guess_sample_aspect_ratio(opened, video, nullptr);
    const double shownWidth =
        aspect.num > 0 && aspect.den > 0 ? decoder->width * av_q2d(aspect) : decoder->width;
    width = even(std::min<double>(job.settings_.width, shownWidth));
    height = even(width * decoder->height / shownWidth);
    return true;
}

bool VideoProxyJob::Transcode::openOutput(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    AVFormatContext* made = nullptr;
    // QuickTime rather than MP4: it holds the sound of every camera, PCM included.
    if (avformat_alloc_output_context2(&made, nullptr, "mov", name.constData()) < 0)
        return fail(QStringLiteral("there is not enough memory"));
    output.reset(made);

    const AVCodec* x264 = avcodec_find_encoder_by_name("libx264");
    if (!x264)
        return fail(QStringLiteral("the H.264 encoder (libx264) is missing from this FFmpeg"));
    encoder.reset(avcodec_alloc_context3(x264));
    if (!encoder)
        return fail(QStringLiteral("there is not enough memory"));
    encoder->width = width;
    encoder->height = height;
    encoder->pix_fmt = AV_PIX_FMT_YUV420P;
    encoder->sample_aspect_ratio = {1, 1};
    // The original's clock, so that every frame keeps its time to the tick.
    encoder->time_base = video->time_base;
    encoder->framerate = frameRate;
    encoder->gop_size = job.settings_.gop;
    // Without B-frames a seek decodes no frame that is not shown on the way.
    encoder->max_b_frames = 0;
    encoder->thread_count = threads;
    encoder->thread_type = FF_THREAD_FRAME;
    encoder->color_range = AVCOL_RANGE_MPEG;
    encoder->color_primaries = decoder->color_primaries;
    encoder->color_trc = decoder->color_trc;
    encoder->colorspace = decoder->colorspace;
    if (output->oformat->flags & AVFMT_GLOBALHEADER)
        encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "preset", job.settings_.preset.c_str(), 0);
    av_dict_set_int(&options, "crf", job.settings_.crf, 0);
    const int opened = avcodec_open2(encoder.get(), x264, &options);
    av_dict_free(&options);
    if (opened < 0)
        return fail(QStringLiteral("the H.264 encoder could not be started (%1)").arg(avErrorText(opened)));

    scaled->format = AV_PIX_FMT_YUV420P;
    scaled->width = width;
    scaled->height = height;
    if (av_frame_get_buffer(scaled.get(), 0) < 0)
        return fail(QStringLiteral("there is not enough memory"));

    videoOut = avformat_new_stream(output.get(), nullptr);
    if (!videoOut || avcodec_parameters_from_context(videoOut->codecpar, encoder.get()) < 0)
        return fail(QStringLiteral("there is not enough memory"));
    videoOut->time_base = encoder->time_base;
    videoOut->avg_frame_rate = frameRate;
    std::size_t matrixSize = 0;
    if (const std::uint8_t* matrix = av_stream_get_side_data(video, AV_PKT_DATA_DISPLAYMATRIX, &matrixSize)) {
        if (std::uint8_t* copy = av_stream_new_side_data(videoOut, AV_PKT_DATA_DISPLAYMATRIX, matrixSize))
            std::memcpy(copy, matrix, matrixSize);
    }

    if (sound &&
        avformat_query_codec(output->oformat, sound->codecpar->codec_id, FF_COMPLIANCE_NORMAL) == 1) {
        soundOut = avformat_new_stream(output.get(), nullptr);
        if (!soundOut || avcodec_parameters_copy(soundOut->codecpar, sound->codecpar) < 0)
            return fail(QStringLiteral("there is not enough memory"));
        soundOut->codecpar->codec_tag = 0;
        soundOut->time_base = sound->time_base;
    } else if (sound) {
        warning = QStringLiteral("the proxy plays without sound: its sound (%1) cannot be copied into it")
                      .arg(QString::fromUtf8(avcodec_get_name(sound->codecpar->codec_id)));
        sound->discard = AVDISCARD_ALL;
    }

    if (int error = avio_open(&output->pb, name.constData(), AVIO_FLAG_WRITE); error < 0)
        return fail(writeFailure(error));
    if (int error = avformat_write_header(output.get(), nullptr); error < 0)
        return fail(writeFailure(error));
    return true;
}

// Sends one packet to the decoder (null to drain it) and encodes the frames that come out. False only
// when the proxy cannot be written; a broken frame is left out, as playback leaves it out.
bool VideoProxyJob::Transcode::decode(const AVPacket* sent) {
    if (const int result = avcodec_send_packet(decoder.get(), sent); result < 0 && result != AVERROR_EOF)
        unreadable = unreadable || ++errors > errorsInARow;
    for (;;) {
        const int result = avcodec_receive_frame(decoder.get(), decoded.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF)
            return true;
        if (result < 0) {
            if (++errors > errorsInARow) {
                unreadable = true;
                return true;
            }
            continue;
        }
        errors = 0;
        const bool encodedWell = scaleAndEncode(*decoded);
        av_frame_unref(decoded.get());
        if (!encodedWell)
            return false;
    }
}

bool VideoProxyJob::Transcode::scaleAndEncode(const AVFrame& frame) {
    // The frame's time as playback reads it from the original.
    std::int64_t pts = frame.best_effort_timestamp;
    if (pts == AV_NOPTS_VALUE) {
        if (!lastPts)
            return true;
        pts = *lastPts + std::max<std::int64_t>(frame.pkt_duration, 1);
    }
    // Playback gives a frame whose time does not advance no time on screen, so the proxy leaves it out.
    if (lastPts && pts <= *lastPts)
        return true;
    lastPts = pts;

    scaler.reset(sws_getCachedContext(scaler.release(), frame.width, frame.height,
                                      static_cast<AVPixelFormat>(frame.format), width, height,
                                      AV_PIX_FMT_YUV420P, SWS_BICUBIC, nullptr, nullptr, nullptr));
    if (!scaler)
        return fail(QStringLiteral("its pictures cannot be scaled"));
    if (frame.color_range == AVCOL_RANGE_JPEG) {
        // Full-range pictures in a format that does not say so: the proxy is tagged limited range.
        int* inverse = nullptr;
        int* table = nullptr;
        int sourceRange = 0, targetRange = 0, brightness = 0, contrast = 0, saturation = 0;
        if (sws_getColorspaceDetails(scaler.get(), &inverse, &sourceRange, &table, &targetRange, &brightness,
                                     &contrast, &saturation) >= 0 &&
            !sourceRange)
            sws_setColorspaceDetails(scaler.get(), inverse, 1, table, 0, brightness, contrast, saturation);
    }
    // The encoder may still hold the previous picture.
    if (av_frame_make_writable(scaled.get()) < 0)
        return fail(QStringLiteral("there is not enough memory"));
    sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, scaled->data, scaled->linesize);
    scaled->pts = pts - origin;
    scaled->pict_type = AV_PICTURE_TYPE_NONE;
    durations[scaled->pts] = frame.pkt_duration > 0 ? frame.pkt_duration : frameTicks;
    ++frames;
    return encode(scaled.get());
}

// Sends one picture to the encoder (null to drain it) and writes the packets that come out.
bool VideoProxyJob::Transcode::encode(const AVFrame* frame) {
    if (const int sent = avcodec_send_frame(encoder.get(), frame); sent < 0 && sent != AVERROR_EOF)
        return fail(QStringLiteral("the proxy could not be encoded (%1)").arg(avErrorText(sent)));
    for (;;) {
        const int received = avcodec_receive_packet(encoder.get(), encoded.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF)
            return true;
        if (received < 0)
            return fail(QStringLiteral("the proxy could not be encoded (%1)").arg(avErrorText(received)));
        if (const auto duration = durations.find(encoded->pts); duration != durations.end()) {
            encoded->duration = duration->second;
            durations.erase(durations.begin(), std::next(duration));
        }
        av_packet_rescale_ts(encoded.get(), encoder->time_base, videoOut->time_base);
        encoded->stream_index = videoOut->index;
        if (const int written = av_interleaved_write_frame(output.get(), encoded.get()); written < 0)
            return fail(writeFailure(written));
    }
}

bool VideoProxyJob::Transcode::copySound(AVPacket& copied) {
    if (copied.pts != AV_NOPTS_VALUE)
        copied.pts -= soundOrigin;
    if (copied.dts != AV_NOPTS_VALUE)
        copied.dts -= soundOrigin;
    av_packet_rescale_ts(&copied, sound->time_base, soundOut->time_base);
    copied.stream_index = soundOut->index;
    copied.pos = -1;
    if (const int written = av_interleaved_write_frame(output.get(), &copied); written < 0)
        return fail(writeFailure(written));
    return true;
}

void VideoProxyJob::Transcode::updateProgress() {
    double done = 0.0;
    if (durationSeconds > 0 && lastPts) {
        done = static_cast<double>(*lastPts - origin) * av_q2d(video->time_base) / durationSeconds;
    } else if (input->pb) {
        const std::int64_t size = avio_size(input->pb);
        done = size > 0 ? static_cast<double>(avio_tell(input->pb)) / static_cast<double>(size) : 0.0;
    }
    // 1 only once the proxy is in place.
    job.progress_.store(std::clamp(done, 0.0, 0.99), std::memory_order_relaxed);
}

bool VideoProxyJob::Transcode::make(const QString& path) {
    if (!openInput() || cancelled() || !openOutput(path))
        return false;
    for (int packets = 1;; ++packets) {
        if (cancelled())
            return false;
        if (packets % packetsBetweenChecks == 0 && originalChanged())
            return fail(originalChangedFailure);
        // A read error is where a damaged or cut file ends for playback too.
        if (av_read_frame(input.get(), packet.get()) < 0)
            break;
        bool written = true;
        if (packet->stream_index == video->index)
            written = decode(packet.get());
        else if (soundOut && packet->stream_index == sound->index)
            written = copySound(*packet);
        av_packet_unref(packet.get());
        if (!written)
            return false;
        updateProgress();
        if (unreadable)
            break;
    }
    if (cancelled() || !decode(nullptr) || cancelled())
        return false;
    if (frames == 0)
        return failAsPlaybackWould();
    // The last frame lasts until the file ends, so that the proxy is as long as the original. Packet
    // durations say how long a frame lasts in decoding order, which is not the last one shown.
    if (end && *end > *lastPts)
        durations[*lastPts - origin] = *end - *lastPts;
    if (!encode(nullptr))
        return false;
    if (const int error = av_write_trailer(output.get()); error < 0)
        return fail(writeFailure(error));
    // Closing flushes the last bytes, which may not fit on the disk.
    if (const int error = avio_closep(&output->pb); error < 0)
        return fail(writeFailure(error));
    if (originalChanged())
        return fail(originalChangedFailure);
    return true;
}

VideoProxyJob::VideoProxyJob(const QString& original, const QString& proxy, const Settings& settings)
    : original_(original), proxy_(proxy), settings_(settings) {}

VideoProxyJob::VideoProxyJob(const QString& original, const QString& proxy)
    : VideoProxyJob(original, proxy, Settings()) {}

VideoProxyJob::~VideoProxyJob() {
    cancel();
    wait();
}

void VideoProxyJob::start(std::function<void(Outcome)> done) {
    if (worker_.joinable())
        fatalError("VideoProxyJob started twice");
    worker_ = std::thread([this, done = std::move(done)] {
        const Outcome outcome = run();
        if (done)
            done(outcome);
    });
}

void VideoProxyJob::cancel() {
    cancelled_.store(true, std::memory_order_relaxed);
}

void VideoProxyJob::wait() {
    if (worker_.joinable() && worker_.get_id() != std::this_thread::get_id())
        worker_.join();
}

VideoProxyJob::Outcome VideoProxyJob::run() {
    if (ran_.exchange(true))
        fatalError("VideoProxyJob run twice");
    silenceFfmpegLogging();
    const QString partial = VideoProxyStore::partialPath(proxy_);

    bool made = false;
    QString failure;
    if (!QDir().mkpath(QFileInfo(proxy_).path())) {
        failure = QStringLiteral("the folder %1 cannot be made").arg(QFileInfo(proxy_).path());
    } else {
        Transcode transcode(*this);
        made = transcode.make(partial);
        failure = transcode.failure;
        warning_ = transcode.warning;
    }
    // Cancelled as the work ended: no proxy all the same. A cancel after the rename is too late, and
    // the proxy is there, whole.
    if (made && cancelled_.load())
        made = false;
    if (made) {
        std::error_code error;
        std::filesystem::rename(QFile::encodeName(partial).toStdString(),
                                QFile::encodeName(proxy_).toStdString(), error);
        if (error) {
            made = false;
            failure = QStringLiteral("the proxy cannot be written (%1)")
                          .arg(QString::fromStdString(error.message()));
        }
    }
    Outcome outcome = Outcome::finished;
    if (made) {
        progress_.store(1.0, std::memory_order_relaxed);
    } else {
        QFile::remove(partial);
        outcome = cancelled_.load() ? Outcome::cancelled : Outcome::failed;
    }
    failure_ = outcome == Outcome::failed ? failure : QString();
    outcome_.store(outcome, std::memory_order_release);
    return outcome;
}
