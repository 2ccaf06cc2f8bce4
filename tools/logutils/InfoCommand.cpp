#include "InfoCommand.h"

#include "boatlog/LogFileAsset.h"
#include "core/Diagnostics.h"
#include "metrics/Boat.h"
#include "readers/Hdf5LogReader.h"
#include "readers/LineReader.h"

#include <QFileInfo>
#include <QUuid>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

using nlohmann::ordered_json;

namespace {

ordered_json optionalNumber(const std::optional<std::int64_t>& value) {
    return value ? ordered_json(*value) : ordered_json(nullptr);
}

} // namespace

int InfoCommand::run(const std::string& path) {
    // The reader's own lines ("Loaded …", warnings) go to stderr; stdout holds only the JSON.
    Diagnostics::setStream(stderr);
    const QString file = QString::fromStdString(path);
    if (!QFileInfo(file).isFile()) {
        std::fprintf(stderr, "Error: no file at %s\n", path.c_str());
        return 2;
    }
    // Only an HDF5 file is handed to the library: it is a boat log or nothing.
    std::string reason;
    auto lines = LineReader::openFile(path, reason);
    if (!lines || !Hdf5LogReader::recognises(lines->head())) {
        std::fprintf(stderr, "Error: %s is not a readable boat log\n", path.c_str());
        return 2;
    }
    lines.reset();
    auto boat =
        Boat::create(QFileInfo(file).completeBaseName(), "", RgbColor::pureRed(), Boat::DisplayMode::Main);
    auto asset =
        LogFileAsset::open(QFileInfo(file).absoluteFilePath(), boat, QUuid::createUuid(), 0.0, std::nullopt);
    if (!asset) {
        std::fprintf(stderr, "Error: %s is not a readable boat log\n", path.c_str());
        return 2;
    }
    const DoubleArrayBoatLog& log = *asset->boatLog();

    ordered_json json;
    json["records"] = log.recordCount();
    json["columns"] = log.columnNames();
    ordered_json available = ordered_json::array();
    for (const auto& metric : log.availableMetrics())
        available.push_back(metric.rawKey());
    json["availableMetrics"] = std::move(available);
    json["start"] = asset->fileStartTime() ? ordered_json(asset->fileStartTime()->unixSeconds()) : nullptr;
    json["end"] = asset->fileEndTime() ? ordered_json(asset->fileEndTime()->unixSeconds()) : nullptr;
    json["segmentCount"] =
        optionalNumber(asset->fileMetadata() ? asset->fileMetadata()->segmentCount : std::nullopt);
    json["utcOffsetMinutes"] =
        optionalNumber(asset->parseContext() ? asset->parseContext()->utcOffset : std::nullopt);
    const auto& segment = asset->metadata();
    json["raceRecords"] = segment ? segment->races.size() : 0;
    json["eventRecords"] = segment ? segment->events.size() : 0;
    json["legRecords"] = segment ? segment->legs.size() : 0;
    std::cout << json.dump(2) << std::endl;
    return 0;
}
