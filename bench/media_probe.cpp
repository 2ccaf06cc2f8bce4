// Probes photos and videos the way the add path does, in one process, and prints the time per file
// as JSON. bench/media_probe.py runs it next to exiftool and ffprobe on the same files.
//
//   media_probe --runs N FILE...          time the detection of every file, N passes (median kept)
//   media_probe --make-photos BASE DIR N  write N tagged copies of the JPEG BASE into DIR
#include "core/Diagnostics.h"
#include "core/TimeZone.h"
#include "media/MediaTypes.h"
#include "media/PhotoAsset.h"
#include "media/VideoAsset.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QUrl>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <exiv2/exiv2.hpp>
#pragma GCC diagnostic pop

namespace {

int makePhotos(const QString& base, const QString& directory, int count) {
    QDir().mkpath(directory);
    for (int i = 0; i < count; ++i) {
        QString path = QDir(directory).filePath(QString("IMG_%1.jpg").arg(i, 4, 10, QChar('0')));
        QFile::remove(path);
        if (!QFile::copy(base, path))
            return 1;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
        auto image = Exiv2::ImageFactory::open(QFile::encodeName(path).toStdString());
        image->readMetadata();
        char date[32];
        std::snprintf(date, sizeof date, "2023:06:%02d %02d:%02d:%02d", 1 + i % 28, 8 + i % 10, i % 60,
                      (i * 7) % 60);
        auto& exif = image->exifData();
        exif["Exif.Image.Make"] = "Wakeline";
        exif["Exif.Image.Model"] = "Bench";
        exif["Exif.Photo.DateTimeOriginal"] = date;
        exif["Exif.Photo.SubSecTimeOriginal"] = std::to_string(i % 100);
        if (i % 4 == 0)
            exif["Exif.Photo.DateTimeDigitized"] = date;
        if (i % 10 == 0) {
            image->iptcData()["Iptc.Application2.DateCreated"] = "2023-06-01";
            image->iptcData()["Iptc.Application2.TimeCreated"] = "14:23:11+02:00";
        }
        image->writeMetadata();
#pragma GCC diagnostic pop
    }
    return 0;
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 5 && arguments[1] == "--make-photos")
        return makePhotos(arguments[2], arguments[3], arguments[4].toInt());
    int runs = 3;
    if (arguments.size() > 2 && arguments[1] == "--runs") {
        runs = std::max(1, arguments[2].toInt());
        arguments.remove(1, 2);
    }
    arguments.removeFirst();
    if (arguments.isEmpty()) {
        std::fprintf(stderr, "usage: media_probe [--runs N] FILE... | --make-photos BASE DIR N\n");
        return 2;
    }
    std::FILE* sink = std::fopen("/dev/null", "w");
    Diagnostics::setStream(sink);
    std::vector<QUrl> urls;
    for (const QString& file : arguments)
        urls.push_back(QUrl::fromLocalFile(QDir().absoluteFilePath(file)));
    const TimeZone zone = TimeZone::utc();
    std::vector<double> passes;
    int made = 0;
    for (int run = 0; run < runs; ++run) {
        made = 0;
        auto start = std::chrono::steady_clock::now();
        for (const QUrl& url : urls) {
            if (isSupportedVideo(url))
                made += VideoAsset::detect(url, zone, nullptr).asset != nullptr;
            else if (isSupportedPhoto(url))
                made += PhotoAsset::detect(url, zone, nullptr).asset != nullptr;
        }
        passes.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    std::sort(passes.begin(), passes.end());
    double median = passes[passes.size() / 2];
    std::printf("{\"files\": %zu, \"assets\": %d, \"seconds\": %.6f, \"secondsPerFile\": %.9f}\n",
                urls.size(), made, median, median / static_cast<double>(urls.size()));
    std::fclose(sink);
    return 0;
}
