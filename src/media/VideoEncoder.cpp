#include "media/VideoEncoder.h"

#include "media/AvHandle.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

namespace {

const QString outOfMemory = QStringLiteral("there is not enough memory");

} // namespace

struct VideoEncoder::State {
    Settings settings;
    QString path;
    QString partial;
    QString failure;
    bool finished = false;
    int frames = 0;
    std::int64_t soundFrames = 0;

    AvOutputHandle output;
    AvCodecContextHandle video;
    AvCodecContextHandle sound;
    AVStream* videoStream = nullptr;
    AVStream* soundStream = nullptr;
    SwsContextHandle scaler;
    AvFrameHandle picture{av_frame_alloc()};
    AvFrameHandle soundFrame{av_frame_alloc()};
    AvPacketHandle packet{av_packet_alloc()};
    // Interleaved samples not yet a whole frame of the sound encoder.
    std::vector<float> pendingSound;

    bool fail(const QString& reason) {
        failure = reason;
        return false;
    }
    bool openVideo();
    bool openSound();
    bool open();
    bool write(AVCodecContext* encoder, AVStream* stream, const AVFrame* frame);
    bool encodeSound(int frames);
};

bool VideoEncoder::State::openVideo() {
    const bool proRes = settings.codec == Codec::proRes4444;
    const AVCodec* codec = avcodec_find_encoder_by_name(proRes ? "prores_ks" : "libx264");
    if (!codec)
        return fail(proRes ? QStringLiteral("the ProRes encoder is missing from this FFmpeg")
                           : QStringLiteral("the H.264 encoder (libx264) is missing from this FFmpeg"));
    video.reset(avcodec_alloc_context3(codec));
    if (!video)
        return fail(outOfMemory);
    video->width = settings.width;
    video->height = settings.height;
    video->pix_fmt = proRes ? AV_PIX_FMT_YUVA444P10LE : AV_PIX_FMT_YUV420P;
    video->sample_aspect_ratio = {1, 1};
    video->time_base = {1, settings.framesPerSecond};
    video->framerate = {settings.framesPerSecond, 1};
    video->thread_count = settings.threads;
    // The pictures are drawn in sRGB; say so, as HD video does.
    video->color_range = AVCOL_RANGE_MPEG;
    video->color_primaries = AVCOL_PRI_BT709;
    video->color_trc = AVCOL_TRC_BT709;
    video->colorspace = AVCOL_SPC_BT709;
    if (output->oformat->flags & AVFMT_GLOBALHEADER)
        video->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    AVDictionary* options = nullptr;
    if (proRes) {
        video->profile = FF_PROFILE_PRORES_4444;
        av_dict_set(&options, "vendor", "apl0", 0);
    } else {
        // A keyframe every two seconds: an editor or a player seeks quickly in it.
        video->gop_size = 2 * settings.framesPerSecond;
        av_dict_set(&options, "preset", settings.preset.c_str(), 0);
        av_dict_set_int(&options, "crf", settings.crf, 0);
    }
    const int opened = avcodec_open2(video.get(), codec, &options);
    av_dict_free(&options);
    if (opened < 0)
        return fail(QStringLiteral("the video encoder could not be started at %1×%2 (%3)")
                        .arg(settings.width)
                        .arg(settings.height)
                        .arg(avErrorText(opened)));

    picture->format = video->pix_fmt;
    picture->width = settings.width;
    picture->height = settings.height;
    if (av_frame_get_buffer(picture.get(), 0) < 0)
        return fail(outOfMemory);
    scaler.reset(sws_getContext(settings.width, settings.height, AV_PIX_FMT_BGRA, settings.width,
                                settings.height, video->pix_fmt, SWS_BICUBIC, nullptr, nullptr, nullptr));
    if (!scaler)
        return fail(QStringLiteral("the pictures cannot be converted for the encoder"));
    const int* bt709 = sws_getCoefficients(SWS_CS_ITU709);
    sws_setColorspaceDetails(scaler.get(), bt709, 1, bt709, 0, 0, 1 << 16, 1 << 16);

    videoStream = avformat_new_stream(output.get(), nullptr);
    if (!videoStream || avcodec_parameters_from_context(videoStream->codecpar, video.get()) < 0)
        return fail(outOfMemory);
    videoStream->time_base = video->time_base;
    videoStream->avg_frame_rate = video->framerate;
    return true;
}

