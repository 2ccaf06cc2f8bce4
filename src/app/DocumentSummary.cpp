#include "app/DocumentSummary.h"

#include "app/StderrProgress.h"
#include "boatlog/LogFileAsset.h"
#include "document/Document.h"
#include "document/DocumentOpener.h"
#include "document/DocumentPackageReader.h"
#include "media/MediaAsset.h"
#include "media/MediaGroup.h"
#include "media/VisibleAssets.h"
#include "metrics/Boat.h"
#include "race/Race.h"

#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

using nlohmann::ordered_json;

namespace {

ordered_json unixOrNull(const std::optional<Instant>& instant) {
    return instant ? ordered_json(instant->unixSeconds()) : ordered_json(nullptr);
}

const char* legTypeName(SailingLegType type) {
    switch (type) {
    case SailingLegType::Upwind:
        return "Upwind";
    case SailingLegType::Downwind:
        return "Downwind";
    case SailingLegType::Reaching:
        return "Reaching";
    case SailingLegType::Unknown:
        break;
    }
    return "Unknown";
}

ordered_json boatsJson(const Document& document) {
    ordered_json boats = ordered_json::array();
    for (const auto& boat : document.boats())
        boats.push_back(DocumentSummary::boatJson(document, boat));
    return boats;
}

ordered_json racesJson(const Document& document) {
    ordered_json races = ordered_json::array();
    for (const auto& race : document.races()) {
        races.push_back({{"name", race->name().toStdString()},
                         {"time", race->time().unixSeconds()},
                         {"finishTime", unixOrNull(race->finishTime())},
                         {"bestGuessFinishTime", race->bestGuessFinishTime().unixSeconds()},
                         {"pinLat", race->pinLat().toStdString()},
                         {"pinLon", race->pinLon().toStdString()},
                         {"rcLat", race->rcLat().toStdString()},
                         {"rcLon", race->rcLon().toStdString()}});
    }
    return races;
}

ordered_json instantsJson(const std::vector<Instant>& instants) {
    ordered_json list = ordered_json::array();
    for (Instant instant : instants)
        list.push_back(instant.unixSeconds());
    return list;
}

ordered_json documentJson(const Document& document) {
    ordered_json json;
    json["boats"] = boatsJson(document);
    json["races"] = racesJson(document);
    json["legs"] = ordered_json::array();
    for (const SailingLeg& leg : document.legs())
        json["legs"].push_back({{"start", leg.start.unixSeconds()},
                                {"end", leg.end.unixSeconds()},
                                {"type", legTypeName(leg.type)}});
    json["tackTimes"] = instantsJson(document.tackTimes());
    json["gybeTimes"] = instantsJson(document.gybeTimes());
    json["eventStartTime"] = unixOrNull(document.eventStartTime());
    json["eventEndTime"] = unixOrNull(document.eventEndTime());
    json["playbackPosition"] = unixOrNull(document.eventPlaybackPosition());
    json["eventTimezone"] = document.eventTimezone().identifier();
    json["mediaGroups"] = ordered_json::array();
    for (const auto& group : document.mediaGroups())
        json["mediaGroups"].push_back(group->name.toStdString());
    json["assets"] = ordered_json::array();
    for (const auto& asset : document.assets()) {
        json["assets"].push_back(DocumentSummary::assetJson(*asset));
    }
    return json;
}

} // namespace

ordered_json DocumentSummary::boatJson(const Document& document, const std::shared_ptr<Boat>& boat) {
    ordered_json entry = boat->encode();
    entry["logAssets"] = ordered_json::array();
    for (const auto& log : document.logAssets(boat))
        entry["logAssets"].push_back(logAssetJson(*log));
    // Kept in the package and written back on save, but not shown.
    entry["unloadedLogAssets"] = ordered_json::array();
    for (const auto& log : document.packageRemainder().unloadedLogsOf(boat.get()))
        entry["unloadedLogAssets"].push_back({{"uuid", DocumentReference::encodeUuid(log.reference.uuid)},
                                              {"reason", log.reason.toStdString()}});
    return entry;
}

ordered_json DocumentSummary::logAssetJson(const LogFileAsset& log) {
    return {{"uuid", DocumentReference::encodeUuid(log.uuid())}, {"offset", log.offset()},
            {"fileTimeZone", log.fileTimeZone().identifier()},   {"records", log.boatLog()->recordCount()},
            {"start", unixOrNull(log.fileStartTime())},          {"end", unixOrNull(log.fileEndTime())}};
}

ordered_json DocumentSummary::assetJson(const MediaAsset& asset) {
    return {
        {"url", asset.url().toString(QUrl::FullyEncoded).toStdString()},
        {"kind", asset.isPhoto() ? "PhotoAsset" : "VideoAsset"},
        {"mediaGroup", asset.mediaGroup() ? ordered_json(asset.mediaGroup()->name.toStdString()) : nullptr},
        {"startTime", asset.startTime().unixSeconds()},
        {"endTime", asset.endTime().unixSeconds()},
        {"offset", asset.offset()},
        {"fileTimeZone", asset.fileTimeZone().identifier()}};
}

int DocumentSummary::run(const QString& packagePath, std::optional<Instant> at) {
    auto read = DocumentPackageReader::read(packagePath);
    if (auto* error = std::get_if<DocumentLoadingError>(&read)) {
        std::fprintf(stderr, "%s\n", qPrintable(failureReason(*error)));
        return 1;
    }
    Document document;
    if (!DocumentOpener::openAndWait(document, std::get<DocumentReference>(std::move(read)), packagePath,
                                     std::make_shared<StderrProgress>())) {
        std::fprintf(stderr, "The document could not be opened.\n");
        return 1;
    }

    ordered_json json = documentJson(document);
    if (at) {
        // What each media window would show at that instant.
        ordered_json visible = ordered_json::object();
        for (const auto& group : document.mediaGroups()) {
            auto shown = visibleAssets(document.assets(), group, *at);
            visible[group->name.toStdString()] =
                shown.empty() ? ordered_json(nullptr)
                              : ordered_json(shown.front()->url().toString(QUrl::FullyEncoded).toStdString());
        }
        json["visible"] = std::move(visible);
    }
    std::cout << json.dump(2) << std::endl;
    return 0;
}
