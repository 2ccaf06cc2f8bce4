#include "media/PhotoAsset.h"

#include "core/DateFormat.h"
#include "core/Diagnostics.h"
#include "core/FatalError.h"
#include "media/FileCreationDate.h"
#include "media/FileNameTimestamp.h"
#include "media/PhotoMetadata.h"
#include "media/TimeSourceLog.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <cctype>

using TimeSourceLog::describe;

namespace {

struct Reading {
    Instant time;
    TimeZone zone;
};

// "SubsecTime" holds the digits after the decimal point: "5" is half a second, "05" a twentieth.
double subsecondFraction(const std::string& text) {
    std::size_t at = 0;
    while (at < text.size() && text[at] == ' ')
        ++at;
    double fraction = 0.0, scale = 0.1;
    for (; at < text.size() && std::isdigit(static_cast<unsigned char>(text[at])); ++at) {
        fraction += (text[at] - '0') * scale;
        scale /= 10.0;
    }
    return fraction;
}

// "DateCreated" 20190512 with "TimeCreated" 142311+0200. The zone is the sign and the four digits at
// the end; without them the time has no zone of its own.
std::optional<Reading> iptcReading(const PhotoMetadata& metadata, const TimeZone& fileTimeZone,
                                   const std::string& name) {
    static const DateFormat iptcFormat("yyyyMMdd HHmmss", TimeZone::utc());
    auto date = metadata.value("{IPTC}", "DateCreated");
    auto time = metadata.value("{IPTC}", "TimeCreated");
    if (!date || !time)
        return std::nullopt;
    std::string clock = *time;
    std::optional<TimeZone> zone;
    std::size_t sign = time->find_first_of("+-");
    if (sign != std::string::npos) {
        clock = time->substr(0, sign);
        std::string digits = time->substr(sign + 1);
        bool fourDigits = digits.size() == 4 && std::all_of(digits.begin(), digits.end(), [](char c) {
                              return std::isdigit(static_cast<unsigned char>(c));
                          });
        if (fourDigits && time->find_first_of("+-", sign + 1) == std::string::npos) {
            int number = std::stoi(digits);
            int seconds = ((number / 100) * 60 + number % 100) * 60;
            zone = TimeZone::fromSecondsFromGMT((*time)[sign] == '-' ? -seconds : seconds);
        }
    }
    auto parsed = iptcFormat.parse(*date + " " + clock);
    if (!parsed)
        return std::nullopt;
    Diagnostics::printLine(name + ": detected timestamp in IPTC metadata: " + describe(*parsed) +
                           " (time zone: " + (zone ? zone->description() : std::string("unknown")) + ")");
    return Reading{*parsed, zone ? *zone : fileTimeZone};
}

std::optional<Reading> exifReading(const PhotoMetadata& metadata, const char* dateKey,
                                   const char* subsecondKey, const TimeZone& fileTimeZone,
                                   const std::string& name) {
    static const DateFormat exifFormat("yyyy:MM:dd HH:mm:ss", TimeZone::utc());
    auto text = metadata.value("{Exif}", dateKey);
    if (!text)
        return std::nullopt;
    auto parsed = exifFormat.parse(*text);
    if (!parsed)
        return std::nullopt;
    if (auto subsecond = metadata.value("{Exif}", subsecondKey))
        *parsed += subsecondFraction(*subsecond);
    Diagnostics::printLine(name + ": detected timestamp in EXIF metadata '" + dateKey +
                           "': " + describe(*parsed));
    return Reading{*parsed, fileTimeZone};
}

} // namespace

AssetDetection<PhotoAsset> PhotoAsset::detect(const QUrl& url, const TimeZone& fileTimeZone,
                                              std::shared_ptr<MediaGroup> mediaGroup) {
    using Failure = AssetDetection<PhotoAsset>::Failure;
    const QString path = url.toLocalFile();
    if (!isFileReachable(path))
        return {nullptr, Failure::unreachable, {}};
    const std::string name = QFileInfo(path).fileName().toStdString();
    std::optional<Reading> result;

    if (auto reading = fileNameTimestamp(QFileInfo(path).fileName())) {
        Diagnostics::printLine(name + ": detected timestamp in file name: " + describe(*reading));
        result = Reading{*reading, fileTimeZone};
    }
    if (!result) {
        if (auto metadata = PhotoMetadata::read(path)) {
            // DateTime before DateTimeOriginal and DateTimeDigitized: a deliberate order.
            result = iptcReading(*metadata, fileTimeZone, name);
            if (!result)
                result = exifReading(*metadata, "DateTime", "SubsecTime", fileTimeZone, name);
            if (!result)
                result = exifReading(*metadata, "DateTimeOriginal", "SubsecTimeOriginal", fileTimeZone, name);
            if (!result)
                result =
                    exifReading(*metadata, "DateTimeDigitized", "SubsecTimeDigitized", fileTimeZone, name);
        }
    }
    if (!result) {
        if (auto created = fileCreationDate(path)) {
            TimeZone zone = TimeZone::current();
            Instant reading = *created + zone.secondsFromGMT(*created);
            Diagnostics::printLine(name + ": detected timestamp from file creation date: " +
                                   describe(reading) + " (time zone: " + zone.description() + ")");
            result = Reading{reading, zone};
        }
    }
    if (!result)
        return {nullptr, Failure::noTime,
                "Could not determine photo date at " + url.toString().toStdString()};
    return {std::make_shared<PhotoAsset>(url, result->time, 0.0, result->zone, std::move(mediaGroup)),
            Failure::none,
            {}};
}

std::shared_ptr<PhotoAsset> PhotoAsset::create(const QUrl& url, const TimeZone& fileTimeZone,
                                               std::shared_ptr<MediaGroup> mediaGroup) {
    auto detection = detect(url, fileTimeZone, std::move(mediaGroup));
    if (detection.failure == AssetDetection<PhotoAsset>::Failure::noTime)
        fatalError(detection.stopMessage);
    return detection.asset;
}