bool VideoEncoder::State::openSound() {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (!codec)
        return fail(QStringLiteral("the AAC encoder is missing from this FFmpeg"));
    sound.reset(avcodec_alloc_context3(codec));
    if (!sound)
        return fail(outOfMemory);
    sound->sample_fmt = AV_SAMPLE_FMT_FLTP;
    sound->sample_rate = soundRate;
    const AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
    av_channel_layout_copy(&sound->ch_layout, &stereo);
    sound->bit_rate = 192000;
    sound->time_base = {1, soundRate};
    if (output->oformat->flags & AVFMT_GLOBALHEADER)
        sound->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (const int opened = avcodec_open2(sound.get(), codec, nullptr); opened < 0)
        return fail(QStringLiteral("the AAC encoder could not be started (%1)").arg(avErrorText(opened)));
    soundStream = avformat_new_stream(output.get(), nullptr);
    if (!soundStream || avcodec_parameters_from_context(soundStream->codecpar, sound.get()) < 0)
        return fail(outOfMemory);
    soundStream->time_base = sound->time_base;
    return true;
}

bool VideoEncoder::State::open() {
    if (!picture || !soundFrame || !packet)
        return fail(outOfMemory);
    if (settings.width < 16 || settings.height < 16 || settings.width % 2 || settings.height % 2)
        return fail(QStringLiteral("the size %1×%2 cannot be encoded: both sides must be even and at "
                                   "least 16 pixels")
                        .arg(settings.width)
                        .arg(settings.height));
    if (settings.framesPerSecond < 1 || settings.framesPerSecond > 240)
        return fail(QStringLiteral("%1 frames per second cannot be encoded").arg(settings.framesPerSecond));
    const QFileInfo target(path);
    if (!target.absoluteDir().exists())
        return fail(QStringLiteral("the folder %1 does not exist").arg(target.absolutePath()));
    if (target.isDir())
        return fail(QStringLiteral("%1 is a folder").arg(path));

    const bool proRes = settings.codec == Codec::proRes4444;
    const QByteArray name = QFile::encodeName(partial);
    AVFormatContext* made = nullptr;
    if (avformat_alloc_output_context2(&made, nullptr, proRes ? "mov" : "mp4", name.constData()) < 0)
        return fail(outOfMemory);
    output.reset(made);
    if (!openVideo())
        return false;
    if (settings.sound && !proRes && !openSound())
        return false;
    if (const int error = avio_open(&output->pb, name.constData(), AVIO_FLAG_WRITE); error < 0)
        return fail(QStringLiteral("%1 cannot be written (%2)").arg(path, avErrorText(error)));
    AVDictionary* options = nullptr;
    if (!proRes)
        av_dict_set(&options, "movflags", "+faststart", 0);
    const int written = avformat_write_header(output.get(), &options);
    av_dict_free(&options);
    if (written < 0)
        return fail(QStringLiteral("%1 cannot be written (%2)").arg(path, avErrorText(written)));
    return true;
}

// Sends a frame (null to drain) and writes the packets that come out.
bool VideoEncoder::State::write(AVCodecContext* encoder, AVStream* stream, const AVFrame* frame) {
    if (const int sent = avcodec_send_frame(encoder, frame); sent < 0)
        return fail(QStringLiteral("the encoder refused a frame (%1)").arg(avErrorText(sent)));
    for (;;) {
        const int received = avcodec_receive_packet(encoder, packet.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF)
            return true;
        if (received < 0)
            return fail(QStringLiteral("the encoder failed (%1)").arg(avErrorText(received)));
        av_packet_rescale_ts(packet.get(), encoder->time_base, stream->time_base);
        packet->stream_index = stream->index;
        if (const int error = av_interleaved_write_frame(output.get(), packet.get()); error < 0)
            return fail(QStringLiteral("%1 cannot be written (%2)").arg(path, avErrorText(error)));
    }
}

