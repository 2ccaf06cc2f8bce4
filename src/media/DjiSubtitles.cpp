#include "media/DjiSubtitles.h"

#include "map/Geodesy.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <cmath>
#include <limits>

namespace {

std::optional<double> cueStart(const QString& line) {
    static const QRegularExpression pattern(QStringLiteral("^(\\d+):(\\d{2}):(\\d{2})[,.](\\d{1,3})\\s*-->"));
    const auto match = pattern.match(line);
    if (!match.hasMatch())
        return std::nullopt;
    return match.captured(1).toInt() * 3600.0 + match.captured(2).toInt() * 60.0 + match.captured(3).toInt() +
           match.captured(4).leftJustified(3, QLatin1Char('0')).toInt() / 1000.0;
}

std::optional<Instant> cueDate(const QString& text) {
    static const QRegularExpression pattern(QStringLiteral(
        "(\\d{4})[-.](\\d{2})[-.](\\d{2})[ T](\\d{1,2}):(\\d{2}):(\\d{2})(?:[,.](\\d{1,3}))?"));
    const auto match = pattern.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    const QDate date(match.captured(1).toInt(), match.captured(2).toInt(), match.captured(3).toInt());
    const QTime time(match.captured(4).toInt(), match.captured(5).toInt(), match.captured(6).toInt(),
                     match.captured(7).leftJustified(3, QLatin1Char('0')).toInt());
    if (!date.isValid() || !time.isValid())
        return std::nullopt;
    return Instant::fromUnix(QDateTime(date, time, Qt::UTC).toMSecsSinceEpoch() / 1000.0);
}

struct Position {
    double latitude, longitude, altitude;
};

std::optional<Position> cuePosition(const QString& text) {
    static const QRegularExpression tagged(
        QStringLiteral("latitude\\s*:\\s*(-?[\\d.]+)\\]?\\s*\\[?\\s*longt?itude\\s*:\\s*(-?[\\d.]+)"));
    static const QRegularExpression altitude(QStringLiteral("(?:abs_alt|altitude)\\s*:\\s*(-?[\\d.]+)"));
    static const QRegularExpression gps(
        QStringLiteral("GPS\\s*\\(\\s*(-?[\\d.]+)\\s*,\\s*(-?[\\d.]+)\\s*(?:,\\s*(-?[\\d.]+))?"));
    Position position{0.0, 0.0, 0.0};
    if (auto match = tagged.match(text); match.hasMatch()) {
        position.latitude = match.captured(1).toDouble();
        position.longitude = match.captured(2).toDouble();
        if (auto height = altitude.match(text); height.hasMatch())
            position.altitude = height.captured(1).toDouble();
    } else if (auto match = gps.match(text); match.hasMatch()) {
        double first = match.captured(1).toDouble(), second = match.captured(2).toDouble();
        // The layout with a HOME point writes longitude first; the others latitude first. A first
        // value beyond ±90° can only be a longitude.
        const bool longitudeFirst = text.contains(QLatin1String("HOME(")) || std::abs(first) > 90.0;
        position.latitude = longitudeFirst ? second : first;
        position.longitude = longitudeFirst ? first : second;
        position.altitude = match.captured(3).toDouble();
    } else {
        return std::nullopt;
    }
    if (std::abs(position.latitude) > 90.0 || std::abs(position.longitude) > 180.0 ||
        (position.latitude == 0.0 && position.longitude == 0.0))
        return std::nullopt;
    return position;
}

// Speed over ground from the positions about a second either side: per-frame cues repeat a position
// for several frames, so neighbouring cues alone would give mostly zeros and jumps.
void deriveSpeeds(std::vector<CameraTrackPoint>& points) {
    const std::size_t count = points.size();
    for (std::size_t i = 0, before = 0, after = 0; i < count; ++i) {
        while (points[i].fileTime - points[before].fileTime > 1.0)
            ++before;
        after = std::max(after, i);
        while (after + 1 < count && points[after + 1].fileTime - points[i].fileTime <= 1.0)
            ++after;
        const double seconds = points[after].fileTime - points[before].fileTime;
        points[i].speed =
            seconds > 0.0 ? Geodesy::haversineDistance({points[before].latitude, points[before].longitude},
                                                       {points[after].latitude, points[after].longitude}) /
                                seconds
                          : std::numeric_limits<double>::quiet_NaN();
    }
}

} // namespace

std::optional<QString> DjiSubtitles::sidecarOf(const QString& videoPath) {
    QFileInfo video(videoPath);
    QDir directory = video.dir();
    const QString base = video.completeBaseName();
    for (const char* extension : {".SRT", ".srt"}) {
        QString candidate = directory.filePath(base + extension);
        if (QFileInfo::exists(candidate))
            return candidate;
    }
    const QString wanted = base + ".srt";
    QDirIterator entries(directory.path(), QDir::Files | QDir::Hidden);
    while (entries.hasNext()) {
        entries.next();
        if (entries.fileName().compare(wanted, Qt::CaseInsensitive) == 0)
            return entries.filePath();
    }
    return std::nullopt;
}

std::optional<CameraTrack> DjiSubtitles::read(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    CameraTrack track;
    track.source = "srt-gps";
    track.timeIsUtc = false;
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    std::optional<double> start;
    QString text;
    auto finishCue = [&] {
        if (start) {
            auto date = cueDate(text);
            auto position = cuePosition(text);
            if (date && position) {
                CameraTrackPoint point;
                point.fileTime = *start;
                point.time = *date;
                point.latitude = position->latitude;
                point.longitude = position->longitude;
                point.altitude = position->altitude;
                point.locked = true;
                if (track.points.empty() || point.fileTime > track.points.back().fileTime)
                    track.points.push_back(point);
            }
        }
        start.reset();
        text.clear();
    };
    for (QString line : lines) {
        line = line.trimmed();
        if (auto cue = cueStart(line)) {
            finishCue();
            start = cue;
        } else if (start) {
            text += line + QLatin1Char(' ');
        }
    }
    finishCue();
    deriveSpeeds(track.points);
    return track;
}
