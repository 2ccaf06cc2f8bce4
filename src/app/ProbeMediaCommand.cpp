#include "app/ProbeMediaCommand.h"

#include "core/Diagnostics.h"
#include "media/CameraTrack.h"
#include "media/MediaTypes.h"
#include "media/PhotoAsset.h"
#include "media/VideoAsset.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

using nlohmann::ordered_json;

namespace {

const char usage[] = "usage: wakeline probe-media [--track] FILE... [--zone ID]\n";

int usageError(const QString& message) {
    std::fprintf(stderr, "wakeline probe-media: %s\n%s", qPrintable(message), usage);
    return 2;
}

ordered_json timeSourceOf(const VideoAsset* asset) {
    return asset ? ordered_json(asset->timeSource()) : ordered_json(nullptr);
}

ordered_json timeSourceOf(const PhotoAsset*) {
    return nullptr;
}

// The camera's GPS points placed as the asset is: event time = the asset's start + the time in the
// file. Unix seconds, degrees, metres, metres per second.
ordered_json describeTrack(const QString& path, const VideoAsset* asset) {
    std::optional<CameraTrack> track = CameraTrack::read(path);
    if (!track || !asset)
        return nullptr;
    ordered_json json;
    json["source"] = track->source;
    ordered_json points = ordered_json::array();
    for (const CameraTrackPoint& point : track->points) {
        ordered_json item;
        item["time"] = (asset->startTime() + point.fileTime).unixSeconds();
        item["fileTime"] = point.fileTime;
        item["latitude"] = point.latitude;
        item["longitude"] = point.longitude;
        item["altitude"] = point.altitude;
        item["speed"] = std::isfinite(point.speed) ? ordered_json(point.speed) : ordered_json(nullptr);
        item["locked"] = point.locked;
        points.push_back(std::move(item));
    }
    json["points"] = std::move(points);
    return json;
}

template <class Asset>
ordered_json describe(const QString& file, const AssetDetection<Asset>& detection, const char* kind) {
    using Failure = typename AssetDetection<Asset>::Failure;
    ordered_json json;
    json["file"] = file.toStdString();
    const auto& asset = detection.asset;
    json["kind"] = asset ? ordered_json(kind) : ordered_json(nullptr);
    json["fileStartTime"] =
        asset ? ordered_json(asset->fileStartTime().unixSeconds()) : ordered_json(nullptr);
    json["fileTimeZone"] = asset ? ordered_json(asset->fileTimeZone().identifier()) : ordered_json(nullptr);
    json["duration"] = asset ? ordered_json(asset->duration()) : ordered_json(nullptr);
    json["offset"] = asset ? ordered_json(asset->offset()) : ordered_json(nullptr);
    json["startTime"] = asset ? ordered_json(asset->startTime().unixSeconds()) : ordered_json(nullptr);
    json["endTime"] = asset ? ordered_json(asset->endTime().unixSeconds()) : ordered_json(nullptr);
    json["timeSource"] = timeSourceOf(asset.get());
    if (detection.failure == Failure::unreachable)
        json["error"] = "the file cannot be read";
    else if (detection.failure == Failure::noTime)
        // What the desktop program would stop with.
        json["error"] = "Fatal error: " + detection.stopMessage;
    return json;
}

ordered_json unsupported(const QString& file, const QUrl& url) {
    ordered_json json;
    json["file"] = file.toStdString();
    for (const char* key : {"kind", "fileStartTime", "fileTimeZone", "duration", "offset", "startTime",
                            "endTime", "timeSource"})
        json[key] = nullptr;
    json["error"] = QFileInfo::exists(url.toLocalFile())
                        ? "not a video, audio or image file (" + mediaTypeName(url).toStdString() + ")"
                        : std::string("the file cannot be read");
    return json;
}

} // namespace

int ProbeMediaCommand::run(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.addPositionalArgument("files", "Photos and videos to examine.", "FILE...");
    QCommandLineOption zoneOption(
        "zone", "Time zone assumed for readings without one (default: this computer's).", "ID");
    parser.addOption(zoneOption);
    QCommandLineOption trackOption("track", "Also print each video's camera GPS track.");
    parser.addOption(trackOption);
    if (!parser.parse(arguments))
        return usageError(parser.errorText());
    const QStringList files = parser.positionalArguments();
    if (files.isEmpty())
        return usageError("expected at least one file");
    TimeZone zone = TimeZone::current();
    if (parser.isSet(zoneOption)) {
        auto named = TimeZone::fromIdentifier(parser.value(zoneOption).toStdString());
        if (!named)
            return usageError("unknown time zone \"" + parser.value(zoneOption) + "\"");
        zone = *named;
    }

    // The detection lines go to stderr so that stdout holds only the JSON.
    Diagnostics::setStream(stderr);
    ordered_json out = ordered_json::array();
    bool allMade = true;
    for (const QString& file : files) {
        const QUrl url = QUrl::fromLocalFile(QFileInfo(file).absoluteFilePath());
        ordered_json json;
        if (!QFileInfo::exists(url.toLocalFile())) {
            json = unsupported(file, url);
        } else if (isSupportedVideo(url)) {
            auto detection = VideoAsset::detect(url, zone, nullptr);
            json = describe(file, detection, "VideoAsset");
            if (parser.isSet(trackOption))
                json["track"] = describeTrack(url.toLocalFile(), detection.asset.get());
        } else if (isSupportedPhoto(url)) {
            json = describe(file, PhotoAsset::detect(url, zone, nullptr), "PhotoAsset");
        } else {
            json = unsupported(file, url);
        }
        allMade &= !json.contains("error");
        out.push_back(std::move(json));
    }
    std::cout << out.dump(2) << std::endl;
    return allMade ? 0 : 1;
}
