// The video decoder on a 1080p25 H.264 clip with a one-second GOP and B-frames, made once by the
// ffmpeg program under build/bench-data/video. Each figure is printed next to its peer from the same
// run:
//  - an exact seek to a random frame (one per GOP, in random order), against plain libavcodec
//    decoding from the keyframe before that frame up to it (the floor of any exact seek), and against
//    `ffmpeg -ss T -i FILE -frames:v 1 -f null -` per frame;
//  - stepping back one frame after playing a second forward;
//  - frames per second while playing through the clip as fast as frames come, against
//    `ffmpeg -threads N -i FILE -f null -` with the same number of decoding threads.
//
//   video_seek [--data-dir DIR]

#include "BenchVideo.h"
#include "media/AvHandle.h"
#include "media/VideoDecoder.h"
#include "media/VideoDecoderThread.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QProcess>
#include <QThread>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

using BenchVideo::clipSeconds;
using BenchVideo::frameRate;

double milliseconds(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Every frame's presentation time in display order, and the keyframe each one decodes from.
struct FrameTable {
    AVRational timeBase{1, 1};
    std::vector<std::int64_t> pts;
    std::vector<std::int64_t> keyframe;

    static FrameTable scan(const QString& path) {
        FrameTable table;
        AVFormatContext* raw = nullptr;
        if (avformat_open_input(&raw, QFile::encodeName(path).constData(), nullptr, nullptr) < 0)
            return table;
        AvFormatContextHandle format(raw);
        avformat_find_stream_info(raw, nullptr);
        const int stream = av_find_best_stream(raw, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
        table.timeBase = raw->streams[stream]->time_base;
        std::vector<std::int64_t> keyframes;
        AvPacketHandle packet(av_packet_alloc());
        while (av_read_frame(raw, packet.get()) >= 0) {
            if (packet->stream_index == stream) {
                table.pts.push_back(packet->pts);
                if (packet->flags & AV_PKT_FLAG_KEY)
                    keyframes.push_back(packet->pts);
            }
            av_packet_unref(packet.get());
        }
        std::sort(table.pts.begin(), table.pts.end());
        for (std::int64_t pts : table.pts)
            table.keyframe.push_back(*std::prev(std::upper_bound(keyframes.begin(), keyframes.end(), pts)));
        return table;
    }

    double seconds(std::size_t frame) const { return static_cast<double>(pts[frame]) * av_q2d(timeBase); }
};

// Plain libavcodec with the decoder's thread settings: seek to the keyframe, decode until the frame
// comes out. No conversion, no cache, nothing else.
class PlainDecoder {
public:
    PlainDecoder(const QString& path, int threads) {
        AVFormatContext* raw = nullptr;
        avformat_open_input(&raw, QFile::encodeName(path).constData(), nullptr, nullptr);
        format_.reset(raw);
        avformat_find_stream_info(raw, nullptr);
        stream_ = av_find_best_stream(raw, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
        const AVCodec* codec = avcodec_find_decoder(raw->streams[stream_]->codecpar->codec_id);
        context_.reset(avcodec_alloc_context3(codec));
        avcodec_parameters_to_context(context_.get(), raw->streams[stream_]->codecpar);
        context_->thread_count = threads;
        context_->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
        avcodec_open2(context_.get(), codec, nullptr);
    }

    bool decodeTo(std::int64_t keyframe, std::int64_t target) {
        av_seek_frame(format_.get(), stream_, keyframe, AVSEEK_FLAG_BACKWARD);
        avcodec_flush_buffers(context_.get());
        bool draining = false;
        for (;;) {
            const int received = avcodec_receive_frame(context_.get(), frame_.get());
            if (received == 0) {
                const bool found = frame_->best_effort_timestamp == target;
                av_frame_unref(frame_.get());
                if (found)
                    return true;
                continue;
            }
            if (received == AVERROR_EOF || draining)
                return false;
            if (av_read_frame(format_.get(), packet_.get()) < 0) {
                avcodec_send_packet(context_.get(), nullptr);
                draining = true;
                continue;
            }
            if (packet_->stream_index == stream_)
                avcodec_send_packet(context_.get(), packet_.get());
            av_packet_unref(packet_.get());
        }
    }

private:
    AvFormatContextHandle format_;
    AvCodecContextHandle context_;
    AvPacketHandle packet_{av_packet_alloc()};
    AvFrameHandle frame_{av_frame_alloc()};
    int stream_ = 0;
};

double runFfmpeg(const QStringList& arguments) {
    QProcess ffmpeg;
    const auto begin = Clock::now();
    ffmpeg.start("ffmpeg", arguments);
    ffmpeg.waitForFinished(-1);
    const double elapsed = milliseconds(begin, Clock::now());
    if (ffmpeg.exitCode() != 0)
        std::fprintf(stderr, "ffmpeg %s failed\n", qPrintable(arguments.join(' ')));
    return elapsed;
}

// Waits for the exact frame of a request the thread could not answer at once.
VideoFrame exactFrame(VideoDecoderThread& thread, double seconds, bool* atOnce = nullptr) {
    VideoDecoderThread::Answer answer = thread.request(seconds);
    if (atOnce)
        *atOnce = answer.exact;
    if (answer.exact)
        return answer.frame;
    VideoFrame ready;
    QEventLoop loop;
    QObject::connect(&thread, &VideoDecoderThread::frameReady, &loop, [&](const VideoFrame& frame) {
        ready = frame;
        loop.quit();
    });
    loop.exec();
    return ready;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QString dataDir = QStringLiteral(WAKELINE_BENCH_DATA);
    const QStringList arguments = QCoreApplication::arguments();
    if (const qsizetype at = arguments.indexOf("--data-dir"); at > 0 && at + 1 < arguments.size())
        dataDir = arguments[at + 1];
    const QString clip = BenchVideo::clip(dataDir);
    if (clip.isEmpty())
        return 1;

    const int threads = std::max(1, QThread::idealThreadCount());
    std::string cpu = "unknown CPU";
    std::ifstream cpuinfo("/proc/cpuinfo");
    for (std::string line; std::getline(cpuinfo, line);)
        if (line.rfind("model name", 0) == 0) {
            cpu = line.substr(line.find(':') + 2);
            break;
        }
    std::printf("%s, %d decoding threads\n", cpu.c_str(), threads);

    const FrameTable table = FrameTable::scan(clip);
    const std::size_t frames = table.pts.size();
    if (frames < static_cast<std::size_t>(frameRate * 2)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(clip));
        return 1;
    }
    // One frame in each GOP, the GOPs in random order: what one seek costs when nothing near it has
    // been decoded yet.
    std::mt19937 random(20240601);
    std::vector<std::size_t> targets;
    for (std::size_t gop = 0; gop + frameRate <= frames; gop += frameRate)
        targets.push_back(gop + std::uniform_int_distribution<std::size_t>(0, frameRate - 1)(random));
    std::shuffle(targets.begin(), targets.end(), random);

    VideoDecoder::Options options;
    options.threads = threads;
    QString failure;
    auto decoder = VideoDecoder::open(clip, options, &failure);
    if (!decoder) {
        std::fprintf(stderr, "cannot open %s: %s\n", qPrintable(clip), qPrintable(failure));
        return 1;
    }
    PlainDecoder plain(clip, threads);
    std::vector<double> ours, lowerBound, program;
    int wrong = 0;
    for (std::size_t target : targets) {
        auto begin = Clock::now();
        if (!plain.decodeTo(table.keyframe[target], table.pts[target]))
            ++wrong;
        lowerBound.push_back(milliseconds(begin, Clock::now()));

        begin = Clock::now();
        const VideoFrame frame = decoder->frameAt(table.seconds(target));
        ours.push_back(milliseconds(begin, Clock::now()));
        if (frame.isNull() || std::abs(frame.time() - table.seconds(target)) > 1e-6)
            ++wrong;

        program.push_back(runFfmpeg({"-v", "error", "-ss", QString::number(table.seconds(target), 'f', 6),
                                     "-i", clip, "-frames:v", "1", "-f", "null", "-"}));
    }
    std::printf("\nExact seek to a random frame, %zu frames in %zu GOPs (median):\n", targets.size(),
                targets.size());
    std::printf("  VideoDecoder::frameAt (decoded, converted to RGB)  %8.2f ms\n", median(ours));
    std::printf(
        "  plain libavcodec from the keyframe (lower bound)   %8.2f ms   ratio %.2f x (goal <= 1.3)\n",
        median(lowerBound), median(ours) / median(lowerBound));
    std::printf("  ffmpeg -ss T -i FILE -frames:v 1 -f null -        %8.2f ms   %.1f x faster (goal >= 5)\n",
                median(program), median(program) / median(ours));
    if (wrong > 0)
        std::printf("  %d answers were not the frame asked for\n", wrong);
    decoder.reset();

    // Stepping back after playing: a second of playing forward from a random point, then one frame
    // back, on the decoding thread the view uses.
    std::vector<double> stepBack;
    int fromMemory = 0;
    {
        VideoDecoderThread thread(clip, options);
        const double frameSeconds = 1.0 / frameRate;
        for (int sample = 0; sample < 15; ++sample) {
            const std::size_t start =
                std::uniform_int_distribution<std::size_t>(0, frames - 2 * frameRate)(random);
            thread.setPlaying(true);
            double at = table.seconds(start);
            for (int k = 0; k < frameRate; ++k, at += frameSeconds)
                exactFrame(thread, at);
            thread.setPlaying(false);
            bool atOnce = false;
            const auto begin = Clock::now();
            const VideoFrame back = exactFrame(thread, at - 2 * frameSeconds, &atOnce);
            stepBack.push_back(milliseconds(begin, Clock::now()));
            fromMemory += atOnce ? 1 : 0;
            if (back.isNull())
                std::printf("  no frame stepping back at %.3f s\n", at);
        }
    }
    std::printf(
        "\nStep back one frame after playing one second (median of %zu): %.3f ms, %d answered from memory "
        "(goal <= 5 ms)\n",
        stepBack.size(), median(stepBack), fromMemory);

    // Playing through the clip as fast as the frames come, each one drawn, against the ffmpeg
    // program decoding it with the same threads. Rounds alternate and the best of each counts, so
    // that other work on the machine weighs on both alike.
    constexpr int rounds = 3;
    double playing = 0.0;
    double programRate = 0.0;
    for (int round = 0; round < rounds; ++round) {
        {
            VideoDecoderThread thread(clip, options);
            exactFrame(thread, 0.0);
            thread.setPlaying(true);
            const auto begin = Clock::now();
            for (std::size_t k = 1; k < frames; ++k)
                exactFrame(thread, table.seconds(k));
            playing = std::max(playing, static_cast<double>(frames - 1) /
                                            (milliseconds(begin, Clock::now()) / 1000.0));
        }
        const double programMs =
            runFfmpeg({"-v", "error", "-threads", QString::number(threads), "-i", clip, "-f", "null", "-"});
        programRate = std::max(programRate, static_cast<double>(frames) / (programMs / 1000.0));
    }
    std::printf("\nPlaying 1080p25 H.264, %zu frames (best of %d alternating rounds):\n", frames, rounds);
    std::printf("  VideoDecoderThread, every frame drawn       %7.1f frames/s\n", playing);
    std::printf(
        "  ffmpeg -threads %d -i FILE -f null -         %7.1f frames/s   ratio %.2f x (goal >= 0.9)\n",
        threads, programRate, playing / programRate);
    return 0;
}
