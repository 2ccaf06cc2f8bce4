#include "BenchVideo.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <cstdio>

namespace BenchVideo {

namespace {

bool makeClip(const QString& path) {
    QDir().mkpath(QFileInfo(path).path());
    std::printf("Making %s (1080p25 H.264, 1 s GOP, B-frames, %d s) once...\n", qPrintable(path),
                clipSeconds);
    std::fflush(stdout);
    QProcess ffmpeg;
    ffmpeg.start(
        "ffmpeg",
        {"-v",
         "error",
         "-y",
         "-f",
         "lavfi",
         "-i",
         QString("testsrc2=s=1920x1080:r=%1:d=%2,noise=alls=10:allf=t").arg(frameRate).arg(clipSeconds),
         "-c:v",
         "libx264",
         "-preset",
         "faster",
         "-b:v",
         "20M",
         "-bf",
         "3",
         "-x264-params",
         "keyint=25:min-keyint=25:scenecut=0",
         "-pix_fmt",
         "yuv420p",
         path + ".part.mp4"});
    if (!ffmpeg.waitForFinished(-1) || ffmpeg.exitCode() != 0) {
        std::fprintf(stderr, "ffmpeg failed: %s\n", ffmpeg.readAllStandardError().constData());
        return false;
    }
    return QFile::rename(path + ".part.mp4", path);
}

} // namespace

QString clip(const QString& dataDir) {
    const QString path = QDir(dataDir).filePath("video/seek-1080p25-gop25-bframes.mp4");
    if (!QFileInfo::exists(path) && !makeClip(path))
        return {};
    return path;
}

} // namespace BenchVideo
