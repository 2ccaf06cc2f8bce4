// The proxy of a 4K30 HEVC clip with AAC sound (testsrc2 with grain, made once by the ffmpeg program
// under build/bench-data/video), against the ffmpeg program making the same proxy: libx264 veryfast,
// crf 23, GOP 12, no B-frames, scaled to 960 wide with bicubic filtering, the frames' own times, the
// sound copied, the same threads for decoding and encoding. Rounds alternate and the best of each
// counts, so that other work on the machine weighs on both alike.
//
//   video_proxy [--data-dir DIR] [--rounds N]

#include "media/VideoDecoder.h"
#include "media/VideoProxyJob.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <limits>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int clipSeconds = 4;

double seconds(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double>(to - from).count();
}

bool makeClip(const QString& path) {
    QDir().mkpath(QFileInfo(path).path());
    std::printf("Making %s (3840x2160 30 fps HEVC with AAC sound, %d s) once...\n", qPrintable(path),
                clipSeconds);
    std::fflush(stdout);
    // Grain moving from frame to frame: the bit rate of a camera, not of a still slide.
    QProcess ffmpeg;
    ffmpeg.start("ffmpeg", {"-v",
                            "error",
                            "-y",
                            "-f",
                            "lavfi",
                            "-i",
                            QString("testsrc2=s=3840x2160:r=30:d=%1,noise=alls=8:allf=t").arg(clipSeconds),
                            "-f",
                            "lavfi",
                            "-i",
                            QString("sine=frequency=440:sample_rate=48000:duration=%1").arg(clipSeconds),
                            "-c:v",
                            "libx265",
                            "-preset",
                            "ultrafast",
                            "-b:v",
                            "60M",
                            "-tag:v",
                            "hvc1",
                            "-x265-params",
                            "log-level=error:keyint=30",
                            "-pix_fmt",
                            "yuv420p",
                            "-c:a",
                            "aac",
                            "-f",
                            "mp4",
                            path + ".part"});
    if (!ffmpeg.waitForFinished(-1) || ffmpeg.exitCode() != 0) {
        std::fprintf(stderr, "ffmpeg failed: %s\n", ffmpeg.readAllStandardError().constData());
        return false;
    }
    return QFile::rename(path + ".part", path);
}

std::string cpuName() {
    std::ifstream cpuinfo("/proc/cpuinfo");
    for (std::string line; std::getline(cpuinfo, line);)
        if (line.rfind("model name", 0) == 0)
            return line.substr(line.find(':') + 2);
    return "unknown CPU";
}

// What a proxy holds, as playback sees it.
QString describe(const QString& path) {
    QString failure;
    auto decoder = VideoDecoder::open(path, &failure);
    if (!decoder)
        return "cannot be played: " + failure;
    const VideoStreamInfo& info = decoder->info();
    return QString("%1x%2 %3, %4 s, %5 MB")
        .arg(info.width)
        .arg(info.height)
        .arg(QString::fromStdString(info.codecName))
        .arg(info.duration, 0, 'f', 3)
        .arg(static_cast<double>(QFileInfo(path).size()) / 1e6, 0, 'f', 1);
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QString dataDir = QStringLiteral(WAKELINE_BENCH_DATA);
    int rounds = 2;
    const QStringList arguments = QCoreApplication::arguments();
    if (const qsizetype at = arguments.indexOf("--data-dir"); at > 0 && at + 1 < arguments.size())
        dataDir = arguments[at + 1];
    if (const qsizetype at = arguments.indexOf("--rounds"); at > 0 && at + 1 < arguments.size())
        rounds = std::max(1, arguments[at + 1].toInt());
    const QString clip = QDir(dataDir).filePath("video/proxy-2160p30-hevc-aac.mp4");
    if (!QFileInfo::exists(clip) && !makeClip(clip))
        return 1;

    const int threads = std::max(1, QThread::idealThreadCount());
    std::printf("%s, %d decoding and %d encoding threads\n", cpuName().c_str(), threads, threads);

    QString failure;
    const auto original = VideoDecoder::open(clip, &failure);
    if (!original) {
        std::fprintf(stderr, "cannot open %s: %s\n", qPrintable(clip), qPrintable(failure));
        return 1;
    }
    const VideoStreamInfo info = original->info();
    const int width = 960;
    const int height = static_cast<int>(std::lround(width * static_cast<double>(info.displayHeight) /
                                                    info.displayWidth / 2)) *
                       2;

    QTemporaryDir out;
    const QString ours = out.filePath("job.mov");
    const QString theirs = out.filePath("ffmpeg.mov");
    VideoProxyJob::Settings settings;
    settings.width = width;
    settings.threads = threads;
    const QStringList command{"-v",
                              "error",
                              "-y",
                              "-threads",
                              QString::number(threads),
                              "-i",
                              clip,
                              "-map",
                              "0:v:0",
                              "-map",
                              "0:a:0?",
                              "-vf",
                              QString("scale=%1:%2:flags=bicubic").arg(width).arg(height),
                              "-c:v",
                              "libx264",
                              "-preset",
                              QString::fromStdString(settings.preset),
                              "-crf",
                              QString::number(settings.crf),
                              "-g",
                              QString::number(settings.gop),
                              "-bf",
                              "0",
                              "-threads",
                              QString::number(threads),
                              "-pix_fmt",
                              "yuv420p",
                              "-fps_mode",
                              "passthrough",
                              "-enc_time_base",
                              "-1",
                              "-c:a",
                              "copy",
                              "-f",
                              "mov",
                              theirs};

    double job = std::numeric_limits<double>::infinity();
    double program = std::numeric_limits<double>::infinity();
    for (int round = 0; round < rounds; ++round) {
        QFile::remove(ours);
        auto begin = Clock::now();
        VideoProxyJob proxy(clip, ours, settings);
        if (proxy.run() != VideoProxyJob::Outcome::finished) {
            std::fprintf(stderr, "the proxy job failed: %s\n", qPrintable(proxy.failure()));
            return 1;
        }
        job = std::min(job, seconds(begin, Clock::now()));

        begin = Clock::now();
        QProcess ffmpeg;
        ffmpeg.start("ffmpeg", command);
        if (!ffmpeg.waitForFinished(-1) || ffmpeg.exitCode() != 0) {
            std::fprintf(stderr, "ffmpeg failed: %s\n", ffmpeg.readAllStandardError().constData());
            return 1;
        }
        program = std::min(program, seconds(begin, Clock::now()));
    }

    const double frames = info.duration * info.frameRate;
    std::printf(
        "\nProxy of %dx%d %.0f fps %s, %.0f frames, to %dx%d H.264 (best of %d alternating rounds):\n",
        info.width, info.height, info.frameRate, info.codecName.c_str(), frames, width, height, rounds);
    std::printf("  VideoProxyJob                        %7.2f s  %6.1f frames/s   %s\n", job, frames / job,
                qPrintable(describe(ours)));
    std::printf("  ffmpeg, the same settings            %7.2f s  %6.1f frames/s   %s\n", program,
                frames / program, qPrintable(describe(theirs)));
    std::printf("  ratio %.2f x (goal <= 1.1)\n", job / program);
    return 0;
}
