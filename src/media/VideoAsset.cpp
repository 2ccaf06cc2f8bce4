#include "media/VideoAsset.h"

#include "core/DateFormat.h"
#include "core/Diagnostics.h"
#include "core/FatalError.h"
#include "core/UserDefaults.h"
#include "media/CameraTrack.h"
#include "media/ContainerMetadata.h"
#include "media/DjiSubtitles.h"
#include "media/FileCreationDate.h"
#include "media/FileNameTimestamp.h"
#include "media/TimeSourceLog.h"

#include <QFile>
#include <QFileInfo>
#include <array>
#include <cmath>
#include <cstdio>

using TimeSourceLog::describe;
using TimeSourceLog::describeInstant;

namespace {

struct Reading {
    Instant time;
    TimeZone zone;
    // Which source gave it, as probe-media names it.
    const char* source;
};

struct Camera {
    const char* name;
    bool writesUtc;
};

bool startsWithAny(const std::string& text, std::initializer_list<const char*> prefixes) {
    for (const char* prefix : prefixes)
        if (text.rfind(prefix, 0) == 0)
            return true;
    return false;
}

// Which camera wrote the container, and so in which zone its creation date is to be read: Apple and
// the DJI Osmo write true UTC, the drones and GoPros the camera's local wall-clock time.
std::optional<Camera> identifyCamera(const ContainerMetadata& metadata) {
    auto stringOf = [&](const char* identifier) -> std::optional<std::string> {
        const MetadataItem* item = metadata.firstStringItem(identifier);
        return item ? item->stringValue : std::nullopt;
    };
    if (stringOf("mdta/com.apple.quicktime.make") == "Apple")
        return Camera{"Apple", true};
    if (auto model = stringOf("uiso/%A9mdl"); model == "FC330" || model == "FC6310")
        return Camera{"DJI Phantom 4", false};
    if (metadata.firstItem("udta/%A9dji"))
        return Camera{"DJI Drone", false};
    auto firmware = stringOf("uiso/FIRM");
    if (firmware && startsWithAny(*firmware, {"HD4", "HD5", "HD6", "HD7"}))
        return Camera{"GoPro HD", false};
    if (firmware && startsWithAny(*firmware, {"H19"}))
        return Camera{"GoPro Max", false};
    // The Osmo is a handheld gimbal camera. Its MOV user data carries the gimbal's attitude
    // ("\xA9gpt" pitch, "\xA9gyw" yaw, "\xA9grl" roll) like the drones' files do, but none of the
    // drones' "\xA9dji" block, which the test above has already claimed. So the gimbal pitch code,
    // the first of the three DJI writes, marks an Osmo among the files that get this far.
    if (metadata.firstItem("udta/%A9gpt"))
        return Camera{"DJI Osmo", true};
    return std::nullopt;
}

// A date formatter with no pattern, no style, no locale and no zone set: it reads no date from the
// usual ISO 8601 text, so this source normally finds nothing. It stays, message and all, so that a
// value that does parse is treated the way it always was.
std::optional<Instant> parseWithBareFormatter(const std::string& text) {
    static const DateFormat bare("", TimeZone::utc());
    if (text.empty())
        return std::nullopt;
    return bare.parse(text);
}

// Drone subtitles repeat the recording time in their first cue; its third line reads
// "HOME(149.0251,-20.2532) 2017.08.05 14:11:51". The offset moves the video to that clock.
std::optional<double> sidecarSubtitleOffset(const std::optional<QString>& path, Instant fileStartTime) {
    static const DateFormat subtitleFormat("yyyy.MM.dd HH:mm:ss", *TimeZone::fromSecondsFromGMT(0));
    if (!path)
        return std::nullopt;
    QFile file(*path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QByteArray line;
    for (int number = 1; number <= 3; ++number) {
        if (file.atEnd())
            return std::nullopt;
        line = file.readLine(4096);
    }
    // Lines end at "\n"; subtitle files written on Windows also carry a "\r" before it.
    while (line.endsWith('\n') || line.endsWith('\r'))
        line.chop(1);
    QStringList words = QString::fromUtf8(line).split(' ');
    words.removeFirst();
    const std::string text = words.join(' ').toStdString();
    if (auto date = subtitleFormat.parse(text))
        return (*date - 1.0) - fileStartTime;
    Diagnostics::printLine("Could not parse SRT date string '" + text +
                           "' with format yyyy.MM.dd HH:mm:ss at " +
                           QUrl::fromLocalFile(*path).toString().toStdString() + ":3");
    return std::nullopt;
}

struct GpsPlacement {
    double offset;
    std::string source;
};

// The camera's own GPS, when it has a locked fix: the offset that moves the clip from the start
// detected above to its GPS start, with a line for the log, and a second one when the camera's clock
// was more than two seconds off.
std::optional<GpsPlacement> cameraGpsOffset(const std::string& name, const QString& path, Instant reading,
                                            const TimeZone& zone, const std::optional<QString>& sidecar,
                                            bool hasMetadataTrack) {
    std::optional<CameraTrack> track = CameraTrack::read(path, sidecar, hasMetadataTrack);
    if (!track)
        return std::nullopt;
    const char* where =
        track->source == "srt-gps" ? "subtitle sidecar cue dates" : "GoPro metadata track (GPMF)";
    std::optional<Instant> start = track->clipStart();
    if (!start) {
        Diagnostics::printLine(name + ": GPS in " + where +
                               " has no locked fix with agreeing times; not used");
        return std::nullopt;
    }
    // A drone's subtitle times are its clock's readings, understood in the file's zone like the
    // file's own; GoPro's GPS times are UTC.
    const Instant gpsStart = track->timeIsUtc ? *start : *start - zone.secondsFromGMT(*start);
    const Instant detected = reading - zone.secondsFromGMT(reading);
    const double offset = gpsStart - detected;
    char seconds[64];
    std::snprintf(seconds, sizeof seconds, "%.3f", offset);
    Diagnostics::printLine(name + ": detected GPS start in " + where + ": " +
                           TimeSourceLog::describe(gpsStart) + " (using this value, offset " + seconds +
                           " s)");
    if (std::abs(offset) > 2.0) {
        std::snprintf(seconds, sizeof seconds, "%+.1f", offset);
        Diagnostics::printLine(name + ": camera clock and GPS disagree by " + seconds + " s");
    }
    return GpsPlacement{offset, track->source};
}

} // namespace

AssetDetection<VideoAsset> VideoAsset::detect(const QUrl& url, const TimeZone& fileTimeZone,
                                              std::shared_ptr<MediaGroup> mediaGroup) {
    using Failure = AssetDetection<VideoAsset>::Failure;
    const QString path = url.toLocalFile();
    if (!isFileReachable(path))
        return {nullptr, Failure::unreachable, {}};
    const std::string name = QFileInfo(path).fileName().toStdString();
    const DateFormat& readingFormat = TimeSourceLog::readingFormat();
    const ContainerMetadata metadata = ContainerMetadata::read(QFile::encodeName(path).toStdString());
    std::optional<Reading> result;

    if (auto reading = fileNameTimestamp(QFileInfo(path).fileName())) {
        Diagnostics::printLine(name + ": detected timestamp in file name: " + readingFormat.format(*reading) +
                               " (assuming time zone: " + fileTimeZone.identifier() + " = " +
                               describeInstant(*reading, fileTimeZone) + ")" + " (using this value)");
        result = Reading{*reading, fileTimeZone, "file-name"};
    }

    if (const MetadataItem* item = metadata.firstItem("mdta/com.apple.quicktime.creationdate");
        item && item->stringValue) {
        if (auto date = parseWithBareFormatter(*item->stringValue)) {
            std::string line = name +
                               ": detected timestamp in Quicktime metadata "
                               "'mdta/com.apple.quicktime.creationdate': " +
                               *item->stringValue + " = " + describe(*date);
            if (!result) {
                Diagnostics::printLine(line + " (using this value)");
                result = Reading{*date, fileTimeZone, "quicktime-creationdate"};
            }
        }
    }

    if (metadata.creationDate && metadata.creationDate->secondsSinceReference() > 0) {
        const Instant date = *metadata.creationDate;
        std::optional<Camera> camera = identifyCamera(metadata);
        TimeZone zone = camera && camera->writesUtc ? TimeZone::utc() : fileTimeZone;
        if (!UserDefaults::standard().boolValue("preferFileMtime")) {
            if (!result) {
                Diagnostics::printLine(name + ": detected timestamp in Quicktime metadata / creation date: " +
                                       readingFormat.format(date) +
                                       " (assuming time zone: " + zone.identifier() +
                                       (camera ? std::string(" (") + camera->name + ")" : std::string()) +
                                       " = " + describeInstant(date, zone) + ")" + " (using this value)");
                result = Reading{date, zone, "container-creation-date"};
            }
        } else {
            Diagnostics::printLine(name + ": skipping timestamp in Quicktime metadata / creation date: " +
                                   readingFormat.format(date));
        }
    }

    if (!result) {
        if (auto created = fileCreationDate(path)) {
            TimeZone zone = TimeZone::current();
            Instant reading = *created + zone.secondsFromGMT(*created);
            Diagnostics::printLine(
                name + ": detected timestamp in file creation date: " + readingFormat.format(reading) +
                " (assuming time zone: " + zone.identifier() + " = " + describeInstant(reading, zone) + ")" +
                " (using this value)");
            result = Reading{reading, zone, "file-creation-date"};
        }
    }

    if (!result)
        return {nullptr, Failure::noTime, "no start time for " + url.toString().toStdString()};

    const double duration = metadata.duration.value_or(0.0);
    double offset = 0.0;
    std::string timeSource = result->source;
    // Looked for once: finding it may mean listing the whole folder.
    const std::optional<QString> subtitles = DjiSubtitles::sidecarOf(path);
    if (auto sidecar = sidecarSubtitleOffset(subtitles, result->time)) {
        offset = *sidecar;
        timeSource = "srt-gps";
    } else if (auto gps = cameraGpsOffset(name, path, result->time, result->zone, subtitles,
                                          metadata.hasTimedMetadataTrack)) {
        offset = gps->offset;
        timeSource = gps->source;
    }
    auto asset = std::make_shared<VideoAsset>(url, result->time, duration, offset, result->zone,
                                              std::move(mediaGroup));
    asset->timeSource_ = std::move(timeSource);
    return {std::move(asset), Failure::none, {}};
}

std::shared_ptr<VideoAsset> VideoAsset::create(const QUrl& url, const TimeZone& fileTimeZone,
                                               std::shared_ptr<MediaGroup> mediaGroup) {
    auto detection = detect(url, fileTimeZone, std::move(mediaGroup));
    if (detection.failure == AssetDetection<VideoAsset>::Failure::noTime)
        fatalError(detection.stopMessage);
    return detection.asset;
}
