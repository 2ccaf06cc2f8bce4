// A replay export: 60 s of the video, map and timeline layout at 1280 × 720, 25 fps, with 20 boats
// and a 1080p25 H.264 source video (the 40 s bench clip twice, back to back), written as H.264 in
// MP4. The peer, from the same run: the ffmpeg program encoding the same number of raw frames (the
// very frames exported, decoded to raw YUV beforehand) with the same encoder settings. A second
// peer shows what decoding the source costs: the ffmpeg program transcoding the same 60 s of the
// source video to the film's size with the same settings, which is all of the export but the
// drawing.
//   export_video [RUNS]

#include "BenchVideo.h"
#include "FleetFixture.h"
#include "TimingStats.h"
#include "app/AppDelegate.h"
#include "app/StandardViews.h"
#include "core/UserDefaults.h"
#include "media/MediaGroup.h"
#include "media/VideoAsset.h"
#include "media/VideoEncoder.h"
#include "presentation/ReplayExportJob.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QThread>
#include <cstdio>
#include <vector>

using namespace TimingStats;

namespace {

constexpr double exportSeconds = 60.0;
constexpr int width = 1280;
constexpr int height = 720;
constexpr int framesPerSecond = 25;

bool runFfmpeg(const QStringList& arguments) {
    QProcess ffmpeg;
    ffmpeg.start("ffmpeg", arguments);
    if (!ffmpeg.waitForFinished(-1) || ffmpeg.exitCode() != 0) {
        std::fprintf(stderr, "ffmpeg failed: %s\n", ffmpeg.readAllStandardError().constData());
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    UserDefaults::useFile(QDir::temp().filePath("wakeline-export-bench-settings.ini"));
    AppDelegate::registerDefaults();
    StandardViews::registerAll();
    const int runs = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
    const QString dataDir = QStringLiteral(WAKELINE_BENCH_DATA);
    const QString clip = BenchVideo::clip(dataDir);
    if (clip.isEmpty())
        return 1;
    const QString folder = QDir(dataDir).filePath("export");
    QDir().mkpath(folder);
    const QString film = QDir(folder).filePath("replay.mp4");
    const QString raw = QDir(folder).filePath("replay.yuv");
    const QString peerFilm = QDir(folder).filePath("peer.mp4");
    const QString transcodeFilm = QDir(folder).filePath("transcode.mp4");

    FleetFixture fleet;
    auto group = std::make_shared<MediaGroup>("Boat");
    fleet.document.setMediaGroups({group});
    for (int part = 0; part < 2; ++part)
        fleet.document.addAsset(
            std::make_shared<VideoAsset>(QUrl::fromLocalFile(clip),
                                         FleetFixture::tick(0) + double(part * BenchVideo::clipSeconds),
                                         double(BenchVideo::clipSeconds), 0.0, TimeZone::utc(), group),
            group);

    ReplayExportJob::Settings settings;
    settings.from = FleetFixture::tick(0);
    settings.to = settings.from + exportSeconds;
    settings.layout = PresentationLayout::videoMapTimeline;
    settings.size = QSize(width, height);
    settings.framesPerSecond = framesPerSecond;
    settings.output = film;
    const VideoEncoder::Settings encoder;
    // What the export's encoder does, for both peers.
    const QStringList sameEncoder{"-c:v",      "libx264",
                                  "-preset",   QString::fromStdString(encoder.preset),
                                  "-crf",      QString::number(encoder.crf),
                                  "-g",        QString::number(2 * framesPerSecond),
                                  "-movflags", "+faststart"};

    std::vector<double> ours, peer, transcode;
    int frames = 0;
    for (int run = 0; run < runs; ++run) {
        ReplayExportJob job(fleet.document, settings);
        QEventLoop loop;
        QObject::connect(&job, &ReplayExportJob::finished, &loop, &QEventLoop::quit);
        QElapsedTimer clock;
        clock.start();
        if (!job.start()) {
            std::fprintf(stderr, "the export could not start: %s\n", qPrintable(job.failure()));
            return 1;
        }
        loop.exec();
        ours.push_back(double(clock.nsecsElapsed()) / 1e9);
        if (job.outcome() != ReplayExportJob::Outcome::finished) {
            std::fprintf(stderr, "the export failed: %s\n", qPrintable(job.failure()));
            return 1;
        }
        for (const QString& warning : job.warnings())
            std::fprintf(stderr, "warning: %s\n", qPrintable(warning));
        frames = job.framesEncoded();

        if (run == 0 &&
            !runFfmpeg({"-v", "error", "-y", "-i", film, "-f", "rawvideo", "-pix_fmt", "yuv420p", raw}))
            return 1;
        clock.restart();
        if (!runFfmpeg(QStringList{"-v", "error", "-y", "-f", "rawvideo", "-pix_fmt", "yuv420p", "-s",
                                   QString("%1x%2").arg(width).arg(height), "-r",
                                   QString::number(framesPerSecond), "-i", raw}
                       << sameEncoder << peerFilm))
            return 1;
        peer.push_back(double(clock.nsecsElapsed()) / 1e9);

        clock.restart();
        if (!runFfmpeg(QStringList{"-v", "error", "-y", "-stream_loop", "1", "-i", clip, "-t",
                                   QString::number(exportSeconds), "-vf",
                                   QString("scale=%1:%2").arg(width).arg(height), "-r",
                                   QString::number(framesPerSecond), "-an"}
                       << sameEncoder << transcodeFilm))
            return 1;
        transcode.push_back(double(clock.nsecsElapsed()) / 1e9);
    }
    QFile::remove(raw);

    std::printf("runs: %d, %d frames, 20 boats, videoMapTimeline at %dx%d %d fps from a 1080p25 H.264 video, "
                "libx264 preset %s crf %d, %d cores\n",
                runs, frames, width, height, framesPerSecond, encoder.preset.c_str(), encoder.crf,
                QThread::idealThreadCount());
    std::printf("export (draw, decode, encode, mux):       median %.2f s, %.2fx real time\n", median(ours),
                exportSeconds / median(ours));
    std::printf("peer, ffmpeg encoding the raw frames:     median %.2f s, %.2fx real time\n", median(peer),
                exportSeconds / median(peer));
    std::printf("ffmpeg transcoding the source to %dx%d:   median %.2f s, %.2fx real time\n", width, height,
                median(transcode), exportSeconds / median(transcode));
    std::printf("export / peer: %.2f (goal <= 1.25)\n", median(ours) / median(peer));
    std::printf("export / transcode (the drawing's share): %.2f\n", median(ours) / median(transcode));
    return 0;
}
