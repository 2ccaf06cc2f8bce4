#include "boatlog/LogSummary.h"

#include "boatlog/LogFileAsset.h"

#include <nlohmann/json.hpp>

using nlohmann::ordered_json;

namespace {
template <typename T> ordered_json orNull(const std::optional<T>& value) {
    return value ? ordered_json(*value) : ordered_json(nullptr);
}
} // namespace

ordered_json logSummary(const LogFileAsset& asset) {
    const DoubleArrayBoatLog& log = *asset.boatLog();
    ordered_json json;
    json["records"] = log.recordCount();
    json["columns"] = log.columnNames();
    ordered_json available = ordered_json::array();
    for (const auto& metric : log.availableMetrics())
        available.push_back(metric.rawKey());
    json["availableMetrics"] = std::move(available);
    json["start"] = asset.fileStartTime() ? ordered_json(asset.fileStartTime()->unixSeconds()) : nullptr;
    json["end"] = asset.fileEndTime() ? ordered_json(asset.fileEndTime()->unixSeconds()) : nullptr;
    json["segmentCount"] = orNull(asset.fileMetadata() ? asset.fileMetadata()->segmentCount : std::nullopt);
    json["utcOffsetMinutes"] = orNull(asset.parseContext() ? asset.parseContext()->utcOffset : std::nullopt);
    const auto& segment = asset.metadata();
    json["raceRecords"] = segment ? segment->races.size() : 0;
    json["eventRecords"] = segment ? segment->events.size() : 0;
    json["legRecords"] = segment ? segment->legs.size() : 0;
    return json;
}