// Encodes the first `count` pending sample frames, at most one encoder frame's worth.
bool VideoEncoder::State::encodeSound(int count) {
    av_frame_unref(soundFrame.get());
    soundFrame->format = sound->sample_fmt;
    soundFrame->sample_rate = soundRate;
    soundFrame->nb_samples = count;
    av_channel_layout_copy(&soundFrame->ch_layout, &sound->ch_layout);
    if (av_frame_get_buffer(soundFrame.get(), 0) < 0)
        return fail(outOfMemory);
    for (int channel = 0; channel < soundChannels; ++channel) {
        auto* plane = reinterpret_cast<float*>(soundFrame->data[channel]);
        for (int i = 0; i < count; ++i)
            plane[i] = pendingSound[std::size_t(i) * soundChannels + std::size_t(channel)];
    }
    soundFrame->pts = soundFrames;
    soundFrames += count;
    pendingSound.erase(pendingSound.begin(), pendingSound.begin() + std::ptrdiff_t(count) * soundChannels);
    return write(sound.get(), soundStream, soundFrame.get());
}

VideoEncoder::VideoEncoder(std::unique_ptr<State> state) : state_(std::move(state)) {}

VideoEncoder::~VideoEncoder() {
    if (state_->finished)
        return;
    // Closing the file before removing it; the index is never written.
    state_->output.reset();
    QFile::remove(state_->partial);
}

QString VideoEncoder::partialPath(const QString& path) {
    const QFileInfo target(path);
    return target.absoluteDir().filePath(QStringLiteral(".") + target.fileName() + QStringLiteral(".part"));
}

std::unique_ptr<VideoEncoder> VideoEncoder::open(const QString& path, const Settings& settings,
                                                 QString* failure) {
    silenceFfmpegLogging();
    auto state = std::make_unique<State>();
    state->settings = settings;
    state->path = path;
    state->partial = partialPath(path);
    std::unique_ptr<VideoEncoder> encoder(new VideoEncoder(std::move(state)));
    if (!encoder->state_->open()) {
        if (failure)
            *failure = encoder->state_->failure;
        return nullptr;
    }
    return encoder;
}

const VideoEncoder::Settings& VideoEncoder::settings() const {
    return state_->settings;
}

bool VideoEncoder::addFrame(const std::uint8_t* pixels, int stride) {
    State& s = *state_;
    if (av_frame_make_writable(s.picture.get()) < 0)
        return s.fail(outOfMemory);
    const std::uint8_t* source[4] = {pixels, nullptr, nullptr, nullptr};
    const int strides[4] = {stride, 0, 0, 0};
    sws_scale(s.scaler.get(), source, strides, 0, s.settings.height, s.picture->data, s.picture->linesize);
    s.picture->pts = s.frames;
    if (!s.write(s.video.get(), s.videoStream, s.picture.get()))
        return false;
    ++s.frames;
    return true;
}

bool VideoEncoder::addSound(const float* samples, std::int64_t frames) {
    State& s = *state_;
    if (!s.sound)
        return true;
    s.pendingSound.insert(s.pendingSound.end(), samples, samples + frames * soundChannels);
    const int frameSize = s.sound->frame_size > 0 ? s.sound->frame_size : 1024;
    while (s.pendingSound.size() >= std::size_t(frameSize) * soundChannels)
        if (!s.encodeSound(frameSize))
            return false;
    return true;
}

bool VideoEncoder::finish() {
    State& s = *state_;
    if (s.sound) {
        if (!s.pendingSound.empty() && !s.encodeSound(int(s.pendingSound.size() / soundChannels)))
            return false;
        if (!s.write(s.sound.get(), s.soundStream, nullptr))
            return false;
    }
    if (!s.write(s.video.get(), s.videoStream, nullptr))
        return false;
    // The index goes to the front here, which reads the whole file once more.
    if (const int error = av_write_trailer(s.output.get()); error < 0)
        return s.fail(QStringLiteral("%1 cannot be written (%2)").arg(s.path, avErrorText(error)));
    if (const int error = avio_closep(&s.output->pb); error < 0)
        return s.fail(QStringLiteral("%1 cannot be written (%2)").arg(s.path, avErrorText(error)));
    s.output.reset();
    std::error_code renamed;
    std::filesystem::rename(QFile::encodeName(s.partial).toStdString(),
                            QFile::encodeName(s.path).toStdString(), renamed);
    if (renamed)
        return s.fail(QStringLiteral("%1 cannot be written (%2)")
                          .arg(s.path, QString::fromStdString(renamed.message())));
    s.finished = true;
    return true;
}

int VideoEncoder::framesWritten() const {
    return state_->frames;
}

const QString& VideoEncoder::failure() const {
    return state_->failure;
}
